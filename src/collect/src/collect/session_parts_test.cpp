#include "src/collect/src/collect/session_parts.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "src/collect/src/collect/test_plan.h"

namespace zelk::collect {
namespace {

using words = std::vector<std::string>;

collect_settings example_settings() {
  collect_settings settings;
  settings.install_root = "/opt/zelkara";
  settings.config_file = "/opt/zelkara/etc/zelk.xml";
  settings.output_directory = "/var/spool";
  return settings;
}

TEST(find_endpoint, is_a_private_socket_for_workers_of_this_machine) {
  collect_settings settings = example_settings();
  settings.launcher = "local";
  std::string folder;
  {
    const run_endpoint found = find_endpoint(settings, {});
    ASSERT_EQ(found.problem, "");
    ASSERT_NE(found.folder, nullptr);
    folder = found.folder->path();
    EXPECT_EQ(found.bind, "ipc://" + folder + "/results");
    struct stat status = {};
    ASSERT_EQ(::stat(folder.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
  }
  struct stat status = {};
  EXPECT_EQ(::stat(folder.c_str(), &status), -1);
}

TEST(find_endpoint, takes_the_address_that_was_typed) {
  collect_settings settings = example_settings();
  settings.address = "head-ib:5600";
  const run_endpoint found = find_endpoint(settings, {});
  EXPECT_EQ(found.bind, "tcp://*:5600");
  EXPECT_EQ(found.host, "head-ib");
  settings.address = ":";
  EXPECT_NE(find_endpoint(settings, {}).problem, "");
}

TEST(common_setup, leaves_the_nodes_their_own_configuration) {
  const plan made = testing::example_plan(1);
  run_endpoint endpoint;
  endpoint.host = "10.1.0.1";
  collect_settings settings = example_settings();
  worker_setup setup =
      common_setup(settings, made, endpoint, "tcp://0.0.0.0:77");
  EXPECT_EQ(setup.endpoint, "tcp://10.1.0.1:77");
  EXPECT_EQ(setup.configuration, "");

  settings.timeout = std::chrono::seconds(5);
  setup = common_setup(settings, made, endpoint, "tcp://0.0.0.0:77");
  EXPECT_NE(setup.configuration.find("stream"), std::string::npos);
}

TEST(common_setup, has_no_endpoint_for_files) {
  collect_settings settings = example_settings();
  settings.async = true;
  settings.shared_directory = "/shared/spool";
  settings.remote_path = "/shared/zelkara";
  const worker_setup setup =
      common_setup(settings, testing::example_plan(1), {}, "ipc:///tmp/x");
  EXPECT_EQ(setup.endpoint, "");
  EXPECT_EQ(setup.program, "/shared/zelkara/bin/zelk_run_provider");
  EXPECT_NE(setup.configuration.find("/shared/spool"), std::string::npos);
}

TEST(scan_command, goes_into_the_run_or_leaves_files_their_own) {
  collect_settings settings = example_settings();
  settings.datastore = "a.db";
  const words all = scan_command(settings, 412);
  EXPECT_EQ(words(all.begin() + 1, all.begin() + 3),
            (words{"scan", "/var/spool"}));
  EXPECT_EQ(words(all.end() - 4, all.end()),
            (words{"--run", "412", "--db", "a.db"}));
  EXPECT_EQ(scan_command(settings, {}).size() + 2, all.size());
}

TEST(note_of, tells_what_was_left_out_and_where) {
  collect_settings settings = example_settings();
  settings.notes = {"ticket=4711", "why=update"};
  plan made;
  EXPECT_EQ(note_of(settings, made), "ticket=4711; why=update");
  for (const char* node : {"n1", "n2"})
    made.not_required.push_back({node, "gpu", "runs only on role enhanced"});
  EXPECT_EQ(note_of(settings, made),
            "ticket=4711; why=update; not required on n[1-2]: gpu: runs only "
            "on role enhanced");
}

// A node that is down must not keep the others from being collected.
TEST(sharing_problem, is_told_of_nodes_that_answer) {
  precheck_report report;
  report.directory = "/shared";
  report.nodes["down"].answered = false;
  report.nodes["good"] = {};
  report.nodes["good"].answered = report.nodes["good"].reply_seen = true;
  report.nodes["good"].token = "read";
  EXPECT_EQ(sharing_problem(report), "");
  for (const char* node : {"n1", "n2"})
    report.nodes[node].answered = true;
  report.nodes["n1"].token = "read";
  EXPECT_EQ(
      sharing_problem(report),
      "--async: expected /shared to be one directory, shared by all nodes "
      "and writable there; it is not on n[1-2]");
}

TEST(is_failure, is_what_speaks_against_a_node) {
  EXPECT_FALSE(is_failure(0));
  EXPECT_FALSE(is_failure(80));
  EXPECT_FALSE(is_failure(83));
  EXPECT_TRUE(is_failure(1));
  EXPECT_TRUE(is_failure(84));
  EXPECT_TRUE(is_failure(124));
}

TEST(closing_state, is_what_the_run_came_to) {
  collect_settings settings = example_settings();
  ledger account(testing::example_plan(1));
  EXPECT_EQ(closing_state(true, settings, account), "interrupted");
  EXPECT_EQ(closing_state(false, settings, account), "auto");
  account.give_up({"n1", "", ""}, {shortfall::not_required, "r", "r", false});
  EXPECT_EQ(closing_state(false, settings, account), "complete");
  // What else that run expected, only the datastore knows.
  settings.run = "412";
  EXPECT_EQ(closing_state(false, settings, account), "auto");
}

TEST(without_prefix, leaves_a_program_its_name_once) {
  EXPECT_EQ(without_prefix("zelk-accumulate: --db: bad"), "--db: bad");
  EXPECT_EQ(without_prefix("bad"), "bad");
}

}  // namespace
}  // namespace zelk::collect
