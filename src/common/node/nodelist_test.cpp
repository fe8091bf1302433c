#include "src/common/node/nodelist.h"

#include <chrono>
#include <fstream>
#include <sstream>
#include <streambuf>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"

namespace zelk::node {
namespace {

using lines = std::vector<std::string>;
using note_map = std::map<std::string, std::string>;

lines names_of(const Nodelist& list) {
  lines names;
  for (const node_entry& node : list.nodes())
    names.push_back(node.name);
  return names;
}

Nodelist parsed(const std::string& text) {
  std::istringstream in(text);
  Nodelist list;
  list.parse(in);
  return list;
}

lines names_in(const std::string& text) {
  return names_of(parsed(text));
}

// What is logged about a file from which no name may be taken.
lines complaint_about(const std::string& text) {
  log::captured_log log;
  EXPECT_EQ(names_in(text), lines{});
  return log.lines();
}

TEST(nodelist, reads_a_file_of_every_kind_of_line) {
  log::captured_log log;
  const Nodelist list = parsed(
      "# rack 1\n"
      "head01            role=head,login\n"
      "\n"
      "  \t\n"
      "node[08-10,20]\trole=compute\n"
      "gpu[1-2]n[01-02]  role=enhanced subcluster=gpu  # new ones\n"
      "alpha\n");
  EXPECT_EQ(names_of(list),
            (lines{"head01", "node08", "node09", "node10", "node20", "gpu1n01",
                   "gpu1n02", "gpu2n01", "gpu2n02", "alpha"}));
  EXPECT_EQ(list.find("head01")->notes, (note_map{{"role", "head,login"}}));
  EXPECT_EQ(list.find("node20")->notes, (note_map{{"role", "compute"}}));
  EXPECT_EQ(list.find("gpu2n01")->notes,
            (note_map{{"role", "enhanced"}, {"subcluster", "gpu"}}));
  EXPECT_EQ(list.find("alpha")->notes, note_map{});
  EXPECT_EQ(log.lines(), lines{});
}

TEST(nodelist, is_empty_without_a_word_for_a_file_without_nodes) {
  for (const char* text : {"", "\n", "# none\n", "   # none", "\r\n\r\n",
                           "\t\n", "\xef\xbb\xbf", "\xef\xbb\xbf# none\n"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(complaint_about(text), lines{});
  }
}

TEST(nodelist, finds_a_name_or_nothing) {
  EXPECT_EQ(Nodelist().find("a"), nullptr);
  const Nodelist list = parsed("a\nb[1-2]\n");
  EXPECT_EQ(list.find("b2"), &list.nodes()[2]);
  EXPECT_EQ(list.find("b"), nullptr);
  EXPECT_EQ(list.find(""), nullptr);
}

// A batch system's machine file has a line for each slot.
TEST(nodelist, keeps_a_repeated_name_at_its_first_place) {
  EXPECT_EQ(names_in("b\nb\na\nb\na\nc\n"), (lines{"b", "a", "c"}));
  EXPECT_EQ(names_in("n[2-3]\nn[1-3]\nn[1,1]\n"), (lines{"n2", "n3", "n1"}));
}

TEST(nodelist, keeps_padded_names_apart) {
  EXPECT_EQ(names_in("n1\nn01\nn[001-002]\nn2\n"),
            (lines{"n1", "n01", "n001", "n002", "n2"}));
}

TEST(nodelist, adds_the_notes_of_a_repeated_name) {
  const Nodelist list = parsed(
      "n[1-2] role=compute subcluster=a\n"
      "n1 role=login,compute,head subcluster=b rack=7\n"
      "n1\n"
      "n1 role=storage role=login\n");
  EXPECT_EQ(list.find("n1")->notes,
            (note_map{{"rack", "7"},
                      {"role", "compute,login,head,storage"},
                      {"subcluster", "b"}}));
  EXPECT_EQ(list.find("n2")->notes,
            (note_map{{"role", "compute"}, {"subcluster", "a"}}));
}

TEST(nodelist, reads_on_whatever_stands_behind_a_name) {
  log::captured_log log;
  const Nodelist list = parsed(
      "n1 slots=4 maxslots = = =x word k=a=b empty= role=nonsense [ ,\x01\n"
      "n2\n");
  EXPECT_EQ(names_of(list), (lines{"n1", "n2"}));
  EXPECT_EQ(
      list.find("n1")->notes,
      (note_map{
          {"slots", "4"}, {"k", "a=b"}, {"empty", ""}, {"role", "nonsense"}}));
  EXPECT_EQ(log.lines(), lines{});
}

TEST(nodelist, begins_a_comment_at_the_start_of_a_word_only) {
  const Nodelist list = parsed("n#1 a=#2 #role=head\n#n3\n n4#\n");
  EXPECT_EQ(names_of(list), (lines{"n#1", "n4#"}));
  EXPECT_EQ(list.find("n#1")->notes, (note_map{{"a", "#2"}}));
}

TEST(nodelist, reads_the_line_ends_of_other_systems) {
  EXPECT_EQ(names_in("a\r\nb role=head\r\n\r\nc\r\n"), (lines{"a", "b", "c"}));
  EXPECT_EQ(parsed("a role=head\r\n").find("a")->notes,
            (note_map{{"role", "head"}}));
  EXPECT_EQ(names_in("a\nb"), (lines{"a", "b"}));
  EXPECT_EQ(names_in("a\nb\r"), (lines{"a", "b"}));
}

TEST(nodelist, skips_a_byte_order_mark_at_the_start_only) {
  EXPECT_EQ(names_in("\xef\xbb\xbf"
                     "a\nb\n"),
            (lines{"a", "b"}));
  EXPECT_EQ(names_in("a\n\xef\xbb\xbf"
                     "b\n"),
            (lines{"a",
                   "\xef\xbb\xbf"
                   "b"}));
}

TEST(nodelist, names_the_line_that_it_does_not_understand) {
  struct {
    std::string text, complaint;
  } const table[] = {
      {"node[1-", "nodefile:1: expected ']' behind '[' in 'node[1-'"},
      {"# c\n\nok\r\nnode]\nnode[\n",
       "nodefile:4: expected '[' before ']' in 'node]'"},
      {"n[3-1] role=head",
       "nodefile:1: expected a range that goes up in 'n[3-1]'"},
      {"n[1, 3]", "nodefile:1: expected ']' behind '[' in 'n[1,'"},
      {"a\nn[]\n",
       "nodefile:2: expected numbers of up to 18 digits, or ranges of them, in "
       "brackets in 'n[]'"},
      {"n[1-99999999999999999999]",
       "nodefile:1: expected numbers of up to 18 digits, or ranges of them, in "
       "brackets in 'n[1-99999999999999999999]'"},
      {"n[1-1048577]",
       "nodefile:1: expected at most 1048576 names in all in 'n[1-1048577]'"},
      {"n[1-1048576]\nm[1]\n",
       "nodefile:2: expected at most 1048576 names in all in 'm[1]'"},
      {"n1,n2\n",
       "nodefile:1: expected commas only between brackets in 'n1,n2'"},
      {std::string("a\0b\n", 4),
       "nodefile:1: expected no blank or control character in a name in 'a?b'"},
      {"a\x1b[2J",
       "nodefile:1: expected no blank or control character in a "
       "name in 'a?[2J'"},
      {"a\rb\rc",
       "nodefile:1: expected no blank or control character in a "
       "name in 'a?b?c'"},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(complaint_about(row.text), lines{row.complaint});
  }
}

TEST(nodelist, counts_plain_names_when_a_range_follows) {
  std::string text;
  for (int i = 0; i < 1048576; ++i)
    text += "p" + std::to_string(i) + "\n";
  EXPECT_EQ(parsed(text).nodes().size(), 1048576U);
  EXPECT_EQ(complaint_about(text + "n[1]"),
            lines{"nodefile:1048577: expected at most 1048576 names in all in "
                  "'n[1]'"});
}

TEST(nodelist, shortens_what_it_quotes) {
  const lines complaint = complaint_about(std::string(100000, 'x') + "[");
  EXPECT_EQ(complaint, lines{"nodefile:1: expected ']' behind '[' in '" +
                             std::string(64, 'x') + "...'"});
}

TEST(nodelist, calls_its_file_by_the_given_name) {
  log::captured_log log;
  std::istringstream in("[");
  Nodelist list("/tmp/hosts");
  list.parse(in);
  EXPECT_EQ(log.lines(), lines{"/tmp/hosts:1: expected ']' behind '[' in '['"});
}

// Half a list is worse than none: the other half would never be checked.
TEST(nodelist, is_empty_when_the_file_cannot_be_read_to_its_end) {
  struct failing_buffer : std::stringbuf {
    failing_buffer() : std::stringbuf("a\nb\nc") {}
    int_type underflow() override {
      const int_type c = std::stringbuf::underflow();
      if (traits_type::eq_int_type(c, traits_type::eof())) throw 1;
      return c;
    }
  } buffer;
  std::istream in(&buffer);
  log::captured_log log;
  Nodelist list;
  list.parse(in);
  EXPECT_EQ(names_of(list), lines{});
  EXPECT_EQ(log.lines(), lines{"nodefile:3: expected a file that can be read"});
}

TEST(nodelist, complains_about_a_folder) {
  std::ifstream in("/tmp");
  log::captured_log log;
  Nodelist list("/tmp");
  list.parse(in);
  EXPECT_EQ(names_of(list), lines{});
  EXPECT_EQ(log.lines(), lines{"/tmp:1: expected a file that can be read"});
}

TEST(nodelist, starts_anew_with_each_file) {
  std::istringstream first("a\nb\n");
  std::istringstream second("b\nc\n");
  Nodelist list;
  list.parse(first);
  list.parse(second);
  EXPECT_EQ(names_of(list), (lines{"b", "c"}));
  EXPECT_EQ(list.find("a"), nullptr);
}

TEST(nodelist, keeps_its_index_when_copied) {
  Nodelist copy;
  {
    const Nodelist list = parsed("a\nb\n");
    copy = list;
  }
  EXPECT_EQ(copy.find("b"), &copy.nodes()[1]);
}

TEST(nodelist, reads_seventy_thousand_nodes) {
  const Nodelist list = parsed("node[00001-70000]\n");
  ASSERT_EQ(list.nodes().size(), 70000U);
  EXPECT_EQ(list.nodes().front().name, "node00001");
  EXPECT_EQ(list.nodes().back().name, "node70000");
}

TEST(nodelist, finds_every_one_of_a_million) {
  const Nodelist list = parsed("n[1-1000000]\n");
  ASSERT_EQ(list.nodes().size(), 1000000U);
  for (const node_entry& node : list.nodes())
    ASSERT_EQ(list.find(node.name), &node);
  EXPECT_EQ(list.find("n1000001"), nullptr);
}

constexpr std::size_t most_line = 1048576;  // bytes

TEST(nodelist, reads_a_very_long_line) {
  std::string range = "n[0";
  for (int i = 1; i < 100000; ++i)
    range += "," + std::to_string(i);
  range += "]" + std::string(100000, ' ') + "role=head ";
  range += std::string(most_line - range.size(), 'x');
  const Nodelist list = parsed(range + "\n" + std::string(most_line, 'y'));
  EXPECT_EQ(list.nodes().size(), 100001U);
  EXPECT_EQ(list.find("n99999")->notes, (note_map{{"role", "head"}}));
}

// As a device without an end would be read until memory is gone.
TEST(nodelist, refuses_a_line_without_an_end) {
  for (const char* behind : {"", "\n", "\nb\n"}) {
    log::captured_log log;
    const Nodelist list =
        parsed("a\n" + std::string(most_line + 1, 'x') + behind);
    EXPECT_TRUE(list.nodes().empty());
    EXPECT_EQ(log.lines(),
              std::vector<std::string>{
                  "nodefile:2: expected a line of at most 1048576 bytes"});
  }
}

// A list that grew with each line would make each further line slower.
TEST(nodelist, is_not_slowed_by_ever_new_roles_of_one_node) {
  std::string text;
  for (int i = 0; i < 100000; ++i)
    text += "n role=x" + std::to_string(i) + ",login\n";
  EXPECT_EQ(parsed(text).find("n")->notes, (note_map{{"role", "x0,login"}}));
}

TEST(note_problems, tells_words_keys_and_roles_that_are_not_known) {
  std::istringstream in(
      "\xef\xbb\xbfhead role=head,login subcluster=any class=A thing\n"
      "# role=nonsense\n"
      "n[1-  slots=4 role=compute,copmute,\r\n");
  EXPECT_EQ(note_problems(in, "hosts"),
            (lines{"hosts:1: expected role=..., subcluster=... or class=..., "
                   "not 'thing'",
                   "hosts:3: expected role=..., subcluster=... or class=..., "
                   "not 'slots=4'",
                   "hosts:3: expected a role, not 'copmute'",
                   "hosts:3: expected a role, not ''"}));
}

TEST(note_problems, knows_every_role) {
  std::istringstream in(
      "n role=default-subcluster,boot,compute,enhanced,external,head,"
      "job_schedule,login,network_address,storage\n");
  EXPECT_EQ(note_problems(in, "hosts"), lines{});
}

}  // namespace
}  // namespace zelk::node
