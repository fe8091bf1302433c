#include "src/collect/src/collect/text_table.h"

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

TEST(aligned, lines_columns_up_and_leaves_no_blanks_behind) {
  EXPECT_EQ(aligned({{"A", "B"}, {"long", ""}, {"\xc3\xa4", "x", "y"}}, " "),
            " A     B\n long\n \xc3\xa4     x  y\n");
  EXPECT_EQ(aligned({}), "");
}

// A description may be written over several lines, and by anybody.
TEST(one_line, keeps_a_terminal_in_order) {
  EXPECT_EQ(one_line("  two\n   lines\t\x1b[2J "), "two lines [2J");
  EXPECT_EQ(one_line(""), "");
  EXPECT_EQ(one_line(" \n"), "");
}

TEST(below, shortens_only_what_lies_there) {
  EXPECT_EQ(below("/opt/z", "/opt/z/etc/a.xml"), "etc/a.xml");
  EXPECT_EQ(below("/opt/z", "/opt/zz/a.xml"), "/opt/zz/a.xml");
  EXPECT_EQ(below("", "/etc/a.xml"), "/etc/a.xml");
}

}  // namespace
}  // namespace zelk::collect
