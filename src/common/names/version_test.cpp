#include "src/common/names/version.h"

#include <gtest/gtest.h>

namespace zelk {
namespace {

std::string first_line() {
  const std::string commit = source_commit();
  return "zelk-db " + product_version() +
         (commit.empty() ? "" : " (commit " + commit + ")") + "\n";
}

TEST(version_text, names_program_version_and_commit) {
  EXPECT_EQ(version_text("zelk-db"), first_line());
  EXPECT_NE(product_version(), "");
}

TEST(version_text, lists_the_formats_on_a_line_of_their_own) {
  EXPECT_EQ(version_text("zelk-db", {{"datastore", 3}, {"export", 1}}),
            first_line() + "datastore version 3, export version 1\n");
}

TEST(source_commit, is_twelve_digits_or_nothing) {
  const std::string commit = source_commit();
  if (commit.empty()) GTEST_SKIP() << "the tree is no git checkout";
  EXPECT_EQ(commit.size(), 12U);
  EXPECT_EQ(commit.find_first_not_of("0123456789abcdef"), commit.npos);
}

}  // namespace
}  // namespace zelk
