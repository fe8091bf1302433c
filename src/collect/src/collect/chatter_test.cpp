#include "src/collect/src/collect/chatter.h"

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

using lines = std::vector<std::string>;

TEST(chatter, folds_nodes_that_say_the_same) {
  chatter heard;
  for (const char* node : {"n1", "n2", "n2", "n4"})
    heard.add(node, "warning: clock is off");
  heard.add("n3", "hello");
  EXPECT_EQ(heard.lines(),
            (lines{"n[1-2,4] (3): warning: clock is off", "n3 (1): hello"}));
}

TEST(chatter, takes_the_nodes_own_name_for_no_difference) {
  chatter heard;
  heard.add("n1", "n1: kernel of n1.cluster, not of n11");
  heard.add("n2", "n2: kernel of n2.cluster, not of n11");
  EXPECT_EQ(heard.lines(),
            lines{"n[1-2] (2): NODE: kernel of NODE.cluster, not of n11"});
}

TEST(chatter, shows_so_many_messages_and_counts_the_rest) {
  chatter heard;
  for (int i = 0; i < 1000; ++i)
    heard.add("n1", "message " + std::to_string(i));
  const lines shown = heard.lines();
  ASSERT_EQ(shown.size(), 21u);
  EXPECT_EQ(shown.back(),
            "980 more lines of nodes are not shown; --events has all of them");
}

TEST(chatter, cuts_what_is_too_long) {
  chatter heard;
  heard.add("n1", std::string(100'000, 'x'));
  EXPECT_LT(heard.lines().front().size(), 400u);
}

TEST(without_name, replaces_whole_words_only) {
  EXPECT_EQ(without_name("n1 n10 an1 n1", "n1"), "NODE n10 an1 NODE");
  EXPECT_EQ(without_name("text", ""), "text");
}

}  // namespace
}  // namespace zelk::collect
