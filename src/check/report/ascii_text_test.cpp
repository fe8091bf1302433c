#include "src/check/report/ascii_text.h"

#include <gtest/gtest.h>

#include "src/check/report/test_report.h"
#include "src/check/report/writer.h"
#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

bool is_ascii(const std::string& text) {
  for (const char c : text)
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  return true;
}

TEST(ascii_text, writes_units_as_people_do) {
  EXPECT_EQ(ascii_text("81 \u00b0C"), "81 C");
  EXPECT_EQ(ascii_text("5 \u00b5s \u00b1 1 \u2192 3\u2026"),
            "5 us +- 1 -> 3...");
}

TEST(ascii_text, writes_out_what_it_does_not_know) {
  EXPECT_EQ(ascii_text("knoten-\u00e4"), "knoten-\\u00e4");
  EXPECT_EQ(ascii_text("\U0001f600"), "\\u1f600");
  EXPECT_EQ(ascii_text("plain\n"), "plain\n");
  EXPECT_EQ(ascii_text(""), "");
}

TEST(ascii_text, keeps_columns) {
  EXPECT_EQ(ascii_text("81 \u00b0C      new\n81 \u00b0F      new\n"),
            "81 C       new\n81 F       new\n");
  EXPECT_EQ(ascii_text("\u00e4b        x\nab        x\n"),
            "\\u00e4b   x\nab        x\n");
  EXPECT_EQ(ascii_text("\u00e4\u00e4  x  y"), "\\u00e4\\u00e4  x  y");
}

TEST(text_report, is_ascii_where_the_terminal_is) {
  judgement judged = example_judgement();
  judged.findings[0].message = "81 \u00b0C; 7 peers 60 \u00b0C";
  judged.findings[0].nodes = {"knoten-\u00e4"};
  const std::string text = report_of(judged, report_form::text);
  EXPECT_TRUE(is_ascii(text)) << text;
  EXPECT_TRUE(holds(text, "81 C; 7 peers 60 C"));
  EXPECT_TRUE(holds(text, "'knoten-\\u00e4'"));
}

TEST(all_forms, are_ascii_when_asked_for) {
  judgement judged = example_judgement();
  judged.findings[0].message = "81 \u00b0C; 7 peers 60 \u00b0C";
  judged.findings[0].nodes = {"knoten-\u00e4"};
  report_options options;
  options.ascii = true;
  for (const std::string& word : report_form_words())
    if (word != "junit") {
      EXPECT_TRUE(is_ascii(report_of(judged, *read_report_form(word), options)))
          << word;
    }
}

}  // namespace
}  // namespace zelk::check
