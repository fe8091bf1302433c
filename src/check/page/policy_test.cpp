#include "src/check/page/policy.h"

#include <gtest/gtest.h>

namespace zelk::check::html {
namespace {

TEST(base64, is_that_of_everybody) {
  const std::pair<const char*, const char*> cases[] = {{"", ""},
                                                       {"f", "Zg=="},
                                                       {"fo", "Zm8="},
                                                       {"foo", "Zm9v"},
                                                       {"foob", "Zm9vYg=="},
                                                       {"foobar", "Zm9vYmFy"},
                                                       {"\xff\xfe", "//4="}};
  for (const auto& [bytes, expected] : cases)
    EXPECT_EQ(base64(bytes), expected);
}

TEST(content_hash, is_sha_256_in_base64) {
  EXPECT_EQ(content_hash(""),
            "sha256-47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=");
}

TEST(content_policy, lets_nothing_run_but_what_it_names) {
  const std::string policy = content_policy("a{}", "", false);
  EXPECT_TRUE(policy.starts_with("default-src 'none'; style-src 'sha256-"));
  EXPECT_NE(policy.find("script-src 'none'"), std::string::npos);
  EXPECT_EQ(policy.find("unsafe"), std::string::npos);
}

TEST(content_policy, names_its_own_place_when_files_lie_beside) {
  EXPECT_NE(content_policy("a", "b", true).find("script-src 'self'"),
            std::string::npos);
}

TEST(data_address, draws_only_pictures) {
  EXPECT_EQ(data_address("image/png", "x"), "data:image/png;base64,eA==");
  EXPECT_EQ(data_address("text/html", "x"),
            "data:application/octet-stream;base64,eA==");
}

}  // namespace
}  // namespace zelk::check::html
