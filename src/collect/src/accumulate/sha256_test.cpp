#include "src/collect/src/accumulate/sha256.h"

#include <string>

#include <gtest/gtest.h>

namespace zelk::accumulate {
namespace {

std::string hex(const digest& value) {
  std::string text;
  for (const unsigned char byte : value) {
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

// As sha256sum(1) prints them.
TEST(sha256, is_what_everybody_computes) {
  sha256 hash;
  EXPECT_EQ(hex(hash({})),
            "e3b0c44298fc1c149afbf4c8996fb924"
            "27ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(hex(hash({"abc"})),
            "ba7816bf8f01cfea414140de5dae2223"
            "b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(hex(hash({std::string(1'000'000, 'a')})),
            "cdc76e5c9914fb9281a1c7e284d73e67"
            "f1809a48a497200e046d39ccc7112cd0");
}

TEST(sha256, takes_blocks_as_one) {
  sha256 hash;
  EXPECT_EQ(hash({"a", "", "bc"}), hash({"abc"}));
  EXPECT_NE(hash({"abc"}), hash({"abd"}));
}

TEST(prefix_of, is_made_of_the_first_bytes) {
  digest low = {};
  low[7] = 1;
  digest other = low;
  other[8] = 1;
  EXPECT_EQ(prefix_of(low), prefix_of(other));
  other[0] = 1;
  EXPECT_NE(prefix_of(low), prefix_of(other));
}

}  // namespace
}  // namespace zelk::accumulate
