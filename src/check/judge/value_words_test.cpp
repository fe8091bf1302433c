#include "src/check/judge/value_words.h"

#include <string>

#include <gtest/gtest.h>

namespace zelk::check {

namespace {

std::string in_unit(double number, const char* unit) {
  fact_column fact;
  fact.traits.unit = unit;
  return number_words(fact, number);
}

TEST(number_words, are_in_the_unit_that_people_use) {
  EXPECT_EQ(in_unit(234881024, "KiB"), "224 GiB");
  EXPECT_EQ(in_unit(2400000, "kHz"), "2.4 GHz");
  EXPECT_EQ(in_unit(203412, "MB/s"), "203.4 GB/s");
  EXPECT_EQ(in_unit(980.26, "MB/s"), "980.3 MB/s");
  EXPECT_EQ(in_unit(4.1, "s"), "4.1 s");
  EXPECT_EQ(in_unit(0.0000123, "s"), "12.3 us");
  EXPECT_EQ(in_unit(0, "s"), "0 s");
  EXPECT_EQ(in_unit(100000, "Mbit/s"), "100 Gbit/s");
  EXPECT_EQ(in_unit(64, "count"), "64");
  EXPECT_EQ(in_unit(3, ""), "3");
  EXPECT_EQ(in_unit(-2.5, "°C"), "-2.5 °C");
}

TEST(number_words, have_at_most_four_digits_that_matter) {
  EXPECT_EQ(number_words(168.912), "168.9");
  EXPECT_EQ(number_words(123456), "123456");
  EXPECT_EQ(number_words(0.5), "0.5");
  EXPECT_EQ(number_words(0.000123456), "0.0001235");
  EXPECT_EQ(number_words(99999.7), "100000");
  EXPECT_EQ(number_words(0), "0");
  EXPECT_EQ(number_words(1e300), "1.000e+300");
}

std::string allowed_words(const char* limit, const char* unit,
                          bool exactly = false) {
  fact_column fact;
  fact.traits.unit = unit;
  std::string problem;
  return range_words(fact, read_range(limit, problem).value(), exactly);
}

TEST(range_words, have_the_unit_of_the_fact) {
  EXPECT_EQ(allowed_words("262144000:", "KiB"), "at least 250 GiB");
  EXPECT_EQ(allowed_words("~:1", "s"), "at most 1 s");
  EXPECT_EQ(allowed_words("-1:1", "s"), "-1 s to 1 s");
  EXPECT_EQ(allowed_words("0:0", "count"), "exactly 0");
  EXPECT_EQ(allowed_words("9000:9000", "B"), "exactly 8.8 KiB");
  EXPECT_EQ(allowed_words("@10:20", "%"), "below 10 % or above 20 %");
  EXPECT_EQ(allowed_words("@10:", "%"), "below 10 %");
  EXPECT_EQ(allowed_words("@~:10", ""), "above 10");
  EXPECT_EQ(allowed_words("~:", ""), "any number");
  EXPECT_EQ(allowed_words("@~:", ""), "no number");
}

TEST(range_words, may_have_all_digits) {
  EXPECT_EQ(allowed_words("262144001:", "KiB", true), "at least 262144001 KiB");
  EXPECT_EQ(allowed_words("@0.1:0.30000001", "count", true),
            "below 0.1 or above 0.30000001");
}

TEST(clipped, cuts_between_characters_and_keeps_to_one_line) {
  EXPECT_EQ(clipped("a\nb"), "a, b");
  EXPECT_EQ(clipped("abcdefgh", 8), "abcdefgh");
  EXPECT_EQ(clipped("abcdefghi", 8), "abcde...");
  EXPECT_EQ(clipped("abcd\xc3\xa4"
                    "efgh",
                    8),
            "abcd...");
}

TEST(list_difference, says_what_is_missing_and_what_is_there) {
  EXPECT_EQ(list_difference("a\nc\nx", "a\nb\nc"), "without b; with x");
  EXPECT_EQ(list_difference("", "a\nb"), "without a, b");
  EXPECT_EQ(list_difference("a", "a"), "");
}

}  // namespace

}  // namespace zelk::check
