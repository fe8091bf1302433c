#include "src/check/command/option_values.h"

#include <gtest/gtest.h>

namespace zelk::check {
namespace {

template <typename Read>
std::string complaint_of(const Read& read) {
  try {
    read();
  } catch (const usage_mistake& mistake) {
    return mistake.what();
  }
  return "";
}

TEST(number_value, wants_a_finite_number) {
  EXPECT_EQ(number_value("--z", "3.5", 0), 3.5);
  EXPECT_EQ(number_value("--z", "1e3", 0), 1000);
  for (const char* text : {"", "x", "1x", "-1", "nan", "inf", "1,5", " 1"})
    EXPECT_THROW(number_value("--z", text, 0), usage_mistake) << text;
  EXPECT_EQ(complaint_of([] { number_value("--z", "0", 1e-9); }),
            "--z: expected a number greater than 0; found '0'");
}

TEST(count_value, wants_a_whole_number) {
  EXPECT_EQ(count_value("--min-peers", "5", 1), 5U);
  for (const char* text : {"", "0", "-1", "1.5", "99999999999999999999"})
    EXPECT_THROW(count_value("--min-peers", text, 1), usage_mistake) << text;
}

TEST(size_value, knows_the_usual_units) {
  EXPECT_EQ(size_value("--max-size", "0"), 0U);
  EXPECT_EQ(size_value("--max-size", "512K"), 524'288U);
  EXPECT_EQ(size_value("--max-size", "5M"), 5'242'880U);
  EXPECT_EQ(size_value("--max-size", "5 MiB"), 5'242'880U);
  for (const char* text : {"", "M", "5X", "-1", "1.5M", "5 ", "9999999999G"})
    EXPECT_THROW(size_value("--max-size", text), usage_mistake) << text;
}

TEST(severity_value, knows_the_three_and_what_is_near) {
  EXPECT_EQ(severity_value("--min-severity", "warning"), severity::warning);
  EXPECT_EQ(complaint_of([] { severity_value("--min-severity", "critcal"); }),
            "--min-severity: expected one of informational warning critical; "
            "found 'critcal'; did you mean 'critical'?");
}

TEST(form_of_file, goes_by_the_ending) {
  const struct {
    const char* path;
    document what;
    report_form report;
  } cases[] = {
      {"a.html", document::page, report_form::text},
      {"/x/A.HTML", document::page, report_form::text},
      {"a.htm", document::page, report_form::text},
      {"a.svg", document::figure, report_form::text},
      {"a.json", document::report, report_form::json},
      {"a.csv", document::report, report_form::csv},
      {"a.txt", document::report, report_form::text},
      {"a.md", document::report, report_form::md},
      {"a.xml", document::report, report_form::junit},
      {"a.prom", document::report, report_form::prom},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.path);
    const output_form form = form_of_file("-o", each.path);
    EXPECT_EQ(form.what, each.what);
    EXPECT_EQ(form.report, each.report);
  }
  for (const char* path : {"", "report", "a.pdf", "html", ".json/x"})
    EXPECT_THROW(form_of_file("-o", path), usage_mistake) << path;
}

TEST(form_value, suggests_what_is_near) {
  EXPECT_EQ(form_value("--format", "html").what, document::page);
  EXPECT_NE(complaint_of([] {
              form_value("--format", "jsno");
            }).find("did you mean 'json'?"),
            std::string::npos);
}

}  // namespace
}  // namespace zelk::check
