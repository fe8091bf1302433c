#include "src/collect/src/db/mark_words.h"

#include <gtest/gtest.h>

namespace zelk::db {
namespace {

using words = std::vector<std::string>;

TEST(read_baseline_words, knows_each_action) {
  baseline_options options;
  EXPECT_EQ(read_baseline_words({}, options), "");
  EXPECT_EQ(options.what, baseline_action::list);
  EXPECT_EQ(read_baseline_words({"clear"}, options), "");
  EXPECT_EQ(options.what, baseline_action::clear);
  EXPECT_EQ(read_baseline_words({"set", "label:x"}, options), "");
  EXPECT_EQ(options.what, baseline_action::set);
  EXPECT_EQ(options.run, "label:x");
}

TEST(read_baseline_words, refuses_what_makes_no_sense) {
  const struct {
    words typed;
    const char* said;
  } cases[] = {
      {{"set"}, "baseline set needs a RUN"},
      {{"set", "1", "2"}, "'2' is not understood"},
      {{"clear", "1"}, "'1' is not understood"},
      {{"412"}, "baseline: '412' is none of set list clear"},
      {{""}, "baseline: '' is none of set list clear"},
      {{"lst"},
       "baseline: 'lst' is none of set list clear; did you mean 'list'?"},
  };
  for (const auto& each : cases) {
    baseline_options options;
    EXPECT_EQ(read_baseline_words(each.typed, options), each.said);
  }
  baseline_options named;
  named.name = "golden";
  EXPECT_EQ(read_baseline_words({"list"}, named),
            "--name and --who go with 'baseline set RUN'");
}

TEST(read_accept_words, knows_each_action) {
  accept_options options;
  EXPECT_EQ(read_accept_words({}, options), "");
  EXPECT_EQ(options.what, accept_action::list);
  EXPECT_EQ(read_accept_words({"revoke", "3", "12"}, options), "");
  EXPECT_EQ(options.what, accept_action::revoke);
  EXPECT_EQ(options.ids, (std::vector<std::int64_t>{3, 12}));
  options.reason = "known";
  EXPECT_EQ(read_accept_words({"mem-size"}, options), "");
  EXPECT_EQ(options.what, accept_action::accept);
  EXPECT_EQ(options.check, "mem-size");
}

TEST(read_accept_words, refuses_what_makes_no_sense) {
  const struct {
    words typed;
    const char* said;
  } cases[] = {
      {{"mem-size"}, "accept needs --reason TEXT: why may this stay as it is?"},
      {{"mem-size", "node1"}, "'node1' is not understood"},
      {{"revoke"}, "accept revoke needs an ID"},
      {{"revoke", "0"},
       "'0' is not the number of an acceptance; 'zelk-db accept list' lists "
       "them"},
      {{"revoke", "99999999999999999999"},
       "'99999999999999999999' is not the number of an acceptance; 'zelk-db "
       "accept list' lists them"},
      {{"list", "x"}, "'x' is not understood"},
  };
  for (const auto& each : cases) {
    accept_options options;
    EXPECT_EQ(read_accept_words(each.typed, options), each.said);
  }
}

TEST(read_accept_words, refuses_options_of_another_action) {
  accept_options options;
  options.nodes = {"n1"};
  EXPECT_EQ(read_accept_words({"revoke", "1"}, options),
            "-w, -x, --reason, --until and --run go with 'accept CHECK'");
  options = {};
  options.all = true;
  EXPECT_EQ(read_accept_words({"revoke", "1"}, options),
            "--all goes with 'accept list'");
}

}  // namespace
}  // namespace zelk::db
