#include "src/check/input/answers.h"

#include <gtest/gtest.h>

namespace zelk::check {
namespace {

std::string typed(const std::string& command_line) {
  return limit_words(command_line, "memory", "None");
}

TEST(limit_words, name_the_option_that_was_typed) {
  EXPECT_EQ(typed("zelk-collect --timeout 300 -w n1"),
            "the limit set by --timeout 300 of zelk-collect");
  EXPECT_EQ(typed("zelk-collect --timeout=300 --timeout=900"),
            "the limit set by --timeout 900 of zelk-collect");
  EXPECT_EQ(typed("zelk-collect --timeout 5"),
            "the limit set by --timeout 5 of zelk-collect, which is never less "
            "than 60 s");
}

TEST(limit_words, name_the_files_where_nothing_was_typed) {
  constexpr char in_files[] =
      "the limit set by <timeout> in memory.xml or, over it, in zelk.xml";
  for (const char* line :
       {"", "zelk-collect", "zelk-collect --timeout",
        "zelk-collect --timeout=x", "zelk-collect --connect-timeout 3",
        "zelk-collect -- --timeout 300",
        "zelk-collect --timeout 99999999999999999999999"})
    EXPECT_EQ(typed(line), in_files) << line;
  EXPECT_EQ(limit_words("", "stream", "full"),
            "the limit set by <timeout> in stream.xml or, over it, of option "
            "'full' in zelk.xml");
}

}  // namespace
}  // namespace zelk::check
