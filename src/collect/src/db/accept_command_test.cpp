#include "src/collect/src/db/accept_command.h"

#include <nlohmann/json.hpp>
#include <sstream>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/marks.h"
#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/db/acceptance_list.h"
#include "src/collect/src/db/login_name.h"
#include "src/collect/src/reading/acceptances.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/test_output.h"
#include "src/common/text/time_text.h"

namespace zelk::db {
namespace {

using names = std::vector<std::string>;

class accepting : public testing::Test {
 protected:
  accepting()
      : path_(folder_.file("zelk.db")), here_(reading::place_of(path_)) {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    reading::add_run(path_, 1);
    options_.what = accept_action::accept;
    options_.check = "mem-size";
    options_.reason = "DIMM ordered";
    options_.who = "ada";
  }
  ~accepting() override {
    ::unsetenv("TZ");
    ::tzset();
  }

  std::string done(const accept_options& options) {
    const reading::captured_output output;
    status_ = manage_acceptances(here_, options);
    said_ = output.error();
    return output.out();
  }
  std::string accept() { return done(options_); }
  std::string refusal() {
    return reading::complaint_of([&] { accept(); });
  }
  nlohmann::json listed(bool all = false) {
    accept_options options;
    options.json = true;
    options.all = all;
    return nlohmann::json::parse(done(options));
  }
  std::string revoke(const std::vector<std::int64_t>& ids) {
    accept_options options;
    options.what = accept_action::revoke;
    options.ids = ids;
    options.who = "bob";
    return done(options);
  }

  datastore::scratch folder_;
  std::string path_;
  reading::place here_;
  accept_options options_;
  int status_ = -1;
  std::string said_;
};

TEST_F(accepting, is_told_in_one_line_and_listed) {
  options_.nodes = {"node[1-3]", "silent"};
  options_.excluded = {"node2"};
  options_.until = "2999-12-31";
  options_.run = "1";
  EXPECT_EQ(accept(),
            "accepted 1: mem-size on node[1,3],silent (3), until 2999-12-31\n");
  EXPECT_EQ(status_, 0);
  EXPECT_EQ(said_, "");
  const auto one = listed().at(0);
  EXPECT_EQ(one["id"], 1);
  EXPECT_EQ(one["check"], "mem-size");
  EXPECT_EQ(one["nodes"], (names{"node1", "node3", "silent"}));
  EXPECT_EQ(one["node_set"], "node[1-3],silent -x node2");
  EXPECT_EQ(one["state"], "active");
  EXPECT_EQ(one["reason"], "DIMM ordered");
  EXPECT_EQ(one["who"], "ada");
  // That day is still a part of it.
  EXPECT_EQ(one["until"], "3000-01-01T00:00:00Z");
  EXPECT_EQ(one["run"], 1);
  EXPECT_EQ(one["revoked"], nullptr);
}

TEST_F(accepting, without_nodes_holds_for_any_and_for_good) {
  EXPECT_EQ(accept(), "accepted 1: mem-size on any node\n");
  const auto one = listed().at(0);
  EXPECT_EQ(one["nodes"], names{});
  EXPECT_EQ(one["until"], nullptr);
  EXPECT_EQ(one["run"], nullptr);
}

TEST_F(accepting, needs_a_reason_that_says_something) {
  for (const char* reason : {"", "  ", "\t\n"}) {
    options_.reason = reason;
    EXPECT_NE(refusal().find("--reason"), std::string::npos);
  }
  options_.reason = std::string(1001, 'x');
  EXPECT_EQ(refusal(), "--reason: expected at most 1000 bytes; found 1001");
  options_.reason = "\xff";
  EXPECT_EQ(refusal(), "--reason: expected UTF-8 text");
  EXPECT_EQ(listed().size(), 0U);
}

TEST_F(accepting, takes_ids_of_checks_only) {
  const struct {
    const char* id;
    const char* end;
  } cases[] = {
      {"Mem_Size", "did you mean 'mem-size'?"},
      {"mem.size", "did you mean 'mem-size'?"},
      {"mem--size", "'zelk-check --list' lists them"},
      {"-mem", "'zelk-check --list' lists them"},
      {"mem-", "'zelk-check --list' lists them"},
      {"9mem", "'zelk-check --list' lists them"},
      {"mem*", "'zelk-check --list' lists them"},
      {"", "'zelk-check --list' lists them"},
      {"m\x1b[2J", "'zelk-check --list' lists them"},
      {"m\xc3\xa4h", "'zelk-check --list' lists them"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.id);
    options_.check = each.id;
    EXPECT_TRUE(refusal().ends_with(each.end)) << refusal();
  }
  for (const char* id : {"mem-size", "x", "net-links-differs", "cpu2-low"})
    EXPECT_EQ(problem_of_check_id(id), "");
}

TEST_F(accepting, understands_days_and_durations) {
  options_.until = "30d";
  accept();
  const std::int64_t end = reading::number_in(
      path_, "SELECT until_usec - made_usec FROM v_acceptance");
  EXPECT_EQ(end, 30 * reading::day_usec);
  for (const char* until :
       {"soon", "7", "now", "now-7d", "2999-13-01", "-3d"}) {
    options_.until = until;
    EXPECT_EQ(refusal(), "--until: '" + std::string(until) +
                             "' is none of 12h, 30d, 8w, 2025-12-31");
  }
  for (const char* until : {"0s", "2001-01-01"}) {
    options_.until = until;
    EXPECT_EQ(refusal(),
              "--until: '" + std::string(until) + "' is over already");
  }
}

// A slip of the finger would accept nothing, and nobody would see it.
TEST_F(accepting, speaks_up_about_nodes_that_no_run_knows) {
  options_.nodes = {"node1,noed[2-3]"};
  accept();
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(said_,
            "zelk-db: no run knows noed[2-3]; the acceptance was made for what "
            "may come\n");
  EXPECT_EQ(listed().size(), 1U);
  options_.run = "latest";
  EXPECT_EQ(refusal(), "noed[2-3]: no part of run 1");
  EXPECT_EQ(listed().size(), 1U);
}

TEST_F(accepting, refuses_node_sets_that_are_none_or_empty) {
  for (const char* set : {"node[3-1]", "node[1-", "a b", "node[1-100000000]"}) {
    options_.nodes = {set};
    EXPECT_NE(refusal(), "") << set;
  }
  options_.nodes = {"node1"};
  options_.excluded = {"node1"};
  EXPECT_EQ(refusal(),
            "'node1 -x node1' names no node; without -w any node is meant");
  options_.nodes.clear();
  EXPECT_EQ(refusal(), "--exclude needs --nodes: of which nodes?");
  EXPECT_EQ(listed().size(), 0U);
}

TEST_F(accepting, is_taken_back_by_its_number) {
  accept();
  options_.check = "clock-off";
  accept();
  EXPECT_EQ(revoke({1}), "revoked 1: mem-size on any node\n");
  EXPECT_EQ(status_, 0);
  ASSERT_EQ(listed().size(), 1U);
  EXPECT_EQ(listed().at(0)["check"], "clock-off");
  const auto all = listed(true);
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0]["state"], "revoked");
  EXPECT_EQ(all[0]["revoked_by"], "bob");
  EXPECT_EQ(revoke({1, 2}), "revoked 2: clock-off on any node\n");
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(said_, "zelk-db: 1 was revoked before\n");
}

TEST_F(accepting, of_which_one_number_is_wrong_revokes_none) {
  accept();
  EXPECT_EQ(reading::complaint_of([&] {
              revoke({1, 9});
            }),
            "There is no acceptance 9; 'zelk-db accept list' lists them");
  EXPECT_EQ(listed().size(), 1U);
}

TEST_F(accepting, that_is_over_is_listed_as_expired) {
  {
    datastore::database base = reading::open_to_write(here_);
    accumulate::add_acceptance(base,
                               {"mem-size", "", {}, "known", "ada", 1, 2, 0});
  }
  EXPECT_EQ(listed().at(0)["state"], "expired");
  const std::string table = done({});
  EXPECT_NE(table.find("  expired  1970-01-01 00:00  ada "), table.npos)
      << table;
}

TEST_F(accepting, of_nothing_is_said) {
  EXPECT_EQ(done({}), "nothing is accepted\n");
  accept();
  revoke({1});
  EXPECT_EQ(done({}), "nothing is accepted; --all lists what was\n");
}

TEST_F(accepting, lets_nothing_hostile_onto_a_terminal) {
  options_.reason = "a\x1b[2Jb\nc";
  options_.who = "\x1b]0;x\x07";
  accept();
  const std::string table = done({});
  EXPECT_EQ(table.find('\x1b'), table.npos);
  EXPECT_NE(table.find("a\\x1b[2Jb\\nc"), table.npos) << table;
  EXPECT_EQ(listed().at(0)["reason"], options_.reason);
}

TEST_F(accepting, in_a_datastore_of_version_2_asks_for_a_migration) {
  accumulate::take_back_to_version_2(path_);
  EXPECT_EQ(listed().size(), 0U);
  EXPECT_NE(refusal().find("'zelk-db migrate'"), std::string::npos);
}

TEST(print_acceptances, cuts_a_long_node_set_and_counts_it) {
  reading::stored_acceptance one;
  one.check = "mem-size";
  for (int i = 1; i < 100; i += 2)
    one.nodes.push_back("node" + std::to_string(i));
  std::ostringstream out;
  print_acceptances({one}, 0, out);
  EXPECT_NE(out.str().find("  node[1,3,5,7,9,11,13,15,17,19,21,23,25,... (50)"),
            std::string::npos)
      << out.str();
}

TEST(login_name, is_somebody) {
  EXPECT_NE(login_name(), "");
}

}  // namespace
}  // namespace zelk::db
