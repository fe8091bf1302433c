#include "src/collect/src/reading/base64.h"

#include <gtest/gtest.h>

namespace zelk::reading {
namespace {

TEST(base64, gives_all_bytes_back_at_every_length) {
  std::string bytes;
  for (int i = 0; i < 300; ++i) {
    const base64_bytes back = bytes_of_base64(base64_of(bytes));
    EXPECT_EQ(back.bytes, bytes);
    EXPECT_EQ(back.problem, "");
    bytes += static_cast<char>(i * 7);
  }
}

TEST(base64_of, pads_to_four) {
  EXPECT_EQ(base64_of(""), "");
  EXPECT_EQ(base64_of("f"), "Zg==");
  EXPECT_EQ(base64_of("fo"), "Zm8=");
  EXPECT_EQ(base64_of("foo"), "Zm9v");
}

TEST(bytes_of_base64, skips_white_space_and_needs_no_padding) {
  EXPECT_EQ(bytes_of_base64(" Zm\n9v\r\nZg ").bytes, "foof");
  EXPECT_EQ(bytes_of_base64("Zm8").bytes, "fo");
}

TEST(bytes_of_base64, names_the_byte_that_is_wrong) {
  EXPECT_EQ(bytes_of_base64("Zm9!").problem, "byte 3 is not base64");
  EXPECT_EQ(bytes_of_base64("Zg==Zg==").problem,
            "byte 4 is behind the end of the base64 text");
  EXPECT_EQ(bytes_of_base64("Zg===").problem, "byte 4 is not base64");
  EXPECT_NE(bytes_of_base64("Z").problem, "");
  EXPECT_NE(bytes_of_base64("Zm9v=").problem, "");
  EXPECT_NE(bytes_of_base64(std::string_view("Zm\0v", 4)).problem, "");
}

}  // namespace
}  // namespace zelk::reading
