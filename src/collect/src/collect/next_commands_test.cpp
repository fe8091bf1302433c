#include "src/collect/src/collect/next_commands.h"

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

using commands = std::vector<next_command>;

collect_settings typed(const std::map<std::string, std::string>& origins = {}) {
  collect_settings settings;
  settings.origins = origins;
  return settings;
}

TEST(next_commands, fills_the_gaps_with_what_was_asked_for) {
  collect_settings settings = typed();
  settings.wanted = {"@nightly"};
  EXPECT_EQ(
      next_commands(settings, {412, {"node037", "node112"}, {}, true, true}),
      (commands{{"zelk-check --run 412", "what is wrong"},
                {"zelk-collect @nightly --into 412 -w node[037,112]",
                 "fill the gaps into the same run"}}));
}

TEST(next_commands, proposes_no_program_that_is_not_there) {
  EXPECT_EQ(next_commands(typed(), {7, {}, {}, false, true}),
            (commands{{"zelk-db show 7 --header", "what has come"}}));
}

TEST(next_commands, does_not_propose_to_look_at_nothing) {
  EXPECT_EQ(next_commands(typed(), {7, {}, {}, false, false}), commands{});
}

TEST(next_commands, knows_of_no_run_that_was_not_made) {
  EXPECT_EQ(next_commands(typed(), {{}, {"n1"}, {}, true, true}), commands{});
}

TEST(next_commands, repeats_what_was_typed_and_nothing_else) {
  collect_settings settings = typed({{"launcher", "--launcher"},
                                     {"fanout", "ZELK_FANOUT"},
                                     {"connect_timeout", "--connect-timeout"},
                                     {"datastore", "--db"},
                                     {"nodefile", "-n"},
                                     {"timeout", "--timeout"}});
  settings.wanted = {"stream", "it's mine"};
  settings.provider_files = {"/site/a.xml"};
  settings.launcher = "mpi";
  settings.fanout = 3;
  settings.connect_timeout = std::chrono::milliseconds(2500);
  settings.timeout = std::chrono::seconds(30);
  settings.datastore = "sqlite:/tmp/a b.db";
  settings.nodefile = "/etc/nodes";
  settings.label = "nightly";
  EXPECT_EQ(same_again(settings),
            "zelk-collect stream 'it'\\''s mine' -f /site/a.xml --db "
            "'sqlite:/tmp/a b.db' -n /etc/nodes --launcher mpi "
            "--connect-timeout 2.5 --timeout 30");
  EXPECT_EQ(next_commands(settings, {7, {}, {}, true, true}).front().command,
            "zelk-check --run 7 --db 'sqlite:/tmp/a b.db'");
}

// The configuration may say where the datastore is.
TEST(next_commands, names_the_configuration_where_no_datastore_was_named) {
  collect_settings settings = typed({{"config", "--config"}});
  settings.config_file = "/site/a b.xml";
  EXPECT_EQ(next_commands(settings, {7, {}, {}, true, true}).front().command,
            "zelk-check --run 7 -c '/site/a b.xml'");
  settings = typed({{"config", "ZELK_CONFIG"}});
  settings.config_file = "/site/a.xml";
  EXPECT_EQ(next_commands(settings, {7, {}, {}, true, true}).front().command,
            "zelk-check --run 7");
}

TEST(next_commands, proposes_the_doctor_for_what_another_try_does_not_help) {
  const shortfall_row row = {shortfall::host_key, "x", {}, {"n1"}};
  const commands list = next_commands(typed(), {7, {"n1"}, {row}, true, true});
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(list[2].command, "zelk-collect --doctor -w n1");
}

TEST(shell_word, quotes_what_a_shell_would_take_apart) {
  EXPECT_EQ(shell_word("node[1-3,5]"), "node[1-3,5]");
  EXPECT_EQ(shell_word("a b"), "'a b'");
  EXPECT_EQ(shell_word("$(reboot)"), "'$(reboot)'");
  EXPECT_EQ(shell_word(""), "''");
}

}  // namespace
}  // namespace zelk::collect
