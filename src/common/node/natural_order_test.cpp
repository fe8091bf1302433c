#include "src/common/node/natural_order.h"

#include <gtest/gtest.h>

namespace zelk::node {
namespace {

TEST(natural_order, puts_numbers_by_their_value) {
  std::vector<std::string> names = {"node10", "node2", "node1",    "node01",
                                    "b",      "node2", "node",     "",
                                    "a10b2",  "a9b10", "node2-ib", "a10b1"};
  sort_naturally(names);
  const std::vector<std::string> sorted = {
      "",      "a9b10",  "a10b1", "a10b2",    "b",     "node",
      "node1", "node01", "node2", "node2-ib", "node10"};
  EXPECT_EQ(names, sorted);
}

TEST(natural_order, holds_numbers_of_any_length) {
  const std::string long_one(5000, '9');
  EXPECT_TRUE(natural_before("n" + long_one, "n1" + long_one));
  EXPECT_FALSE(natural_before("n1" + long_one, "n" + long_one));
  EXPECT_TRUE(natural_before("n" + long_one, "n0" + long_one));
}

// A sort must be able to rely on it, whatever the names are.
TEST(natural_order, has_one_direction) {
  const std::vector<std::string> names = {
      "",    "0",   "00",   "1",    "01", "1a",  "a",   "a0", "a1",
      "a01", "a1b", "a01b", "\xff", "-",  "a-1", "a10", "A"};
  for (const std::string& a : names)
    for (const std::string& b : names) {
      SCOPED_TRACE(testing::Message() << a << " " << b);
      EXPECT_EQ(natural_before(a, b) || natural_before(b, a), a != b);
      EXPECT_FALSE(natural_before(a, b) && natural_before(b, a));
      for (const std::string& c : names)
        if (natural_before(a, b) && natural_before(b, c)) {
          EXPECT_TRUE(natural_before(a, c)) << c;
        }
    }
}

}  // namespace
}  // namespace zelk::node
