#include "src/common/util/program_answer.h"

#include <gtest/gtest.h>

namespace zelk::util {
namespace {

using std::chrono::seconds;

TEST(ask_program, tells_what_was_printed_and_how_it_ended) {
  const program_answer answer =
      ask_program("echo out; echo err >&2; exit 3", seconds(20), seconds(1));
  EXPECT_TRUE(answer.ran);
  EXPECT_EQ(answer.exit_status, 3);
  EXPECT_EQ(answer.output, "out\n");
  EXPECT_EQ(answer.errors, "err\n");
}

TEST(ask_program, tells_that_there_is_no_such_program) {
  const program_answer answer =
      ask_program("no-such-program-anywhere", seconds(20), seconds(1));
  EXPECT_TRUE(answer.ran);
  EXPECT_EQ(answer.exit_status, 127);
}

TEST(ask_program, ends_what_takes_too_long) {
  const program_answer answer =
      ask_program("echo first; exec sleep 1000", seconds(1), seconds(1));
  EXPECT_TRUE(answer.ran);
  EXPECT_EQ(answer.exit_status, 124);
}

}  // namespace
}  // namespace zelk::util
