#include <string>

#include <gtest/gtest.h>

#include "src/common/preproc/preproc.h"

namespace zelk::preproc {
namespace {

TEST(shell_quoted, puts_a_value_into_single_quotes) {
  EXPECT_EQ(shell_quoted("64"), "'64'");
  EXPECT_EQ(shell_quoted(""), "''");
  EXPECT_EQ(shell_quoted(" a\tb\n"), "' a\tb\n'");
}

TEST(shell_quoted, leaves_what_means_nothing_between_quotes) {
  EXPECT_EQ(shell_quoted("$(x) `y` \\ \"z\" $HOME ${IFS} !1 *"),
            "'$(x) `y` \\ \"z\" $HOME ${IFS} !1 *'");
}

TEST(shell_quoted, takes_a_single_quote_out_of_the_quotes) {
  EXPECT_EQ(shell_quoted("it's"), "'it'\\''s'");
  EXPECT_EQ(shell_quoted("'"), "''\\'''");
  EXPECT_EQ(shell_quoted("''; reboot; '"), "''\\'''\\''; reboot; '\\'''");
}

}  // namespace
}  // namespace zelk::preproc
