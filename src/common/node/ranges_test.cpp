#include "src/common/node/ranges.h"

#include <gtest/gtest.h>

namespace zelk::node {
namespace {

using names = std::vector<std::string>;

expansion expand(std::string_view entry) {
  range_budget budget;
  return expand_entry(entry, budget);
}

TEST(expand_entry, expands_in_order) {
  struct {
    const char* entry;
    names expected;
  } const table[] = {
      {"login", {"login"}},
      {"node[1-3]", {"node1", "node2", "node3"}},
      {"node[3]", {"node3"}},
      {"node[01-03,20]", {"node01", "node02", "node03", "node20"}},
      {"n[3,1,2,1]", {"n3", "n1", "n2", "n1"}},
      {"n[9-11]", {"n9", "n10", "n11"}},
      {"n[08-11]", {"n08", "n09", "n10", "n11"}},
      {"n[0-1]-ib", {"n0-ib", "n1-ib"}},
      {"r[1-2]n[01-02]", {"r1n01", "r1n02", "r2n01", "r2n02"}},
      {"r[1-2]n[1,5]-ib", {"r1n1-ib", "r1n5-ib", "r2n1-ib", "r2n5-ib"}},
      {"a[1-2][3-4]", {"a13", "a14", "a23", "a24"}},
      {"x[1][2][3]y", {"x123y"}},
      {"[7-8]", {"7", "8"}},
      {"[1-2]x", {"1x", "2x"}},
      {"10.0.0.[9-10]", {"10.0.0.9", "10.0.0.10"}},
      {"host:4", {"host:4"}},
      {"a-b", {"a-b"}},
      {"kn\xc3\xb6[1-2]",
       {"kn\xc3\xb6"
        "1",
        "kn\xc3\xb6"
        "2"}},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.entry);
    const expansion got = expand(row.entry);
    EXPECT_EQ(got.problem, "");
    EXPECT_EQ(got.names, row.expected);
  }
}

// Widths where readers of the notation agree, or where one of them refuses and
// the others agree.
TEST(expand_entry, is_as_wide_as_the_first_number) {
  EXPECT_EQ(expand("n[001-3]").names, (names{"n001", "n002", "n003"}));
  EXPECT_EQ(expand("n[098-0100]").names, names{});
  EXPECT_EQ(expand("n[98-100]").names, (names{"n98", "n99", "n100"}));
  EXPECT_EQ(expand("n[099-100]").names, (names{"n099", "n100"}));
  EXPECT_EQ(expand("n[08-100]").names.front(), "n08");
  EXPECT_EQ(expand("n[08-100]").names.back(), "n100");
  EXPECT_EQ(expand("n[00-0]").names, names{"n00"});
  EXPECT_EQ(expand("n[1,01,001]").names, (names{"n1", "n01", "n001"}));
}

TEST(expand_entry, tells_what_it_expected) {
  const std::string number =
      "expected numbers of up to 18 digits, or ranges of them, in brackets";
  const std::string width =
      "expected both ends of a range to be padded to one width";
  struct {
    std::string entry, problem;
  } const table[] = {
      {"", "expected a name"},
      {"node[1-", "expected ']' behind '['"},
      {"node[", "expected ']' behind '['"},
      {"node[1", "expected ']' behind '['"},
      {"node[[1]]", "expected ']' behind '['"},
      {"a[1-2]b[3", "expected ']' behind '['"},
      {"node]", "expected '[' before ']'"},
      {"node]1[", "expected '[' before ']'"},
      {"node[1]]", "expected '[' before ']'"},
      {"node[]", number},
      {"node[,]", number},
      {"node[1,]", number},
      {"node[,1]", number},
      {"node[1,,2]", number},
      {"node[-]", number},
      {"node[1-]", number},
      {"node[-1]", number},
      {"node[1-2-3]", number},
      {"node[1--3]", number},
      {"node[a-b]", number},
      {"node[1-3/2]", number},
      {"node[+1]", number},
      {"node[0x1]", number},
      {"node[ 1]", number},
      {"node[1-9999999999999999999]", number},
      {"node[99999999999999999999999999]", number},
      {std::string("node[1\0]", 8), number},
      {"node[3-1]", "expected a range that goes up"},
      {"node[10-09]", "expected a range that goes up"},
      {"a[1-2]b[2-1]", "expected a range that goes up"},
      {"node[1-010]", width},
      {"node[01-010]", width},
      {"node[0-00]", width},
      {"a,b", "expected commas only between brackets"},
      {"n[1-2],", "expected commas only between brackets"},
      {"a b", "expected no blank or control character in a name"},
      {"a\tb", "expected no blank or control character in a name"},
      {"n[1]\x7f", "expected no blank or control character in a name"},
      {std::string("a\0b", 3),
       "expected no blank or control character in a name"},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.entry);
    const expansion got = expand(row.entry);
    EXPECT_EQ(got.problem, row.problem);
    EXPECT_EQ(got.names, names{});
  }
}

TEST(expand_entry, takes_zeros_beyond_18_digits) {
  const std::string zeros(30, '0');
  EXPECT_EQ(expand("n[" + zeros + "1-" + zeros + "2]").names,
            (names{"n" + zeros + "1", "n" + zeros + "2"}));
  EXPECT_EQ(expand("n[999999999999999998-999999999999999999]").names,
            (names{"n999999999999999998", "n999999999999999999"}));
}

TEST(expand_entry, makes_a_million_names_and_no_more) {
  EXPECT_EQ(expand("n[1-1048576]").names.size(), 1048576U);
  std::string hundreds;  // each bracket multiplies by 100: beyond 64 bits
  for (int i = 0; i < 12; ++i)
    hundreds += "x[0-99]";
  for (const std::string& entry :
       {std::string("n[1-1048577]"), std::string("n[0-999999999999999999]"),
        std::string("r[1-1025]n[1-1024]"), std::string("n[1-1048576,7]"),
        std::string("a[1-524288]b[1-2]c[1-2]"), hundreds}) {
    SCOPED_TRACE(entry);
    EXPECT_EQ(expand(entry).problem, "expected at most 1048576 names in all");
    EXPECT_EQ(expand(entry).names, names{});
  }
}

// 700,000 brackets of one number: one name, and it is all one piece of work.
TEST(expand_entry, reads_very_many_brackets) {
  std::string entry, expected;
  for (int i = 0; i < 700000; ++i) {
    entry += "[7]";
    expected += '7';
  }
  EXPECT_EQ(expand(entry).names, names{expected});
}

TEST(expand_entry, refuses_long_names_by_the_thousand) {
  const std::string name(1 << 20, 'n');
  EXPECT_EQ(expand(name + "[1-2]").names.size(), 2U);
  EXPECT_EQ(expand(name + "[1-1000]").problem,
            "expected names of at most 256 MiB in all");
  EXPECT_EQ(expand("n[" + std::string(1 << 20, '0') + "-1000]").problem,
            "expected names of at most 256 MiB in all");
}

TEST(expand_entry, takes_what_it_makes_off_the_budget) {
  range_budget budget;
  budget.names = 10;
  EXPECT_EQ(expand_entry("n[1-6]", budget).names.size(), 6U);
  EXPECT_EQ(budget.names, 4U);
  EXPECT_EQ(expand_entry("n[1-5]", budget).names.size(), 0U);
  EXPECT_EQ(budget.names, 4U);
  EXPECT_EQ(expand_entry("plain", budget).names.size(), 1U);
  EXPECT_EQ(expand_entry("n[1-4]", budget).names.size(), 4U);
  EXPECT_EQ(expand_entry("n[1]", budget).names.size(), 0U);
  EXPECT_EQ(expand_entry("plain", budget).names.size(), 1U);
}

TEST(expand_entry, holds_to_a_budget_of_any_size) {
  range_budget budget{static_cast<std::size_t>(-1), 1000};
  const char* const entry =
      "a[0-99999999]b[0-99999999]c[0-99999999]d[0-99999999]";
  EXPECT_NE(expand_entry(entry, budget).problem, "");
}

TEST(expand_list, reads_entries_joined_by_commas) {
  range_budget budget;
  EXPECT_EQ(expand_list("n9,n[08-10,12],login,r[1,2]x", budget).names,
            (names{"n9", "n08", "n09", "n10", "n12", "login", "r1x", "r2x"}));
  EXPECT_EQ(expand_list("", budget).names, names{});
  EXPECT_EQ(expand_list("", budget).problem, "");
}

TEST(expand_list, gives_no_names_when_one_entry_is_wrong) {
  for (const char* list : {",", "a,", ",a", "a,,b", "a,n[3-1]", "a,n[1",
                           "a]b,c", "n[1,2", "a, b"}) {
    SCOPED_TRACE(list);
    range_budget budget;
    const expansion got = expand_list(list, budget);
    EXPECT_NE(got.problem, "");
    EXPECT_EQ(got.names, names{});
  }
}

TEST(is_plain_name, has_none_of_the_notation) {
  for (const char* name : {"a", "node-1.site", "1", "a=b", "\xc3\xb6", "a#b"})
    EXPECT_TRUE(is_plain_name(name)) << name;
  for (const char* name : {"", " ", "a b", "a,b", "a[", "a]", "a\n", "\x7f"})
    EXPECT_FALSE(is_plain_name(name)) << name;
}

}  // namespace
}  // namespace zelk::node
