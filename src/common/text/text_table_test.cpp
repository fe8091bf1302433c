#include "src/common/text/text_table.h"

#include <sstream>

#include <gtest/gtest.h>

namespace zelk::text {
namespace {

TEST(text_table, puts_columns_under_each_other) {
  std::ostringstream out;
  text_table table({{"RUN", true}, {"LABEL"}, {"NOTE"}});
  table.add({"7",
             "n\xc3\xa4"
             "chtlich",
             "x"});
  table.add({"1234", "-", ""});
  table.write(out);
  EXPECT_EQ(out.str(),
            " RUN  LABEL      NOTE\n"
            "   7  n\xc3\xa4"
            "chtlich  x\n"
            "1234  -\n");
}

TEST(text_table, keeps_its_widths_once_it_has_begun) {
  std::ostringstream out;
  text_table table({{"A"}, {"B"}});
  table.add({"1", "2"});
  table.write(out);
  table.add({"long", "2"});
  table.write(out);
  EXPECT_EQ(out.str(), "A  B\n1  2\nlong  2\n");
}

}  // namespace
}  // namespace zelk::text
