#include "src/common/util/errno_text.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace zelk::util {
namespace {

TEST(errno_text, gives_number_and_words) {
  EXPECT_EQ(errno_text(EACCES), "(13): Permission denied");
  EXPECT_EQ(errno_text(0), "(0): Success");
}

TEST(errno_text, names_a_number_that_means_nothing) {
  EXPECT_EQ(errno_text(99999), "(99999): Unknown error 99999");
  EXPECT_EQ(errno_text(-1), "(-1): Unknown error -1");
}

}  // namespace
}  // namespace zelk::util
