#include "src/check/page/markup.h"

#include <limits>

#include <gtest/gtest.h>

namespace zelk::check::html {
namespace {

std::string coordinate(double value) {
  std::string out;
  append_coordinate(out, value);
  return out;
}

TEST(append_coordinate, is_as_short_as_it_can_be) {
  const std::pair<double, const char*> cases[] = {
      {0, "0"},      {-0.0, "0"},    {12, "12"},
      {.5, ".5"},    {-.25, "-.25"}, {3.14159, "3.14"},
      {-0.001, "0"}, {100, "100"},   {1e6, "1000000"}};
  for (const auto& [value, expected] : cases)
    EXPECT_EQ(coordinate(value), expected);
}

TEST(append_coordinate, is_a_number_whatever_comes) {
  EXPECT_EQ(coordinate(std::numeric_limits<double>::quiet_NaN()), "0");
  EXPECT_EQ(coordinate(std::numeric_limits<double>::infinity()), "0");
  EXPECT_EQ(coordinate(1e300).find_first_not_of("0123456789"),
            std::string::npos);
}

TEST(markup, closes_what_it_opens_in_order) {
  markup out;
  {
    const element table(out, "table");
    const element row(out, "tr", {{"class", "x"}});
    out.leaf("td", {}, "1");
    out.empty("br");
  }
  EXPECT_EQ(out.str(), "<table><tr class=\"x\"><td>1</td><br/></tr></table>");
}

TEST(markup, escapes_text_and_attributes) {
  markup out;
  const std::string hostile = "\"><script>";
  out.leaf("p", {{"data-n", hostile}}, hostile);
  EXPECT_EQ(out.str(),
            "<p data-n=\"&quot;&gt;&lt;script&gt;\">&quot;&gt;&lt;script&gt;"
            "</p>");
}

TEST(markup, writes_numbers_of_any_type) {
  markup out;
  out.empty("rect", {{"x", 1}, {"y", .5}, {"width", std::size_t{7}}});
  EXPECT_EQ(out.str(), "<rect x=\"1\" y=\".5\" width=\"7\"/>");
}

}  // namespace
}  // namespace zelk::check::html
