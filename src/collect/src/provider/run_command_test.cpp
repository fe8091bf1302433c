#include "src/collect/src/provider/run_command.h"

#include <cerrno>
#include <ctime>

#include <gtest/gtest.h>

#include "src/collect/src/provider/failing_libc.h"
#include "src/collect/src/provider/test_support.h"
#include "src/common/log/captured_log.h"

namespace zelk {
namespace {

using testing::bytes_of;
using testing::libc_faults;
using testing::lines;
using testing::scratch_directory;
using option_set = preproc::ProcessedProviderAttributes;

provider_config description_of(const std::string& command) {
  provider_config description;
  description.name = "memory";
  description.command = command;
  return description;
}

// What the command is told of its time limit.
std::string timeout_seen(provider_config description,
                         const option_set& set = {}) {
  description.command = "env | grep ^ZELK_TIMEOUT=";
  provider_result record;
  if (!run_provider_command(description, record, "", set)) return "not run";
  return std::string(record.stdout.view());
}

TEST(run_provider_command, keeps_both_outputs_byte_for_byte) {
  provider_config description =
      description_of("printf 'out\\000\\377\\n'; printf 'err' >&2");
  provider_result record;
  ASSERT_TRUE(run_provider_command(description, record, "", {}));
  EXPECT_EQ(record.stdout.view(), std::string("out\0\xff\n", 6));
  EXPECT_EQ(record.header.stdout_size, 6);
  EXPECT_EQ(record.stderr.view(), "err");
  EXPECT_EQ(record.header.stderr_size, 3);
}

// Every byte of the header but those of the clock and the identity, which are
// checked by themselves.
TEST(run_provider_command, fills_the_header_and_nothing_else) {
  provider_config description = description_of("printf abc; exit 3");
  description.encoding = provider::encoding::RAW;
  description.version = -2;
  provider_result record;
  ASSERT_TRUE(run_provider_command(description, record, "", {}));

  record.header.timestamp_sec = 0;
  record.header.timestamp_usec = 0;
  record.header.duration = 0;
  std::string image(736, '\0');
  testing::put_number(image, 0, 1, 1);
  testing::put_number(image, 4, 4, 3);
  image.replace(8, 6, "memory");
  testing::put_number(image, 72, 4, 2);
  testing::put_number(image, 640, 8, 3);
  testing::put_number(image, 716, 4, 0xfffffffe);
  EXPECT_EQ(bytes_of(record.header), image);
}

TEST(run_provider_command, leaves_the_identity_as_it_was) {
  provider_config description = description_of("true");
  provider_result record = testing::example_record();
  ASSERT_TRUE(run_provider_command(description, record, "", {}));
  EXPECT_EQ(field_text(record.header.hostname), "node07");
  EXPECT_EQ(field_text(record.header.host_arg), "n7.cluster");
  EXPECT_EQ(field_text(record.header.username), "operator");
  EXPECT_EQ(field_text(record.header.option_id), "quick");
}

TEST(run_provider_command, replaces_the_blocks_of_a_used_record) {
  provider_config description = description_of("printf new");
  provider_result record = testing::example_record();
  ASSERT_TRUE(run_provider_command(description, record, "", {}));
  EXPECT_EQ(record.stdout.view(), "new");
  EXPECT_EQ(record.stderr.view(), "");
  EXPECT_EQ(record.nodes_csv, "");
  EXPECT_EQ(record.header.nodes_csv_size, 0);
}

TEST(run_provider_command, takes_the_time_after_the_command_has_ended) {
  provider_config description = description_of("sleep 0.2; date +%s%N");
  provider_result record;
  ASSERT_TRUE(run_provider_command(description, record, "", {}));
  const std::int64_t end_usec =
      record.header.timestamp_sec * 1000000 + record.header.timestamp_usec;
  EXPECT_GE(end_usec, std::stoll(std::string(record.stdout.view())) / 1000);
  EXPECT_LE(record.header.timestamp_sec, std::time(nullptr));
  EXPECT_LT(record.header.timestamp_usec, 1000000);
  EXPECT_EQ(record.header.timestamp_sec, description.timestamp.tv_sec);
  EXPECT_EQ(record.header.timestamp_usec, description.timestamp.tv_usec);
  EXPECT_GE(record.header.duration, 0.2);
  EXPECT_LT(record.header.duration, 60);
}

TEST(run_provider_command, tells_the_line_and_its_limit_at_level_debug) {
  provider_config description =
      description_of("true %PROVIDER_AUXILIARY_PATH%");
  description.auxiliary_path = "/opt/aux";
  const log::captured_log log;
  provider_result record;
  ASSERT_TRUE(run_provider_command(description, record, "A='1' ", {}));
  EXPECT_EQ(log.lines(),
            lines{"About to run data provider 'ZELK_TIMEOUT=60 A='1' true "
                  "/opt/aux'. Command will time out in 60 second(s)."});
}

// By name, not by command: that is what an administrator knows.
TEST(run_provider_command, takes_a_failing_command_as_a_result) {
  provider_config description = description_of("exit 2");
  const log::captured_log log(log::level_info);
  provider_result record;
  EXPECT_TRUE(run_provider_command(description, record, "", {}));
  EXPECT_EQ(record.header.exit_status, 2);
  EXPECT_EQ(log.lines(),
            lines{"exit status from data provider 'memory' is '2'"});
}

TEST(run_provider_command, says_nothing_of_a_good_run_at_level_info) {
  provider_config description = description_of("true");
  const log::captured_log log(log::level_info);
  provider_result record;
  EXPECT_TRUE(run_provider_command(description, record, "", {}));
  EXPECT_EQ(log.lines(), lines{});
}

TEST(run_provider_command, records_a_command_that_does_not_exist) {
  provider_config description = description_of("/nowhere/provider");
  provider_result record;
  EXPECT_TRUE(run_provider_command(description, record, "", {}));
  EXPECT_EQ(record.header.exit_status, 127);
}

TEST(run_provider_command, gives_the_variables_to_the_command) {
  provider_config description =
      description_of("sh -c 'printf \"%s|%s\" \"$SIZE\" \"$LABEL\"'");
  provider_result record;
  ASSERT_TRUE(
      run_provider_command(description, record, "SIZE='4' LABEL='a  b' ", {}));
  EXPECT_EQ(record.stdout.view(), "4|a  b");
}

TEST(run_provider_command, sets_nothing_in_this_process) {
  provider_config description = description_of("true");
  provider_result record;
  ASSERT_TRUE(run_provider_command(description, record, "SIZE='4' ", {}));
  EXPECT_EQ(::getenv("SIZE"), nullptr);
  EXPECT_EQ(::getenv("ZELK_TIMEOUT"), nullptr);
}

TEST(run_provider_command, cuts_a_name_after_sixty_three_bytes) {
  for (const std::size_t length : {63u, 64u, 70u}) {
    SCOPED_TRACE(length);
    provider_config description = description_of("true");
    description.name = std::string(length, 'n');
    provider_result record;
    std::memset(record.header.name, 'x', sizeof(record.header.name));
    ASSERT_TRUE(run_provider_command(description, record, "", {}));
    EXPECT_EQ(bytes_of(record.header.name),
              std::string(63, 'n') + std::string(1, '\0'));
  }
}

TEST(run_provider_command, records_the_nodes_of_a_node_file) {
  const scratch_directory scratch;
  provider_config description = description_of("sh -c 'cat $ZELK_DP_NODEFILE'");
  description.min_nodes = 2;
  description.nodefile = scratch.with_file("nodes", "alpha\nbeta\n");
  provider_result record;
  ASSERT_TRUE(run_provider_command(description, record, "", {}));
  EXPECT_EQ(record.stdout.view(), "alpha\nbeta\n");
  EXPECT_EQ(record.header.num_nodes, 2);
  EXPECT_EQ(record.nodes_csv, "alpha, beta");
  EXPECT_EQ(record.header.nodes_csv_size, 11);
}

// A provider of one node is not given the file, but its record tells of it.
TEST(run_provider_command, records_the_nodes_of_a_provider_of_one_node_too) {
  const scratch_directory scratch;
  provider_config description =
      description_of("env | grep -c ^ZELK_DP_NODEFILE");
  description.nodefile = scratch.with_file("nodes", "alpha\nbeta\n");
  provider_result record;
  ASSERT_TRUE(run_provider_command(description, record, "", {}));
  EXPECT_EQ(record.stdout.view(), "0\n");
  EXPECT_EQ(record.header.num_nodes, 2);
  EXPECT_EQ(record.nodes_csv, "alpha, beta");
}

TEST(run_provider_command, keeps_the_count_when_no_node_file_can_be_read) {
  provider_config description = description_of("true");
  description.nodefile = "/nowhere/nodes";
  const log::captured_log log(log::level_info);
  provider_result record;
  record.header.num_nodes = 9;
  ASSERT_TRUE(run_provider_command(description, record, "", {}));
  EXPECT_EQ(record.header.num_nodes, 9);
  EXPECT_EQ(record.nodes_csv, "");
  EXPECT_EQ(log.lines(), lines{});
}

TEST(run_provider_command, never_limits_a_command_to_less_than_a_minute) {
  for (const std::int64_t timeout : {10, 0, -5}) {
    SCOPED_TRACE(timeout);
    provider_config description = description_of("");
    description.timeout = timeout;
    EXPECT_EQ(timeout_seen(description), "ZELK_TIMEOUT=60\n");
  }
}

TEST(run_provider_command, scales_the_limit_by_the_nodes_of_the_file) {
  const scratch_directory scratch;
  provider_config description = description_of("");
  description.nodefile = scratch.with_file("nodes", "n[1-4]\n");
  description.timeout = 100;
  description.scale_type = ScaleType::LINEAR;
  EXPECT_EQ(timeout_seen(description), "ZELK_TIMEOUT=400\n");
  description.scale_type = ScaleType::SQUARED;
  EXPECT_EQ(timeout_seen(description), "ZELK_TIMEOUT=1600\n");
  description.scale_type = ScaleType::LOGARITHMIC;
  EXPECT_EQ(timeout_seen(description), "ZELK_TIMEOUT=174\n");
}

TEST(run_provider_command, takes_limit_and_scale_from_the_same_place) {
  const scratch_directory scratch;
  provider_config description = description_of("");
  description.nodefile = scratch.with_file("nodes", "n[1-4]\n");
  description.timeout = 100;
  description.scale_type = ScaleType::SQUARED;

  option_set set;
  set.timeout = 300;
  EXPECT_EQ(timeout_seen(description, set), "ZELK_TIMEOUT=300\n");
  set.scale_type = ScaleType::LINEAR;
  EXPECT_EQ(timeout_seen(description, set), "ZELK_TIMEOUT=1200\n");
  for (const std::int64_t timeout : {0, -1}) {
    set.timeout = timeout;
    EXPECT_EQ(timeout_seen(description, set), "ZELK_TIMEOUT=1600\n");
  }
}

// A line that no shell can be given is the one way to fail that needs no
// machine in trouble.
TEST(run_provider_command, fails_when_the_command_cannot_be_started) {
  const scratch_directory scratch;
  provider_config description = description_of(std::string(200000, ':'));
  description.nodefile = scratch.with_file("nodes", "alpha\nbeta\n");
  const log::captured_log log(log::level_info);
  provider_result record = testing::example_record();
  record.header.num_nodes = 0;
  EXPECT_FALSE(run_provider_command(description, record, "", {}));
  EXPECT_EQ(log.lines(),
            lines{"Error executing popen3 (7): Argument list too long"});
  // The rest of the record is untouched.
  EXPECT_TRUE(testing::same(record, testing::example_record()));
}

TEST(run_provider_command, fails_when_the_clock_cannot_be_read) {
  provider_config description = description_of("true");
  libc_faults faults;
  faults.gettimeofday_error = EINVAL;
  const log::captured_log log(log::level_info);
  provider_result record = testing::example_record();
  EXPECT_FALSE(run_provider_command(description, record, "", {}));
  EXPECT_EQ(log.lines(), lines{"Error getting time (22): Invalid argument"});
  EXPECT_TRUE(testing::same(record, testing::example_record()));
}

}  // namespace
}  // namespace zelk
