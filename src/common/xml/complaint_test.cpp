#include "src/common/xml/complaint.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"

namespace zelk::xml {
namespace {

using lines = std::vector<std::string>;

TEST(complain, names_file_and_line) {
  const log::captured_log log(log::level_error);
  complain("etc/zelk.xml", {7, "expected this"});
  EXPECT_EQ(log.lines(), lines{"etc/zelk.xml:7: expected this"});
}

TEST(complain, leaves_the_line_out_for_the_file_as_a_whole) {
  const log::captured_log log(log::level_error);
  complain("etc/zelk.xml", {0, "cannot be read"});
  EXPECT_EQ(log.lines(), lines{"etc/zelk.xml: cannot be read"});
}

TEST(excerpt, keeps_a_short_text) {
  EXPECT_EQ(excerpt("g\xc3\xbcnstig"), "g\xc3\xbcnstig");
  EXPECT_EQ(excerpt(""), "");
  EXPECT_EQ(excerpt(std::string(80, 'a')), std::string(80, 'a'));
}

TEST(excerpt, cuts_a_long_text_between_two_characters) {
  EXPECT_EQ(excerpt(std::string(81, 'a')), std::string(80, 'a') + "...");
  EXPECT_EQ(excerpt(std::string(79, 'a') + "\xc3\xbc" + "b"),
            std::string(79, 'a') + "...");
  EXPECT_EQ(excerpt("\x80\x80\x80", 2), "...");
}

// A value may not start a line of the log, nor clear the reader's screen.
TEST(excerpt, shows_control_bytes_as_question_marks) {
  EXPECT_EQ(excerpt("a\nb\r\tc\x1b[2J\x7f"), "a?b??c?[2J?");
}

}  // namespace
}  // namespace zelk::xml
