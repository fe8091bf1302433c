#include "src/collect/src/pid_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"

namespace zelk {
namespace {

using lines = std::vector<std::string>;

std::string content(const std::string& path) {
  std::stringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

TEST(write_pid_file, overwrites_with_the_process_group) {
  const std::string path = ::testing::TempDir() + "pidfile_test";
  std::ofstream(path) << "a longer text that was there before\n";
  log::captured_log log;
  write_pid_file(path);
  EXPECT_EQ(content(path), std::to_string(::getpgrp()) + "\n");
  EXPECT_EQ(log.lines(), lines{});
  std::filesystem::remove(path);
}

TEST(write_pid_file, only_notes_a_file_that_cannot_be_opened) {
  log::captured_log log;
  write_pid_file("/nowhere/pidfile_node07");
  EXPECT_EQ(log.lines(),
            lines{"Error opening pid file /nowhere/pidfile_node07."});
}

TEST(write_pid_file, does_not_wait_for_the_reader_of_a_pipe) {
  const std::string path = ::testing::TempDir() + "pidfile_pipe";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  log::captured_log log;
  write_pid_file(path);
  EXPECT_EQ(log.lines(), lines{"Error opening pid file " + path + "."});
  std::filesystem::remove(path);
}

TEST(write_pid_file, notes_a_file_that_cannot_be_written) {
  log::captured_log log;
  write_pid_file("/dev/full");
  EXPECT_EQ(log.lines(), lines{"Error writing pid file /dev/full."});
}

}  // namespace
}  // namespace zelk
