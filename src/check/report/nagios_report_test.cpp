#include <re2/re2.h>

#include <algorithm>

#include <gtest/gtest.h>

#include "src/check/report/test_report.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

std::string nagios_of(const judgement& judged, report_options options = {}) {
  return report_of(judged, report_form::nagios, std::move(options));
}

// The guideline's grammar: 'label'=value[UOM];[warn];[crit];[min];[max]
void expect_performance_data(const std::string& data) {
  static const re2::RE2 item(
      R"([a-z_]+=-?[0-9]+(\.[0-9]+)?(s|%|B|c)?(;(-?[0-9.:~@]+)?){0,4})");
  for (const std::string& each : str::split(data, ' ', true))
    EXPECT_TRUE(re2::RE2::FullMatch(each, item)) << each;
}

TEST(nagios_report, is_one_line_and_its_details) {
  const std::vector<std::string> lines =
      lines_of(nagios_of(example_judgement()));
  EXPECT_EQ(lines[0],
            "ZELKARA CRITICAL - 5 unhealthy, 6 suspect, 1 accepted, 125 "
            "healthy of 136 (run "
            "412, 3 h old): no-answer node[037,112]; mem-size node071; "
            "stream-low node[013,088]; bios-differs node[101-104]; "
            "clock-offset node020; timeout node055 | unhealthy=5;0;0;0;136 "
            "suspect=6;0;;0;136 unknown=0;;;0;136 missing=18;;;0;1233 "
            "age=11520s;604800;;0");
  EXPECT_EQ(lines.size(), 7);
  EXPECT_EQ(lines[2],
            "critical: mem-size node071: 224 GiB; 94 of 95 class A "
            "peers have 256 GiB");
}

TEST(nagios_report, begins_with_the_word_of_the_exit_status) {
  judgement judged = example_judgement();
  report_options options;
  options.threshold = fail_on::never;
  EXPECT_TRUE(nagios_of(judged, options).starts_with("ZELKARA OK - "));
  judged.findings.erase(judged.findings.begin(), judged.findings.begin() + 3);
  EXPECT_TRUE(nagios_of(judged).starts_with("ZELKARA WARNING - "));
  judged.findings.clear();
  EXPECT_TRUE(nagios_of(judged).starts_with("ZELKARA OK - "));
  EXPECT_TRUE(nagios_of(judgement{}).starts_with("ZELKARA UNKNOWN - "));
}

TEST(nagios_report, keeps_to_the_grammar_of_performance_data) {
  for (const judgement& judged :
       {example_judgement(), hostile_judgement(), judgement{}}) {
    const std::string first = lines_of(nagios_of(judged))[0];
    ASSERT_EQ(std::count(first.begin(), first.end(), '|'), 1) << first;
    expect_performance_data(first.substr(first.find('|') + 1));
  }
}

TEST(nagios_report, has_no_bar_in_its_text) {
  const std::vector<std::string> lines =
      lines_of(nagios_of(hostile_judgement()));
  for (std::size_t i = 1; i < lines.size(); ++i)
    EXPECT_FALSE(holds(lines[i], "|")) << lines[i];
}

TEST(nagios_report, stays_short_and_counts_what_it_leaves_out) {
  judgement judged = large_judgement(10'000);
  for (finding& each : judged.findings)
    each.level = severity::critical;
  const std::string text = nagios_of(judged);
  const std::string first = lines_of(text)[0];
  EXPECT_LT(text.size(), 4096);
  EXPECT_LT(first.find('|'), 450);
  EXPECT_TRUE(re2::RE2::PartialMatch(first, "; and [0-9]+ more \\|")) << first;
}

}  // namespace
}  // namespace zelk::check
