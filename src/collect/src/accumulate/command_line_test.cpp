#include "src/collect/src/accumulate/command_line.h"

#include <iostream>
#include <sstream>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/exit_codes.h"
#include "src/common/log/captured_log.h"
#include "src/common/log/settings.h"
#include "src/common/names/version.h"

namespace zelk::accumulate {
namespace {

using words = std::vector<const char*>;

// What a command line comes to, and what it wrote.
struct reading {
  explicit reading(words given) {
    given.insert(given.begin(), "zelk-accumulate");
    std::ostringstream shown;
    std::streambuf* const standard_output = std::cout.rdbuf(shown.rdbuf());
    log::captured_log log;
    status =
        read_command_line(static_cast<int>(given.size()), given.data(), line);
    std::cout.rdbuf(standard_output);
    output = shown.str();
    errors = log.text();
  }

  command_line line;
  std::optional<int> status;
  std::string output;
  std::string errors;
};

TEST(read_command_line, keeps_the_label_of_every_run_that_a_scan_may_make) {
  for (const words& given : {words{"scan", "/spool", "--label", "nightly"},
                             {"scan", "--run", "new", "--label=nightly"},
                             {"scan", "--label", "nightly", "--", "/a"}}) {
    const reading scan(given);
    EXPECT_EQ(scan.line.scan.run.label, "nightly") << scan.errors;
  }
}

TEST(read_command_line, says_what_ready_means_for_each_command) {
  EXPECT_NE(reading({"listen", "-h"}).output.find("\"READY ENDPOINT\""),
            std::string::npos);
  EXPECT_NE(reading({"scan", "-h"}).output.find("\"READY DIR\""),
            std::string::npos);
}

TEST(read_command_line, has_defaults) {
  const reading listen({"listen"});
  ASSERT_FALSE(listen.status);
  EXPECT_EQ(listen.line.what, command_line::command::listen);
  EXPECT_EQ(listen.line.listen.endpoints,
            std::vector<std::string>{"tcp://127.0.0.1:5557"});
  EXPECT_EQ(listen.line.listen.limits.max_record, 64U << 20);
  EXPECT_EQ(listen.line.listen.memory, 160U << 20);
  EXPECT_EQ(listen.line.listen.writer.run.run, "new");
  EXPECT_EQ(listen.line.listen.stats_interval, std::chrono::seconds(60));
  EXPECT_EQ(listen.line.listen.ready_fd, -1);
  EXPECT_EQ(listen.line.log_level, log::level_warning);
  EXPECT_EQ(listen.line.listen.writer.run.command_line,
            "zelk-accumulate listen");

  const reading scan({"scan", "/spool"});
  ASSERT_FALSE(scan.status);
  EXPECT_EQ(scan.line.what, command_line::command::scan);
  EXPECT_EQ(scan.line.scan.run.run, "auto");
  EXPECT_EQ(scan.line.scan.files.directories,
            std::vector<std::string>{"/spool"});
  EXPECT_FALSE(scan.line.scan.files.keep);
  EXPECT_EQ(scan.line.scan.lock_wait, std::chrono::seconds(5));
}

TEST(read_command_line, takes_options_in_any_order_and_form) {
  const reading one({"scan", "--watch", "/a", "--db=sqlite:x.db", "/b",
                     "--batch=10", "--keep", "-v", "--bad-dir", "/bad", "--",
                     "--strange"});
  ASSERT_FALSE(one.status) << one.errors;
  EXPECT_TRUE(one.line.scan.watch);
  EXPECT_TRUE(one.line.scan.files.keep);
  EXPECT_EQ(one.line.datastore, "sqlite:x.db");
  EXPECT_EQ(one.line.scan.files.directories,
            (std::vector<std::string>{"/a", "/b", "--strange"}));
  EXPECT_EQ(one.line.scan.store.batch_rows, 10U);
  EXPECT_EQ(one.line.scan.files.bad_directory, "/bad");
  EXPECT_EQ(one.line.log_level, log::level_notice);
  const reading other({"-l", "debug", "--db", "y.db", "listen"});
  ASSERT_FALSE(other.status) << other.errors;
  EXPECT_EQ(other.line.datastore, "y.db");
  EXPECT_EQ(other.line.log_level, log::level_debug);
}

TEST(read_command_line, lets_the_last_value_win_and_collects_lists) {
  const reading one({"listen", "--run", "1", "--run", "2", "--bind",
                     "tcp://*:1", "--bind", "ipc:///x", "--expect", "n1",
                     "--expect", "n2,n3", "--memory", "1GiB", "--max-record",
                     "128 MiB"});
  ASSERT_FALSE(one.status) << one.errors;
  EXPECT_EQ(one.line.listen.writer.run.run, "2");
  EXPECT_EQ(one.line.listen.endpoints.size(), 2U);
  EXPECT_EQ(one.line.listen.writer.run.expected.size(), 3U);
  EXPECT_EQ(one.line.listen.memory, std::size_t{1} << 30);
  EXPECT_EQ(one.line.listen.limits.max_record, 128U << 20);
}

TEST(read_command_line, makes_room_for_larger_records) {
  const reading one({"listen", "--max-record", "1GiB"});
  ASSERT_FALSE(one.status);
  EXPECT_GE(one.line.listen.memory, least_memory(std::size_t{1} << 30));
}

TEST(read_command_line, refuses_what_it_does_not_understand) {
  const struct {
    words given;
    const char* says;
  } cases[] = {
      {{}, "expected one of listen, scan, replay"},
      {{"lisen"}, "did you mean 'listen'?"},
      {{"listen", "--bnid", "x"}, "did you mean '--bind'?"},
      {{"listen", "--bnid=x"}, "did you mean '--bind'?"},
      {{"listen", "extra"}, "'extra' is not understood"},
      {{"listen", "--frobnicate"}, "'--frobnicate' is not understood"},
      {{"listen", "--bind"}, "--bind"},
      {{"listen", "--batch", "0"}, "--batch"},
      {{"listen", "--batch", "many"}, "--batch"},
      {{"listen", "--commit-ms", "-1"}, "--commit-ms"},
      {{"listen", "--max-record", "x"}, "--max-record"},
      {{"listen", "--max-record", "1"}, "4 KiB to 1 TiB"},
      {{"listen", "--max-record", "15TiB"}, "4 KiB to 1 TiB"},
      {{"listen", "--memory", "10MiB"}, "--memory"},
      {{"listen", "--expect", "node[3-1]"}, "--expect: 'node[3-1]'"},
      {{"listen", "--expect-provider", "x"}, "of which nodes?"},
      {{"listen", "--until-complete"}, "what would be complete?"},
      {{"listen", "--progress", "often"}, "is none of auto bar lines none"},
      {{"listen", "--color", "red"}, "is none of auto always never"},
      {{"listen", "-l", "loud"}, "--log-level: 'loud'"},
      {{"scan", "x", "--keep", "--delete"}, "exclude each other"},
      {{"replay"}, "replay needs a FILE"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.says);
    const reading read(one.given);
    EXPECT_EQ(read.status, exit_unusable);
    EXPECT_EQ(read.output, "");
    EXPECT_NE(read.errors.find(one.says), std::string::npos) << read.errors;
    EXPECT_TRUE(read.errors.starts_with("zelk-accumulate: "));
    EXPECT_TRUE(read.errors.ends_with("Try 'zelk-accumulate --help'.\n"));
  }
}

// A variable of a script that is not set must not mean the usual place.
TEST(read_command_line, refuses_empty_values) {
  for (const auto& [given, option] : std::vector<std::pair<words, std::string>>{
           {{"scan", "--db", ""}, "--db"},
           {{"scan", "-c", ""}, "--config"},
           {{"scan", "--run", ""}, "--run"},
           {{"listen", "--run", ""}, "--run"},
           {{"scan", "--bad-dir", ""}, "--bad-dir"},
           {{"listen", "--unsaved-dir", ""}, "--unsaved-dir"}}) {
    const reading read(given);
    EXPECT_EQ(read.status, exit_unusable);
    EXPECT_NE(read.errors.find(option + ": expected a value; found ''"),
              std::string::npos)
        << read.errors;
  }
}

TEST(read_command_line, helps_wherever_it_is_asked) {
  for (const words& given :
       {words{"--help"}, words{"-h"}, words{"listen", "--nonsense", "-h"},
        words{"scan", "--batch", "none", "--help"}}) {
    const reading read(given);
    EXPECT_EQ(read.status, exit_fine);
    EXPECT_NE(read.output.find("Usage: zelk-accumulate"), std::string::npos);
    EXPECT_NE(read.output.find("Examples:"), std::string::npos);
    EXPECT_EQ(read.errors, "");
  }
  EXPECT_NE(reading({"listen", "-h"}).output.find("--until-complete"),
            std::string::npos);
  EXPECT_NE(reading({"scan", "-h"}).output.find("--lock-wait"),
            std::string::npos);
  const reading file({"replay", "--", "--help"});
  EXPECT_FALSE(file.status);
  EXPECT_EQ(file.line.replay.files, std::vector<std::string>{"--help"});
}

TEST(read_command_line, tells_its_version) {
  const reading read({"--version"});
  EXPECT_EQ(read.status, exit_fine);
  EXPECT_EQ(read.output, version_text("zelk-accumulate", {{"datastore", 3}}));
}

TEST(read_command_line, is_quiet_when_told) {
  const reading read({"listen", "-q"});
  EXPECT_TRUE(read.line.listen.quiet);
  EXPECT_EQ(read.line.log_level, log::level_error);
  EXPECT_EQ(read.line.listen.progress, progress_style::none);
}

}  // namespace
}  // namespace zelk::accumulate
