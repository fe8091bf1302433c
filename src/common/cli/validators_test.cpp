#include "src/common/cli/validators.h"

#include <string>

#include <gtest/gtest.h>

namespace zelk::cli {
namespace {

std::string complaint(const CLI::Validator& of, std::string value) {
  return of(value);
}

TEST(number_from, takes_its_ends_and_what_lies_between) {
  for (const char* value : {"1", "99999", "1e3", "2.5", "100000"})
    EXPECT_EQ(complaint(number_from(1, 100'000), value), "") << value;
  for (const char* value :
       {"", "0", "100000.1", "1x", " 1", "nan", "inf", "-1"})
    EXPECT_EQ(complaint(number_from(1, 100'000), value),
              "expected a number from 1 to 100000; found '" +
                  std::string(value) + "'");
}

TEST(size_value, makes_bytes) {
  std::string value = "64MiB";
  EXPECT_EQ(size_value()(value), "");
  EXPECT_EQ(value, "67108864");
  value = "2 k";
  EXPECT_EQ(size_value()(value), "");
  EXPECT_EQ(value, "2048");
}

TEST(size_value, refuses_what_is_no_size) {
  for (const char* value :
       {"", "3Q", "K", "-1", "99999999999999999999", "17179869184G", "1.5.2K"})
    EXPECT_EQ(complaint(size_value(), value),
              "expected a size like 4096, 512K or 64MiB; found '" +
                  std::string(value) + "'");
}

TEST(filled, refuses_an_empty_value_alone) {
  EXPECT_EQ(complaint(filled(), ""), "expected a value; found ''");
  EXPECT_EQ(complaint(filled(), " "), "");
}

}  // namespace
}  // namespace zelk::cli
