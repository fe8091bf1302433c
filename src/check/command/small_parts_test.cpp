#include <cstdlib>

#include <gtest/gtest.h>

#include "src/check/command/judge_run.h"
#include "src/check/command/man_page.h"
#include "src/check/command/terminal.h"
#include "src/collect/src/reading/failure.h"

namespace zelk::check {
namespace {

class environment : public testing::Test {
 protected:
  environment() { clear(); }
  ~environment() override { clear(); }

  static void clear() {
    for (const char* name : {"NO_COLOR", "CLICOLOR", "CLICOLOR_FORCE", "TERM",
                             "LC_ALL", "LC_CTYPE", "LANG", "SOURCE_DATE_EPOCH"})
      ::unsetenv(name);
  }
  static void set(const char* name, const char* value) {
    ::setenv(name, value, 1);
  }
};

class wants_colour_ : public environment {};

TEST_F(wants_colour_, by_the_option_before_all) {
  set("NO_COLOR", "1");
  EXPECT_TRUE(wants_colour(color_use::always, false));
  set("CLICOLOR_FORCE", "1");
  EXPECT_FALSE(wants_colour(color_use::never, true));
}

TEST_F(wants_colour_, in_the_usual_order_of_variables) {
  EXPECT_TRUE(wants_colour(color_use::automatic, true));
  EXPECT_FALSE(wants_colour(color_use::automatic, false));
  set("CLICOLOR", "0");
  EXPECT_FALSE(wants_colour(color_use::automatic, true));
  set("CLICOLOR_FORCE", "1");
  EXPECT_TRUE(wants_colour(color_use::automatic, false));
  set("NO_COLOR", "");
  EXPECT_TRUE(wants_colour(color_use::automatic, false));
  set("NO_COLOR", "1");
  EXPECT_FALSE(wants_colour(color_use::automatic, true));
}

TEST_F(wants_colour_, not_on_a_dumb_terminal) {
  set("TERM", "dumb");
  EXPECT_FALSE(wants_colour(color_use::automatic, true));
}

class locale_is_utf8_ : public environment {};

TEST_F(locale_is_utf8_, by_the_first_variable_that_is_set) {
  EXPECT_FALSE(locale_is_utf8());
  set("LANG", "de_DE.utf8");
  EXPECT_TRUE(locale_is_utf8());
  set("LC_CTYPE", "C");
  EXPECT_FALSE(locale_is_utf8());
  set("LC_ALL", "C.UTF-8");
  EXPECT_TRUE(locale_is_utf8());
}

class present_usec_ : public environment {};

TEST_F(present_usec_, can_be_given) {
  set("SOURCE_DATE_EPOCH", "1760000000");
  EXPECT_EQ(present_usec(), 1'760'000'000'000'000);
  set("SOURCE_DATE_EPOCH", "");
  EXPECT_GT(present_usec(), 1'760'000'000'000'000);
  for (const char* given : {"yesterday", "17x", " "}) {
    set("SOURCE_DATE_EPOCH", given);
    EXPECT_THROW(present_usec(), reading::refusal) << given;
  }
}

class options_for_ : public environment {};

TEST_F(options_for_, tells_ages_of_the_past_from_its_own_end) {
  set("SOURCE_DATE_EPOCH", "2000");
  run_info run;
  run.ended_usec = 1'000'000'000;
  check_settings settings;
  EXPECT_EQ(options_for(settings, run).now_usec, 2'000'000'000);
  settings.run = "label:nightly";
  EXPECT_EQ(options_for(settings, run).now_usec, 2'000'000'000);
  settings.run = "412";
  EXPECT_EQ(options_for(settings, run).now_usec, 1'000'000'000);
  settings.max_age_usec = 5;
  EXPECT_EQ(options_for(settings, run).now_usec, 2'000'000'000);
  EXPECT_EQ(options_for(settings, run).max_age_usec, 5);
}

TEST(plain_page, is_text_without_the_marks_of_its_source) {
  EXPECT_EQ(plain_page(".TH X 1\n.SH NAME\nx \\- does \\fIthings\\fR\n"
                       ".SH OPTIONS\n.TP\n.BI \\-\\-run \" RUN\"\nWhich\none.\n"
                       ".EX\na  b\n.EE\n"),
            "\nNAME\n    x - does things\n\nOPTIONS\n\n    --run RUN\n"
            "        Which one.\n        a  b\n");
}

}  // namespace
}  // namespace zelk::check
