#include "src/check/page/wording.h"

#include <limits>

#include <gtest/gtest.h>

namespace zelk::check::html {
namespace {

TEST(count_text, parts_thousands_and_counts) {
  EXPECT_EQ(count_text(0), "0");
  EXPECT_EQ(count_text(999), "999");
  EXPECT_EQ(count_text(1215), "1,215");
  EXPECT_EQ(count_text(1234567), "1,234,567");
  EXPECT_EQ(count_text(1, "node"), "1 node");
  EXPECT_EQ(count_text(0, "node"), "0 nodes");
}

TEST(number_text, is_as_people_write_numbers) {
  const std::pair<double, const char*> cases[] = {{0, "0"},
                                                  {-17, "-17"},
                                                  {203.44, "203.4"},
                                                  {.00012, "0.00012"},
                                                  {1234567, "1,234,567"},
                                                  {-1234.5, "-1,234"},
                                                  {99.99, "99.99"},
                                                  {1e30, "1e+30"},
                                                  {1e-300, "1e-300"},
                                                  {.1, "0.1"}};
  for (const auto& [value, expected] : cases)
    EXPECT_EQ(number_text(value), expected);
  EXPECT_EQ(number_text(std::numeric_limits<double>::quiet_NaN()), "no number");
  EXPECT_EQ(number_text(std::numeric_limits<double>::infinity()), "no number");
}

TEST(unit_behind, is_left_out_where_the_value_has_one) {
  EXPECT_EQ(unit_behind("12", "KiB"), "KiB");
  EXPECT_EQ(unit_behind("12 KiB", "KiB"), "");
  EXPECT_EQ(unit_behind("none", "KiB"), "");
  EXPECT_EQ(unit_behind("", "KiB"), "");
  EXPECT_EQ(unit_behind("9", "count"), "");
}

TEST(quantity_text, steps_to_units_that_people_know) {
  EXPECT_EQ(quantity_text(268435456, "KiB"), "256 GiB");
  EXPECT_EQ(quantity_text(512, "B"), "512 B");
  EXPECT_EQ(quantity_text(2.6e9, "Hz"), "2.6 GHz");
  EXPECT_EQ(quantity_text(203.4, "GB/s"), "203.4 GB/s");
  EXPECT_EQ(quantity_text(4, ""), "4");
  EXPECT_EQ(quantity_text(4, "count"), "4");
  EXPECT_EQ(quantity_text(7199, "s"), "7,199 s");
  EXPECT_EQ(quantity_text(7200, "s"), "2 h");
  EXPECT_EQ(quantity_text(2939673, "s"), "34.02 d");
}

TEST(number_of, takes_whole_texts_only) {
  EXPECT_EQ(number_of("4.1"), 4.1);
  EXPECT_EQ(number_of("-3"), -3);
  for (const char* text : {"", "4 GiB", "inf", "nan", "x"})
    EXPECT_EQ(number_of(text), std::nullopt) << text;
}

TEST(age_text, is_told_in_one_unit) {
  constexpr std::int64_t minute = 60'000'000;
  constexpr std::int64_t now = 1'000'000 * minute;
  EXPECT_EQ(age_text(now, now), "just now");
  EXPECT_EQ(age_text(now - 90 * minute, now), "90 min ago");
  EXPECT_EQ(age_text(now - 180 * minute, now), "3 h ago");
  EXPECT_EQ(age_text(now - 20 * 1440 * minute, now), "20 days ago");
  EXPECT_EQ(age_text(now + 5 * minute, now), "in the future");
  EXPECT_EQ(age_text(0, now), "");
}

TEST(clipped, never_cuts_a_character) {
  EXPECT_EQ(clipped("short", 10), "short");
  EXPECT_EQ(clipped("\u00e9\u00e9\u00e9", 3), "\u00e9\u2026 (6 B in all)");
  EXPECT_EQ(clipped(std::string(1024 * 1024, 'x'), 3),
            "xxx\u2026 (1.0 MiB in all)");
}

TEST(joined_words, ends_with_and) {
  EXPECT_EQ(joined_words({}), "");
  EXPECT_EQ(joined_words({"a"}), "a");
  EXPECT_EQ(joined_words({"a", "b", "c"}), "a, b and c");
}

TEST(anchor_of, keeps_different_names_apart) {
  EXPECT_EQ(anchor_of("n", "node013"), "n-node013");
  EXPECT_EQ(anchor_of("n", "a b"), "n-a_20b");
  EXPECT_NE(anchor_of("n", "a_20b"), anchor_of("n", "a b"));
  const std::string hostile = anchor_of("n", "\"><script>");
  EXPECT_EQ(hostile.find_first_of("\"<>' "), std::string::npos);
}

}  // namespace
}  // namespace zelk::check::html
