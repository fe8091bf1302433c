#include "src/collect/src/provider/requirements.h"

#include <cerrno>
#include <initializer_list>

#include <gtest/gtest.h>

#include "src/collect/src/provider/failing_libc.h"
#include "src/collect/src/provider/test_support.h"
#include "src/common/log/captured_log.h"

namespace zelk {
namespace {

using testing::libc_faults;
using testing::lines;
using testing::scratch_directory;

// Runs a provider called "memory" that may run anywhere.
struct attempt {
  provider_config description;
  provider_result record;
  std::string nodefile;

  attempt() {
    description.name = "memory";
    description.command = "printf ran";
  }
  std::int32_t run() {
    return check_and_run_description(description, nodefile.c_str(), record, "",
                                     {});
  }
  bool ran() const { return record.stdout.view() == "ran"; }
};

struct architecture_case {
  std::int32_t requirement;
  const char* machine;
  std::int32_t code;
};

TEST(check_and_run_provider, compares_the_architecture) {
  for (const architecture_case& c :
       {architecture_case{1, "x86_64", run_done},
        architecture_case{1, "aarch64", run_architecture_differs},
        architecture_case{1, "x86_64h", run_architecture_differs},
        architecture_case{0, "x86_64", run_architecture_differs},
        architecture_case{3, "x86_64", run_architecture_differs},
        architecture_case{-1, "aarch64", run_architecture_differs}}) {
    SCOPED_TRACE(std::to_string(c.requirement) + " on " + c.machine);
    libc_faults faults;
    faults.machine = c.machine;
    const log::captured_log log(log::level_info);
    attempt one;
    one.description.architecture = c.requirement;
    EXPECT_EQ(one.run(), c.code);
    EXPECT_EQ(one.ran(), c.code == run_done);
    EXPECT_EQ(log.lines(), lines{});
  }
}

TEST(check_and_run_provider, does_not_look_at_the_machine_for_any) {
  libc_faults faults;
  faults.uname_error = EFAULT;
  const log::captured_log log(log::level_info);
  attempt one;
  EXPECT_EQ(one.run(), run_done);
  EXPECT_EQ(faults.unames, 0);
  EXPECT_EQ(log.lines(), lines{});
}

// A node that cannot describe itself is worth a result all the more.
TEST(check_and_run_provider, runs_on_a_machine_that_cannot_be_described) {
  for (const std::int32_t requirement : {0, 1}) {
    SCOPED_TRACE(requirement);
    libc_faults faults;
    faults.uname_error = EFAULT;
    const log::captured_log log(log::level_error);
    attempt one;
    one.description.architecture = requirement;
    EXPECT_EQ(one.run(), run_done);
    EXPECT_TRUE(one.ran());
    EXPECT_EQ(log.text(), "Unable to acquire machine data using uname.\n\n");
  }
}

TEST(check_and_run_provider, asks_no_node_file_for_one_node) {
  const log::captured_log log(log::level_info);
  attempt one;
  EXPECT_EQ(one.run(), run_done);
  EXPECT_TRUE(one.ran());
  EXPECT_EQ(log.lines(), lines{});
}

TEST(check_and_run_provider, ignores_the_most_nodes_of_a_provider_of_one) {
  const scratch_directory scratch;
  const log::captured_log log(log::level_info);
  attempt one;
  one.nodefile = scratch.with_file("nodes", "n[1-500]\n");
  EXPECT_EQ(one.run(), run_done);
  EXPECT_EQ(one.record.header.num_nodes, 500);
  EXPECT_EQ(log.lines(), lines{});
}

TEST(check_and_run_provider, requires_a_node_file_for_a_cluster) {
  for (const std::uint16_t min_nodes :
       std::initializer_list<std::uint16_t>{0, 2, 65535}) {
    SCOPED_TRACE(min_nodes);
    const log::captured_log log(log::level_info);
    attempt one;
    one.description.min_nodes = min_nodes;
    EXPECT_EQ(one.run(), run_nodes_not_met);
    EXPECT_FALSE(one.ran());
    EXPECT_EQ(log.lines(),
              lines{"No nodelist provided for a data provider that requires a "
                    "cluster: 'memory'"});
  }
}

TEST(check_and_run_provider, runs_a_provider_for_any_number_of_nodes) {
  const scratch_directory scratch;
  const log::captured_log log(log::level_info);
  attempt one;
  one.description.min_nodes = 0;
  one.nodefile = scratch.with_file("nodes", "alpha\n");
  EXPECT_EQ(one.run(), run_done);
  EXPECT_TRUE(one.ran());
  EXPECT_EQ(one.description.nodefile, one.nodefile);
  EXPECT_EQ(log.lines(), lines{});
}

TEST(check_and_run_provider, refuses_a_node_file_without_nodes) {
  const scratch_directory scratch;
  for (const std::string& path :
       {scratch.with_file("empty", "# nobody\n"), scratch.file("missing")}) {
    SCOPED_TRACE(path);
    const log::captured_log log(log::level_info);
    attempt one;
    one.description.min_nodes = 2;
    one.nodefile = path;
    EXPECT_EQ(one.run(), run_nodes_not_met);
    EXPECT_FALSE(one.ran());
    EXPECT_EQ(log.lines(),
              lines{"Unable to read nodefile for data provider 'memory'"});
  }
}

TEST(check_and_run_provider, refuses_fewer_nodes_than_required) {
  const scratch_directory scratch;
  const log::captured_log log(log::level_info);
  attempt one;
  one.description.min_nodes = 4;
  one.description.max_nodes = 8;
  one.nodefile = scratch.with_file("nodes", "n[1-3]\n");
  EXPECT_EQ(one.run(), run_nodes_not_met);
  EXPECT_FALSE(one.ran());
  EXPECT_EQ(log.lines(),
            lines{"Minimum number of nodes required to run data provider "
                  "'memory' not met."});
}

TEST(check_and_run_provider, accepts_both_bounds_in_silence) {
  const scratch_directory scratch;
  for (const char* nodes : {"n[1-4]\n", "n[1-8]\n"}) {
    SCOPED_TRACE(nodes);
    const log::captured_log log(log::level_info);
    attempt one;
    one.description.min_nodes = 4;
    one.description.max_nodes = 8;
    one.nodefile = scratch.with_file("nodes", nodes);
    EXPECT_EQ(one.run(), run_done);
    EXPECT_EQ(log.lines(), lines{});
  }
}

TEST(check_and_run_provider, only_warns_of_more_nodes_than_required) {
  const scratch_directory scratch;
  const log::captured_log log(log::level_warning);
  attempt one;
  one.description.min_nodes = 4;
  one.description.max_nodes = 8;
  one.nodefile = scratch.with_file("nodes", "n[1-9]\n");
  EXPECT_EQ(one.run(), run_done);
  EXPECT_TRUE(one.ran());
  EXPECT_EQ(one.record.header.num_nodes, 9);
  EXPECT_EQ(log.lines(),
            lines{"Nodefile contains more nodes than required by the data "
                  "provider: 'memory'"});
}

TEST(check_and_run_provider, tells_when_the_run_itself_fails) {
  libc_faults faults;
  faults.gettimeofday_error = EPERM;
  const log::captured_log log(log::level_info);
  attempt one;
  EXPECT_EQ(one.run(), run_failed);
  EXPECT_EQ(log.lines(),
            lines{"Error getting time (1): Operation not permitted"});
}

// The descriptions below are read by the parser, with the schema of the tree.
struct description_file {
  scratch_directory scratch;
  Config config;
  provider_info entry;
  provider_result record;

  explicit description_file(const std::string& text) {
    config.install_root = ZELK_SOURCE_DIR;
    entry.name = "memory";
    entry.path = scratch.with_file("memory.xml", text);
  }
  std::int32_t run(const char* nodefile = "") {
    return check_and_run_provider(entry.path, config, nodefile, record,
                                  "A='1' ", entry, {});
  }
};

TEST(check_and_run_provider, runs_what_the_description_says) {
  description_file file(
      "<provider name='ram' version='4'><command>sh -c 'echo $A'</command>"
      "</provider>");
  EXPECT_EQ(file.run(), run_done);
  EXPECT_EQ(field_text(file.record.header.name), "ram");
  EXPECT_EQ(file.record.header.version, 4);
  EXPECT_EQ(file.record.header.api, 1);
  EXPECT_EQ(file.record.stdout.view(), "1\n");
}

// The worker's entry is where the parser finds the name that a description
// does not give itself.
TEST(check_and_run_provider, hands_the_path_of_the_entry_to_the_parser) {
  description_file file("<provider><command>true</command></provider>");
  const std::string path = file.entry.path;
  file.entry.path = "/elsewhere/disk.xml";
  EXPECT_EQ(check_and_run_provider(path, file.config, "", file.record, "",
                                   file.entry, {}),
            run_done);
  EXPECT_EQ(field_text(file.record.header.name), "disk");
}

TEST(check_and_run_provider, leaves_a_bad_description_to_the_parser) {
  description_file file("<provider><command>true</provider>");
  const log::captured_log log(log::level_info);
  EXPECT_EQ(file.run(), run_parse_failed);
  EXPECT_EQ(log.lines().size(), 1u);
  EXPECT_TRUE(testing::same(file.record, provider_result()));
}

TEST(check_and_run_provider, does_not_run_the_provider_of_another_machine) {
  libc_faults faults;
  faults.machine = "x86_64";
  const log::captured_log log(log::level_info);
  description_file file(
      "<provider><command>true</command><requires architecture='aarch64'/>"
      "</provider>");
  EXPECT_EQ(file.run(), run_architecture_differs);
  EXPECT_EQ(log.lines(), lines{});
}

TEST(check_and_run_provider, reads_the_nodes_required_from_the_description) {
  description_file file(
      "<provider><command>true</command>"
      "<requires min_nodes='2' max_nodes='4'/></provider>");
  const log::captured_log log(log::level_info);
  EXPECT_EQ(file.run(), run_nodes_not_met);
  const std::string nodes = file.scratch.with_file("nodes", "n[1-2]\n");
  EXPECT_EQ(file.run(nodes.c_str()), run_done);
  EXPECT_EQ(file.record.nodes_csv, "n1, n2");
}

}  // namespace
}  // namespace zelk
