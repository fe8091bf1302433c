#include <gtest/gtest.h>

#include "src/check/report/test_report.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

// What a validating reader complains of; "" when it is content.
std::string complaints(const std::string& report) {
  const ended_program ended =
      run_with_input("xmllint --noout --nonet --schema " ZELK_SOURCE_DIR
                     "/src/check/report/junit.xsd -",
                     report);
  return ended.status == 0 ? "" : "not valid: " + ended.output;
}

std::string junit_of(const judgement& judged, report_options options = {}) {
  return report_of(judged, report_form::junit, std::move(options));
}

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t found = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos;
       ++at)
    ++found;
  return found;
}

TEST(junit_report, is_what_a_schema_for_it_takes) {
  for (const judgement& judged :
       {example_judgement(), hostile_judgement(), judgement{}})
    EXPECT_EQ(complaints(junit_of(judged)), "");
}

TEST(junit_report, has_a_schema_that_refuses_other_things) {
  EXPECT_NE(complaints("<testsuites name=\"x\"/>"), "");
  EXPECT_NE(complaints("<testsuites"), "");
}

TEST(junit_report, has_a_suite_a_class) {
  const std::string text = junit_of(example_judgement());
  for (const char* name : {"class A", "class B", "class G"})
    EXPECT_TRUE(holds(text, std::string("<testsuite name=\"") + name + '"'));
}

TEST(junit_report, fails_where_something_is_wrong) {
  const std::string text = junit_of(example_judgement());
  EXPECT_TRUE(
      holds(text,
            "<testcase classname=\"node071\" name=\"mem-size\"><failure "
            "type=\"critical\" message=\"224 GiB; 94 of 95 class A peers have "
            "256 GiB\">"));
  EXPECT_TRUE(holds(text, "<testcase classname=\"node071\" name=\"bios\"/>"));
  EXPECT_FALSE(holds(text, "<testcase classname=\"node071\" name=\"memory\""));
}

TEST(junit_report, errs_where_nothing_could_be_judged) {
  const std::string text = junit_of(example_judgement());
  EXPECT_TRUE(holds(text,
                    "classname=\"node055\" name=\"timeout\"><error "
                    "type=\"timeout\" message=\"stream stopped after"));
  EXPECT_TRUE(holds(text,
                    "classname=\"node037\" name=\"bios\"><error "
                    "type=\"no-data\""));
  EXPECT_FALSE(holds(text, "classname=\"node055\" name=\"stream\""));
}

TEST(junit_report, skips_what_does_not_apply_and_what_is_accepted) {
  const std::string text = junit_of(example_judgement());
  EXPECT_TRUE(holds(text,
                    "classname=\"node001\" name=\"gpu\"><skipped "
                    "message=\"n/a\"/>"));
  EXPECT_TRUE(holds(text,
                    "classname=\"gpu07\" name=\"swap-on\"><skipped "
                    "message=\"accepted: test bed of the"));
}

TEST(junit_report, fails_from_the_threshold_on) {
  report_options options;
  EXPECT_EQ(count(junit_of(example_judgement(), options), "<failure "), 8);
  options.threshold = fail_on::critical;
  EXPECT_EQ(count(junit_of(example_judgement(), options), "<failure "), 3);
  options.threshold = fail_on::never;
  EXPECT_EQ(count(junit_of(example_judgement(), options), "<failure "), 0);
}

TEST(junit_report, counts_right) {
  const std::string text = junit_of(example_judgement());
  const std::string all = text.substr(0, text.find('\n', 50));
  for (const auto& [name, part] :
       {std::pair("tests", "<testcase "), std::pair("failures", "<failure "),
        std::pair("errors", "<error "), std::pair("skipped", "<skipped ")})
    EXPECT_TRUE(holds(all, std::string(name) + "=\"" +
                               std::to_string(count(text, part)) + '"'))
        << all;
}

// A class that no list of classes has must not take its nodes with it.
TEST(junit_report, forgets_no_node) {
  const judgement judged = hostile_judgement();
  const std::string text = junit_of(judged);
  for (const char* name : {"\"node1\"", "\"@all\"", "\"-oProxyCommand=id\""})
    EXPECT_TRUE(holds(text, std::string("classname=") + name)) << name;
}

}  // namespace
}  // namespace zelk::check
