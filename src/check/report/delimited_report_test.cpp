#include <algorithm>

#include <gtest/gtest.h>

#include "src/check/report/test_report.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

constexpr std::size_t columns = 23;

report_options with_header() {
  report_options options;
  options.header = true;
  return options;
}

// All fields as Python's reader finds them, a JSON text a record.
std::vector<std::string> read_back(const std::string& csv) {
  const ended_program ended = run_python(
      "import csv,json,sys\n"
      "sys.stdin.reconfigure(newline=\"\", encoding=\"utf-8\")\n"
      "for row in csv.reader(sys.stdin, strict=True): print(json.dumps(row))",
      csv);
  EXPECT_EQ(ended.status, 0) << ended.output;
  return lines_of(ended.output);
}

// Who adds up a column needs numbers that agree with the unit beside them.
TEST(plain_report, has_numbers_beside_their_unit_and_words_apart) {
  judgement judged = example_judgement();
  finding& found = judged.findings[1];  // mem-size
  found.unit = "KiB";
  found.values.front().number = 234881024;
  found.values.front().number_before = 268435456;
  found.values.front().value = "224 GiB";
  found.values.front().before = "256 GiB";
  const std::string text = report_of(judged, report_form::plain);
  EXPECT_TRUE(holds(text, "\t234881024\tKiB\t268435456\t")) << text;
  EXPECT_TRUE(holds(text, "\t224 GiB\t256 GiB\n")) << text;
}

TEST(plain_report, has_a_line_for_each_node_of_each_finding) {
  const std::vector<std::string> lines =
      lines_of(report_of(example_judgement(), report_form::plain));
  EXPECT_EQ(lines.size(), 11 + 134);
  EXPECT_EQ(lines[4],
            "412\tstream-low\tcritical\t80\tnew\tA\tnode088\tstream\tfull\t"
            "stream.triad\t171.2\tGB/s\t203.9\t203.4 GB/s\t92\t203.4\t1.1\t"
            "-19.7\t-15.8\t412\t168.9 and 171.2 GB/s; 92 peers 203.4 +-1.1 "
            "(-17.0 %, -15.8 %)\t171.2\t203.9");
}

TEST(plain_report, has_as_many_fields_in_every_line) {
  const std::string text =
      report_of(hostile_judgement(), report_form::plain, with_header());
  EXPECT_EQ(lines_of(text).size(), 1 + 2 * hostile_judgement().findings.size());
  for (const std::string& line : lines_of(text))
    EXPECT_EQ(std::count(line.begin(), line.end(), '\t') + 1, columns) << line;
}

TEST(csv_report, is_read_back_by_a_real_reader) {
  const std::string text =
      report_of(example_judgement(), report_form::csv, with_header());
  const std::vector<std::string> rows = read_back(text);
  ASSERT_EQ(rows.size(), 1 + 11 + 134);
  EXPECT_TRUE(rows[0].starts_with(R"(["run", "check", "severity", "score")"));
  EXPECT_TRUE(rows[4].starts_with(
      R"(["412", "stream-low", "critical", "80", "new", "A", "node013")"));
}

TEST(csv_report, keeps_hostile_text_in_its_fields) {
  const judgement judged = hostile_judgement();
  const std::vector<std::string> rows =
      read_back(report_of(judged, report_form::csv, with_header()));
  ASSERT_EQ(rows.size(), 1 + 2 * judged.findings.size());
  for (const std::string& row : rows) {
    const ended_program ended =
        run_python("import json,sys; print(len(json.load(sys.stdin)))", row);
    EXPECT_EQ(ended.output, std::to_string(columns) + "\n");
  }
}

// A spreadsheet would run it.
TEST(csv_report, has_no_field_that_is_a_formula) {
  const std::string text = report_of(hostile_judgement(), report_form::csv);
  EXPECT_TRUE(holds(text, "'=HYPERLINK("));
  EXPECT_FALSE(holds(text, ",=HYPERLINK("));
  EXPECT_FALSE(holds(text, ",\"=HYPERLINK("));
  EXPECT_TRUE(
      holds(report_of(example_judgement(), report_form::csv), ",-19.7,-15.8,"));
}

TEST(csv_report, ends_lines_as_the_standard_has_it) {
  const std::string text = report_of(example_judgement(), report_form::csv);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'),
            std::count(text.begin(), text.end(), '\r'));
  EXPECT_TRUE(text.ends_with("\r\n"));
}

TEST(csv_report, is_empty_without_findings) {
  EXPECT_EQ(report_of(judgement{}, report_form::csv), "");
}

}  // namespace
}  // namespace zelk::check
