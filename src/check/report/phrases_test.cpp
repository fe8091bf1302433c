#include "src/check/report/phrases.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

TEST(node_set_text, is_what_cluster_tools_read) {
  EXPECT_EQ(node_set_text({"node088", "node013"}), "node[013,088]");
  EXPECT_EQ(folded_and_counted({"n1", "n2", "n3"}), "n[1-3] (3)");
  EXPECT_EQ(node_set_text({}), "");
}

// Pasted behind -w or into a shell, such a name would be an option, a group, a
// command: it must be seen as it is, and do nothing.
TEST(node_set_text, quotes_names_that_no_command_can_take) {
  EXPECT_EQ(node_set_text({"-oProxyCommand=id"}), "'-oProxyCommand=id'");
  EXPECT_EQ(node_set_text({"@all"}), "'@all'");
  EXPECT_EQ(node_set_text({"a!b"}), "'a!b'");
  EXPECT_EQ(node_set_text({"n$(id)`id`;\n'\""}), "'n$(id)`id`;\\n\\x27\"'");
  EXPECT_EQ(node_set_text({"node[1-9]"}), "'node[1-9]'");
  EXPECT_EQ(node_set_text({"knoten-\u00e4"}), "'knoten-\u00e4'");
  EXPECT_EQ(node_set_text({"a\u202eb"}), "'a\\u202eb'");
  EXPECT_EQ(node_set_text({"a b", "n2", "c,d", "n1"}), "n[1-2],'a b','c,d'");
}

TEST(node_set_text, names_a_few_of_many_odd_names) {
  EXPECT_EQ(node_set_text(
                {"0 ", "1 ", "2 ", "3 ", "4 ", "5 ", "6 ", "7 ", "8 ", "9 "}),
            "'0 ','1 ','2 ','3 ','4 ','5 ','6 ','7 ' and 2 more");
}

TEST(excerpt_of, cuts_behind_so_many_characters) {
  EXPECT_EQ(excerpt_of("abc", 3), "abc");
  EXPECT_EQ(excerpt_of("abcd", 3), "abc...");
  EXPECT_EQ(excerpt_of("\u00e4\u00e4\u00e4\u00e4", 3), "\u00e4\u00e4\u00e4...");
  EXPECT_EQ(excerpt_of("", 3), "");
}

TEST(excerpt_of, shows_what_is_not_printable) {
  EXPECT_EQ(excerpt_of("a\x1b[2Jb\n", 20), "a\\x1b[2Jb\\n");
}

// A value of a mebibyte must not be looked at as a whole for every line.
TEST(excerpt_of, never_cuts_a_character_of_a_long_text) {
  std::string text;
  for (int i = 0; i < 100'000; ++i)
    text += "\u20ac";
  EXPECT_EQ(excerpt_of(text, 2), "\u20ac\u20ac...");
}

TEST(shortest_number, is_as_short_as_it_can_be) {
  EXPECT_EQ(shortest_number(203.4), "203.4");
  EXPECT_EQ(shortest_number(256), "256");
  EXPECT_EQ(shortest_number(-17.0), "-17");
}

TEST(plain_number, has_no_exponent) {
  EXPECT_EQ(plain_number(203.4), "203.4");
  EXPECT_EQ(plain_number(1e20), "100000000000000000000");
  EXPECT_EQ(plain_number(1e-7), "0.0000001");
  EXPECT_EQ(plain_number(-1e-20), "0");
  EXPECT_FALSE(plain_number(1e300));
  EXPECT_FALSE(plain_number(std::nan("")));
  EXPECT_FALSE(plain_number(std::numeric_limits<double>::infinity()));
}

TEST(age_words, has_one_unit) {
  constexpr std::int64_t second = 1'000'000;
  EXPECT_EQ(age_words(second * 3 * 3600 + 12), "3 h");
  EXPECT_EQ(age_words(second * 47 * 3600), "47 h");
  EXPECT_EQ(age_words(second * 48 * 3600), "2 days");
  EXPECT_EQ(age_words(60 * second), "1 min");
  EXPECT_EQ(age_words(59 * second), "59 s");
  EXPECT_EQ(age_words(-5 * second), "0 s");
}

TEST(machine_time, is_of_the_years_1_to_9999) {
  EXPECT_EQ(machine_time(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(machine_time(253'402'300'799'000'000), "9999-12-31T23:59:59Z");
  EXPECT_FALSE(machine_time(253'402'300'800'000'000));
  EXPECT_FALSE(machine_time(std::numeric_limits<std::int64_t>::min()));
}

TEST(shell_word, quotes_what_a_shell_would_change) {
  EXPECT_EQ(shell_word("stream-low"), "stream-low");
  EXPECT_EQ(shell_word("node[013,088]"), "'node[013,088]'");
  EXPECT_EQ(shell_word("it's"), "'it'\\''s'");
  EXPECT_EQ(shell_word("$(id)"), "'$(id)'");
  EXPECT_EQ(shell_word(""), "''");
}

TEST(fits_a_command, takes_host_names_only) {
  EXPECT_TRUE(fits_a_command("node-01.cluster_a"));
  for (const char* name : {"", "-n1", ".n1", "a b", "a,b", "n[1]", "n\n", "@a"})
    EXPECT_FALSE(fits_a_command(name)) << name;
  EXPECT_FALSE(fits_a_command(std::string(256, 'n')));
}

TEST(is_change, is_an_informational_finding_of_changed_values) {
  const judgement judged = example_judgement();
  EXPECT_TRUE(is_change(judged.findings.back()));
  EXPECT_EQ(common_change(judged.findings.back()), "5.14.0-427 -> 5.14.0-503");
  EXPECT_FALSE(is_change(judged.findings[2]));
  EXPECT_FALSE(common_change(judged.findings[2]));
}

TEST(common_change, is_none_when_nodes_changed_differently) {
  finding found = example_judgement().findings.back();
  found.values.back().value = "6.1";
  EXPECT_TRUE(is_change(found));
  EXPECT_FALSE(common_change(found));
}

TEST(is_gap, is_what_could_not_be_judged) {
  const judgement judged = example_judgement();
  EXPECT_TRUE(is_gap(judged.findings[0]));
  EXPECT_TRUE(is_gap(judged.findings[5]));
  EXPECT_FALSE(is_gap(judged.findings[1]));
}

TEST(value_with_unit, leaves_out_what_is_empty) {
  EXPECT_EQ(value_with_unit("168.9", "GB/s"), "168.9 GB/s");
  EXPECT_EQ(value_with_unit("2.3", ""), "2.3");
  EXPECT_EQ(value_with_unit("", "GB/s"), "");
}

}  // namespace
}  // namespace zelk::check
