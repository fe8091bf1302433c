#include "src/check/page/strip_plot.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace zelk::check::html {
namespace {

distribution of_values(std::vector<double> values) {
  distribution out;
  out.fact = "stream.triad";
  out.unit = "GB/s";
  out.class_name = "A";
  out.median = values[values.size() / 2];
  out.values = std::move(values);
  return out;
}

std::string drawn(const distribution& of) {
  markup out;
  write_strip(out, of, range_of(of), {});
  return out.str();
}

TEST(strip_sentence, says_how_far_the_outliers_are) {
  distribution of = of_values({168.9, 171.2, 203, 203.4, 204});
  of.median = 203.4;
  of.outliers = {{"node013", "168.9", "", 168.9, -21.2, -17.0},
                 {"node088", "171.2", "", 171.2, -19.7, -15.8}};
  EXPECT_EQ(strip_sentence(of),
            "2 of 5 nodes of class A lie 15.8 to 17 % below the median of "
            "203.4 GB/s");
  of.outliers.pop_back();
  EXPECT_EQ(strip_sentence(of),
            "1 of 5 nodes of class A lies 17 % below the median of 203.4 GB/s");
  of.outliers.clear();
  EXPECT_EQ(strip_sentence(of),
            "None of 5 nodes of class A lies far from the median of 203.4 "
            "GB/s");
}

TEST(write_strip, draws_many_values_as_small_as_few) {
  std::vector<double> many;
  for (int i = 0; i < 10000; ++i)
    many.push_back(200 + i * .001);
  EXPECT_LT(drawn(of_values(many)).size(), 6000U);
  EXPECT_NE(drawn(of_values(many)).find("class=\"bars\""), std::string::npos);
  EXPECT_NE(drawn(of_values({1, 2, 3})).find("class=\"dots\""),
            std::string::npos);
}

TEST(write_strip, survives_values_that_are_no_numbers) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  distribution odd = of_values({-infinity, 1e300, std::nan("")});
  odd.median = std::nan("");
  odd.outliers = {{"n", "", "", infinity, {}, {}}};
  EXPECT_EQ(drawn(odd).find("nan"), std::string::npos);
  EXPECT_EQ(drawn(odd).find("inf"), std::string::npos);
  EXPECT_FALSE(drawn(of_values({5, 5, 5})).empty());
  distribution none = of_values({1});
  none.values.clear();
  EXPECT_FALSE(drawn(none).empty());
}

TEST(write_strip, puts_what_is_far_off_at_the_edge_of_the_picture) {
  const scale_range range = range_of(of_values({1, 2, 3}));
  EXPECT_LT(range.low, 1);
  EXPECT_GT(range.high, 3);
}

}  // namespace
}  // namespace zelk::check::html
