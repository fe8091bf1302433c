#include "src/common/node/node_set.h"

#include <map>

#include <gtest/gtest.h>

#include "src/common/node/tokenized_host.h"

namespace zelk::node {
namespace {

using names = std::vector<std::string>;

names parsed(std::string_view text, const group_source& groups = {}) {
  const node_set set = parse_node_set(text, groups);
  EXPECT_EQ(set.problem, "") << text;
  return set.names;
}

expansion some_groups(std::string_view group) {
  static const std::map<std::string, names, std::less<>> all = {
      {"*", {"head", "node1", "node2", "node10", "gpu1"}},
      {"gpu", {"gpu1", "gpu1"}},
      {"role:login", {"head"}},
      {"r1", {"node1"}},
      {"r2", {"node2", "node10"}},
      {"none", {}},
  };
  const auto found = all.find(group);
  if (found == all.end()) return {{}, "there is no such group"};
  return {found->second, ""};
}

TEST(parse_node_set, reads_what_the_cluster_tools_share) {
  const struct {
    const char* text;
    names expected;
  } cases[] = {
      {"node[01-03,20]", {"node01", "node02", "node03", "node20"}},
      {"n[001-003,05]", {"n001", "n002", "n003", "n05"}},
      {"gpu[1-2]n[01-02]", {"gpu1n01", "gpu1n02", "gpu2n01", "gpu2n02"}},
      {"node[1-3]-ib", {"node1-ib", "node2-ib", "node3-ib"}},
      {"node10,node2,node1", {"node1", "node2", "node10"}},
      {"node1,node01", {"node1", "node01"}},
      {"n[01-3]", {"n01", "n02", "n03"}},
      {"login", {"login"}},
      {"a,a,a", {"a"}},
      {"", {}},
      {" \n", {}},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.text);
    EXPECT_EQ(parsed(one.text), one.expected);
  }
}

// A batch system and standard input part names in their own ways.
TEST(parse_node_set, parts_names_at_blanks_commas_and_line_ends) {
  const names both = {"a", "b"};
  for (const char* text : {"a,b", "a b", "a\nb\n", "a, b", "a,,b", ",a,b,",
                           "  a\t\r\n b ", "b ,a"})
    EXPECT_EQ(parsed(text), both) << text;
}

TEST(parse_node_set, reads_steps) {
  const struct {
    const char* text;
    names expected;
  } cases[] = {
      {"node[0-6/2]", {"node0", "node2", "node4", "node6"}},
      {"node[0-7/3]", {"node0", "node3", "node6"}},
      {"n[01-09/4,20]", {"n01", "n05", "n09", "n20"}},
      {"n[1-3/9]", {"n1"}},
      {"n[5/1]", {"n5"}},
      {"n[1-3/1]x[0-2/2]", {"n1x0", "n1x2", "n2x0", "n2x2", "n3x0", "n3x2"}},
      {"n[ 1, 3-5 / 2 ]", {"n1", "n3", "n5"}},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.text);
    EXPECT_EQ(parsed(one.text), one.expected);
  }
}

TEST(parse_node_set, has_operators_of_one_rank_from_left_to_right) {
  const struct {
    const char* text;
    names expected;
  } cases[] = {
      {"n[1-4]!n2", {"n1", "n3", "n4"}},
      {"n[1-4]&n[3-9]", {"n3", "n4"}},
      {"n[1-2]^n[2-3]", {"n1", "n3"}},
      {"n[1-3]!n2^n7", {"n1", "n3", "n7"}},
      {"n1,n2!n1,n1", {"n1", "n2"}},
      {"n1!n1,n2", {"n2"}},
      {"n[1-3] ! n2 & n[1-2]", {"n1"}},
      {"n1&n2", {}},
      {"n1!n01", {"n1"}},
      {"n[10,9,1]!n9", {"n1", "n10"}},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.text);
    EXPECT_EQ(parsed(one.text), one.expected);
  }
}

TEST(parse_node_set, asks_for_groups_and_matches_patterns) {
  const struct {
    const char* text;
    names expected;
  } cases[] = {
      {"@gpu", {"gpu1"}},
      {"@role:login,x", {"head", "x"}},
      {"@r[1-2]", {"node1", "node2", "node10"}},
      {"@*!@r[1-2]", {"gpu1", "head"}},
      {"node*", {"node1", "node2", "node10"}},
      {"node?", {"node1", "node2"}},
      {"node[1-2]*", {"node1", "node2", "node10"}},
      {"@none", {}},
      {"@*&node1", {"node1"}},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.text);
    EXPECT_EQ(parsed(one.text, some_groups), one.expected);
  }
}

TEST(parse_node_set, marks_the_column_of_what_it_does_not_take) {
  const struct {
    const char* text;
    std::size_t column;
    const char* problem;
  } cases[] = {
      {"node[3-1]", 5, "expected a range that goes up"},
      {"a,node[1-2,9-7]", 11, "expected a range that goes up"},
      {"node[1-", 4, "expected ']' behind '['"},
      {"node[1-[2]", 4, "expected ']' behind '['"},
      {"a,node1]", 7, "expected '[' before ']'"},
      {"n[]", 2,
       "expected numbers of up to 18 digits, or ranges of them, in "
       "brackets"},
      {"n[1,,3]", 4,
       "expected numbers of up to 18 digits, or ranges of them, "
       "in brackets"},
      {"n[1-x]", 2,
       "expected numbers of up to 18 digits, or ranges of them, "
       "in brackets"},
      {"n[1-010]", 2,
       "expected both ends of a range to be padded to one width"},
      {"n[1,0-6/0]", 4,
       "expected a step of 1 or more behind '/', as in [0-6/2]"},
      {"n[0-6/]", 2, "expected a step of 1 or more behind '/', as in [0-6/2]"},
      {"n[0-6/-1]", 2,
       "expected a step of 1 or more behind '/', as in [0-6/2]"},
      {"n[0-6/2/2]", 2,
       "expected a step of 1 or more behind '/', as in [0-6/2]"},
      {"n[6-0/2]", 2, "expected a range that goes up"},
      {"!a", 0, "expected a name in front of '!'"},
      {"a,&b", 2, "expected a name in front of '&'"},
      {"^/etc/nodes", 0, "expected a name in front of '^'"},
      {"a!", 1, "expected a name behind '!'"},
      {"a ^ ,b", 2, "expected a name behind '^'"},
      {"a&&b", 1, "expected a name behind '&'"},
      {"a,-oProxyCommand=x", 2,
       "expected no '-' in front of a name; -x and '!' leave nodes out"},
      {"root@n1", 4, "expected '@' only in front of a group"},
      {"n1,@", 3, "expected the name of a group behind '@'"},
      {"n1,@nope", 3, "there is no such group"},
      {"@r[2-1]", 3, "expected a range that goes up"},
      {"x*", 0, "expected a pattern that a known node matches"},
      {"n1,n\x07", 4, "expected no blank or control character in a name"},
      {"n[1-100000000]", 2, too_many_names},
      {"n[1-1048576],m[1-1048576]", 13, too_many_names},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.text);
    const node_set set = parse_node_set(one.text, some_groups);
    EXPECT_EQ(set.problem, one.problem);
    EXPECT_EQ(set.column, one.column);
    EXPECT_TRUE(set.names.empty());
  }
}

TEST(parse_node_set, knows_no_groups_without_a_source) {
  EXPECT_EQ(parse_node_set("@gpu").problem,
            "expected names: no groups are known here");
  EXPECT_EQ(parse_node_set("node*").problem,
            "expected names: no nodes are known to match");
}

// Some bytes of text must not become gigabytes of names, however they are
// arranged.
TEST(parse_node_set, keeps_to_its_budget) {
  const range_budget small{1000, 100'000};
  std::string many_steps = "n[";
  for (int i = 0; i < 100; ++i)
    many_steps += "1-100/2,";
  many_steps.back() = ']';
  for (const std::string& text :
       {std::string("n[1-1001]"), std::string("n[1-40]m[1-40]"), many_steps,
        std::string("n[1-900],m[1-900]"),
        "x[1-900]" + std::string(2000, 'y')}) {
    const node_set set = parse_node_set(text, {}, small);
    EXPECT_NE(set.problem, "") << text;
    EXPECT_TRUE(set.names.empty());
  }
  EXPECT_EQ(parse_node_set("n[1-1000]", {}, small).names.size(), 1000U);
}

// What is printed must be what can be typed.
TEST(parse_node_set, reads_back_what_is_folded) {
  for (const char* text :
       {"node[01-16,20]", "n[001-003,05]", "gpu[1-2]n[01-04]", "node[1-3]-ib",
        "node[0-6/2]", "a,b,c", "n[8-11],n[08-11]", "login"}) {
    SCOPED_TRACE(text);
    const names all = parsed(text);
    EXPECT_EQ(parsed(TokenizedHost::get_merged_hosts(all)), all);
  }
}

TEST(marked, points_at_the_column) {
  EXPECT_EQ(marked("node[3-1]", 5), "node[3-1]\n     ^");
  EXPECT_EQ(marked("", 0), "\n^");
  EXPECT_EQ(marked("ab", 9), "ab\n  ^");
  EXPECT_EQ(marked("a\x1b[2Jb\n]", 7), "a?[2Jb?]\n       ^");
  EXPECT_EQ(marked("\xc3\xa4\xc3\xb6]", 4), "\xc3\xa4\xc3\xb6]\n  ^");
}

TEST(marked, shows_the_surroundings_in_a_long_text) {
  const std::string text = std::string(200, 'a') + "]" + std::string(200, 'b');
  EXPECT_EQ(marked(text, 200), "..." + std::string(35, 'a') + "]" +
                                   std::string(34, 'b') + "...\n" +
                                   std::string(38, ' ') + "^");
}

TEST(node_name_problem, keeps_options_and_notation_away_from_launchers) {
  for (const char* name : {"node1", "n-1", "a.b.c", "10.0.0.1", "\xc3\xa4"})
    EXPECT_EQ(node_name_problem(name), "") << name;
  for (const char* name : {"", "-oProxyCommand=x", "-", "a b", "a,b", "n[1]",
                           "a\n", "a/b", "../x"})
    EXPECT_NE(node_name_problem(name), "") << name;
  EXPECT_EQ(node_name_problem(std::string(255, 'n')), "");
  EXPECT_NE(node_name_problem(std::string(256, 'n')), "");
}

}  // namespace
}  // namespace zelk::node
