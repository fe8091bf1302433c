#include "src/common/facts/declaration.h"

#include <string>

#include <gtest/gtest.h>

#include "src/common/facts/test_declaration.h"

namespace zelk::facts {
namespace {

using declaration_ = declaration_fixture;

TEST_F(declaration_, knows_where_it_came_from) {
  const std::string path =
      files_.write("x.xml",
                   "<provider name='Disk' version='7'><command>x</command>"
                   "<facts/></provider>");
  const auto by = declaration::read(path, shipped_schema);
  ASSERT_TRUE(by);
  EXPECT_EQ(by->path(), path);
  EXPECT_EQ(by->provider(), "Disk");
  EXPECT_EQ(by->version(), 7);
  EXPECT_TRUE(by->declares());
}

TEST_F(declaration_, gives_each_fact_its_traits) {
  const auto by = declared("lines",
                           R"x(<fact name="a" from="a" type="integer"
  unit="KiB" better="higher" compare="outlier"/>
<fact name="b" from="b" compare="volatile"/>
<fact name="c" from="c" several="count" compare="counter"/>
<fact name="d" from="d" several="set" compare="unique"/>)x");
  ASSERT_TRUE(by);
  const extraction all = by->read_output("a: 1\nb: 1\nc: 1\nd: 1\n", 0);
  ASSERT_EQ(all.facts.size(), 4U);
  EXPECT_EQ(all.facts[0].traits,
            (fact_traits{value_type::integer, better::higher,
                         comparison::outlier, "KiB"}));
  EXPECT_EQ(all.facts[1].traits, (fact_traits{value_type::text, better::none,
                                              comparison::unstable, ""}));
  EXPECT_EQ(all.facts[2].traits, (fact_traits{value_type::integer, better::none,
                                              comparison::counter, ""}));
  EXPECT_EQ(all.facts[3].traits, (fact_traits{value_type::list, better::none,
                                              comparison::unique, ""}));
}

TEST_F(declaration_, takes_an_exit_status_for_what_it_says) {
  const char* const fact = "<fact name='a' from='s'/>";
  struct {
    int status;
    const char* printed;
  } const cases[] = {
      {0, "a = 1\n"},
      {83, "a = 1\n"},
      {80, "(not applicable)\n"},
      {81, "(not measured)\n"},
      {82, "(not measured)\n"},
      {1, "* ! the command ended with status 1\n"},
      {124, "* ! the command was stopped by its time-out\n"},
      {125, "* ! how the command ended is not known\n"},
      {139, "* ! the command was ended by signal 11\n"},
      {-1, "* ! the command ended with status -1\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.status);
    EXPECT_EQ(read("lines", fact, "s: 1\n", c.status), c.printed);
  }
  EXPECT_EQ(read("lines", fact, "t: 1\n", 83),
            "a ! the output is incomplete (exit status 83)\n");
}

// Without a word about facts there are none to miss.
TEST_F(declaration_, has_nothing_to_say_without_facts) {
  const std::string path =
      files_.write("x.xml", "<provider><command>x</command></provider>");
  const auto by = declaration::read(path, shipped_schema);
  ASSERT_TRUE(by);
  EXPECT_FALSE(by->declares());
  EXPECT_EQ(by->read_output("a: 1\n", 1), extraction());
}

TEST_F(declaration_, names_the_line_and_what_was_expected) {
  struct {
    const char* format;
    const char* fact;
    const char* complaint;
  } const cases[] = {
      {"lines", "<fact name='a'/>", "the attribute 'from'"},
      {"patterns", "<fact name='a'/>", "the attribute 'pattern'"},
      {"patterns", "<fact name='a' from='x' pattern='x'/>",
       "no 'from': with format \"patterns\" lines have no source"},
      {"lines", "<fact name='a' from='(x'/>",
       "in 'from' an RE2 expression; '(x' has missing ): (x"},
      {"lines", "<fact name='a' from='x' pattern='*'/>",
       "in 'pattern' an RE2 expression; '*' has no argument for repetition "
       "operator: *"},
      {"lines", "<fact name='a' from='(x)\\1'/>",
       "in 'from' an RE2 expression; '(x)\\1' has invalid escape sequence: "
       "\\1"},
      {"lines", "<fact name='a' from='((((((((((x{9}){9}){9}){9}){9}))))))'/>",
       "in 'from' an RE2 expression; '((((((((((x{9}){9}){9}){9}){9}))))))' "
       "has invalid repetition size: {9}"},
      {"lines", "<fact name='a.{1}' from='x'/>",
       "in 'from' a group for {1} of the name; it has 0"},
      {"lines", "<fact name='a.{0}' from='(x)'/>",
       "in 'from' a group for {0} of the name; it has 1"},
      {"lines", "<fact name='a.{2}' from='(x)'/>",
       "in 'from' a group for {2} of the name; it has 1"},
      {"lines", "<fact name='a.{99999999999999999999}' from='(x)'/>",
       "in 'from' a group for {99999999999999999999} of the name; it has 1"},
      {"patterns", "<fact name='a.{1}' pattern='(x)'/>",
       "in 'from' a group for {1} of the name; it has 0"},
      {"json", "<fact name='a.{2}' from='x.*'/>",
       "in 'from' a group for {2} of the name; it has 1"},
      {"lines", "<fact name='a.{w}' from='(x)'/>",
       "a group (?P<w>...) for {w} of the name"},
      {"json", "<fact name='a' from='x..y'/>",
       "in 'from' a path such as devices[*].name, net.*.mtu or "
       "list[0]['a b'], wrong at its last 3 bytes"},
      {"lines", "<fact name='a' from='x' unit='B'/>",
       "type integer or number beside a unit"},
      {"lines", "<fact name='a' from='x' better='lower'/>",
       "type integer or number beside better=\"lower\""},
      {"lines", "<fact name='a' from='x' compare='counter'/>",
       "type integer or number beside compare=\"counter\""},
      {"lines",
       "<fact name='a' from='x' type='integer' several='set' "
       "compare='outlier'/>",
       "type integer or number beside compare=\"outlier\""},
      {"lines", "<fact name='a' from='x' several='max'/>",
       "type integer or number beside several=\"max\""},
      {"lines", "<fact name='a' from='()()()()()()()()()()()()()()()()()'/>",
       "in 'from' at most 16 groups; (?:...) is none"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fact);
    const std::string fact = c.fact;
    const std::string name = fact.substr(12, fact.find('\'', 12) - 12);
    EXPECT_FALSE(declared(c.format, fact));
    EXPECT_EQ(said().back(),
              "disk.xml:2: fact '" + name + "': expected " + c.complaint);
  }
}

TEST_F(declaration_, names_every_fault_at_once) {
  EXPECT_FALSE(declared("lines",
                        "<fact name='a' from='('/>\n"
                        "<fact name='b' from='x'/>\n"
                        "<fact name='c' from='x' unit='furlong'/>\n"));
  ASSERT_EQ(said().size(), 3U);
  EXPECT_TRUE(said()[0].starts_with("disk.xml:2: fact 'a': expected in"));
  EXPECT_TRUE(said()[1].starts_with(
      "disk.xml:4: fact 'c': expected a known unit instead of 'furlong': "));
  EXPECT_TRUE(said()[2].starts_with(
      "disk.xml:4: fact 'c': expected type integer or number beside a unit"));
}

// The schema says so before; a record may come from elsewhere.
TEST_F(declaration_, refuses_a_name_that_is_there_already) {
  preproc::written_facts written;
  written.path = "x.xml";
  written.declared = true;
  written.facts = {{3, {{"name", "a"}, {"from", "x"}}},
                   {5, {{"name", "a"}, {"from", "y"}}}};
  EXPECT_FALSE(declaration::compile(written));
  EXPECT_EQ(said().back(),
            "x.xml:5: expected another name than 'a', which the fact of line 3 "
            "has");
}

TEST_F(declaration_, reads_an_output_the_same_way_each_time) {
  const auto by = declared("lines", "<fact name='a.{1}' from='s(.*)'/>");
  ASSERT_TRUE(by);
  std::string output;
  for (int i = 0; i < 1000; ++i)
    output += "s" + std::to_string(i * 7919 % 1000) + ": x\n";
  const extraction first = by->read_output(output, 0);
  EXPECT_EQ(first.facts.size(), 1000U);
  EXPECT_EQ(first, by->read_output(output, 0));
}

}  // namespace
}  // namespace zelk::facts
