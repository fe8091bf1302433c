#include "src/check/judge/glob.h"

#include <string>

#include <gtest/gtest.h>

namespace zelk::check {

namespace {

TEST(matches, takes_stars_and_question_marks_as_a_shell_does) {
  struct example {
    const char *pattern, *text;
    bool matches;
  };
  for (const example& each : {
           example{"", "", true},
           {"", "a", false},
           {"*", "", true},
           {"*", "any.thing", true},
           {"a*c", "abc", true},
           {"a*c", "ac", true},
           {"a*c", "abd", false},
           {"a?c", "abc", true},
           {"a?c", "ac", false},
           {"*.mtu", "net.eth0.mtu", true},
           {"net.*.mtu", "net.a.b.mtu", true},
           {"a**b", "ab", true},
           {"cpu[0]", "cpu[0]", true},
           {"cpu[0]", "cpu0", false},
           {"*aab", "aaab", true},
           {"a*b*c", "axbxbxc", true},
           {"a", "A", false},
       }) {
    SCOPED_TRACE(std::string(each.pattern) + " " + each.text);
    EXPECT_EQ(matches(each.pattern, each.text), each.matches);
  }
}

TEST(matches, is_not_slow_on_many_stars) {
  std::string pattern;
  for (int i = 0; i < 500; ++i)
    pattern += "*a";
  EXPECT_FALSE(matches(pattern + "b", std::string(20000, 'a')));
}

TEST(is_pattern, knows_names_from_patterns) {
  EXPECT_FALSE(is_pattern("net.eth0.mtu"));
  EXPECT_TRUE(is_pattern("net.*.mtu"));
  EXPECT_TRUE(is_pattern("net.eth?.mtu"));
}

}  // namespace

}  // namespace zelk::check
