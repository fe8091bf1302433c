#include "src/common/facts/value_table.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zelk::facts {
namespace {

TEST(value_table, holds_equal_values_once_and_types_apart) {
  value_table table;
  const std::vector<fact_value> values = {std::string("1"),
                                          std::string(),
                                          std::int64_t{1},
                                          true,
                                          std::int64_t{0},
                                          -0.0,
                                          false,
                                          2.5,
                                          1e5,
                                          std::int64_t{100000}};
  for (std::uint32_t i = 0; i < values.size(); ++i)
    EXPECT_EQ(table.index_of(values[i]), i);
  for (std::uint32_t i = 0; i < values.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(table.index_of(values[i]), i);
    EXPECT_EQ(table.at(i), values[i]);
    EXPECT_EQ(table.text(i), text_of(values[i]));
  }
  EXPECT_EQ(table.size(), values.size());
  EXPECT_EQ(table.index_of_text("1"), 0U);
}

TEST(value_table, takes_a_number_that_is_written_as_an_integer_for_one) {
  value_table table;
  const std::uint32_t five = table.index_of(5.0);
  EXPECT_EQ(table.index_of(std::int64_t{5}), five);
  EXPECT_EQ(table.at(five), fact_value(std::int64_t{5}));
  EXPECT_EQ(table.at(five, value_type::number), fact_value(5.0));
  EXPECT_EQ(table.at(five, value_type::integer), fact_value(std::int64_t{5}));
  EXPECT_EQ(table.text(five), "5");
  EXPECT_EQ(table.index_of(-12.0), table.index_of(std::int64_t{-12}));
  EXPECT_NE(table.index_of(1e300), table.index_of(std::int64_t{1}));
}

TEST(value_table, knows_which_values_are_numbers) {
  value_table table;
  EXPECT_EQ(table.number(table.index_of_text("7")), std::nullopt);
  EXPECT_EQ(table.number(table.index_of(std::int64_t{-7})), -7.0);
  EXPECT_EQ(table.number(table.index_of(0.25)), 0.25);
  EXPECT_EQ(table.number(table.index_of(true)), 1.0);
  EXPECT_TRUE(table.is_text(0));
  EXPECT_FALSE(table.is_text(1));
}

TEST(value_table, keeps_its_values_while_it_grows) {
  value_table table;
  constexpr std::int64_t count = 100'000;
  for (std::int64_t i = 0; i < count; ++i) {
    table.index_of(i * std::numeric_limits<std::int32_t>::max());
    table.index_of_text("text " + std::to_string(i));
  }
  EXPECT_EQ(table.size(), 2U * count);
  for (const std::uint32_t i : {0U, 777U, 99'999U}) {
    EXPECT_EQ(
        table.at(2 * i),
        fact_value(std::int64_t{i} * std::numeric_limits<std::int32_t>::max()));
    EXPECT_EQ(table.text(2 * i + 1), "text " + std::to_string(i));
  }
}

TEST(value_table, takes_no_more_than_it_may) {
  value_table table(100);
  EXPECT_EQ(table.index_of_text(std::string(1000, 'x')), no_index);
  EXPECT_EQ(table.index_of_text("short"), 0U);
  for (std::int64_t i = 0; i < 10; ++i)
    table.index_of(i);
  EXPECT_EQ(table.size(), 5U);  // 16 bytes each, and those of the text
  EXPECT_EQ(table.index_of_text("short"), 0U);
}

TEST(value_table, goes_on_after_it_has_settled) {
  value_table table;
  table.index_of_text("a");
  table.settle();
  EXPECT_EQ(table.text(0), "a");
  EXPECT_EQ(table.index_of_text("b"), 1U);
  EXPECT_EQ(table.index_of_text("a"), 0U);
}

}  // namespace
}  // namespace zelk::facts
