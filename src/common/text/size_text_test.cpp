#include "src/common/text/size_text.h"

#include <gtest/gtest.h>

namespace zelk::text {
namespace {

TEST(size_bytes, knows_the_usual_units) {
  const struct {
    const char* text;
    std::int64_t bytes;
  } cases[] = {{"0", 0},
               {"4096", 4096},
               {"7B", 7},
               {"512K", 524'288},
               {"2 k", 2048},
               {"5MB", 5'242'880},
               {"64MiB", 67'108'864},
               {"1 GiB", 1'073'741'824},
               {"1T", 1'099'511'627'776},
               {"9223372036854775807", INT64_MAX},
               {"8388607T", 8'388'607LL << 40}};
  for (const auto& each : cases)
    EXPECT_EQ(size_bytes(each.text), each.bytes) << each.text;
}

TEST(size_bytes, refuses_what_is_no_size_or_holds_too_much) {
  for (const char* text :
       {"", " ", "K", "-1", "-0", "+1", " 5", "5 ", "3Q", "1.5M", "5MiBs",
        "5ii", "5 M B", "0x10", "9223372036854775808", "99999999999999999999",
        "8388608T", "17179869184G"})
    EXPECT_FALSE(size_bytes(text).has_value()) << text;
}

TEST(size_text, is_short) {
  EXPECT_EQ(size_text(0), "0 B");
  EXPECT_EQ(size_text(1023), "1023 B");
  EXPECT_EQ(size_text(13'107'200), "12.5 MiB");
}

TEST(counted, knows_one_from_many) {
  EXPECT_EQ(counted(1, "run"), "1 run");
  EXPECT_EQ(counted(0, "run"), "0 runs");
}

}  // namespace
}  // namespace zelk::text
