#include "src/check/command/file_hashes.h"

#include <gtest/gtest.h>

#include "src/common/xml/test_files.h"

namespace zelk::check {
namespace {

TEST(file_hashes, are_those_of_sha256sum) {
  xml::test_files files;
  const std::string empty = files.write("empty", "");
  const std::string abc = files.write("abc", "abc");
  const auto hashes = file_hashes({empty, "", files.path("none"), abc});
  ASSERT_EQ(hashes.size(), 2U);
  EXPECT_EQ(hashes[0].first, empty);
  EXPECT_EQ(hashes[0].second,
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(hashes[1].second,
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace zelk::check
