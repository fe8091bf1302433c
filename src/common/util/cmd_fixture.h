// Test support: a test of commands that leave nothing behind.

#pragma once

#include <sys/wait.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/util/test_processes.h"

namespace zelk::util::testing {

// After each test: no process, no zombie, no descriptor more than before.
class cmd_fixture : public ::testing::Test {
 protected:
  void SetUp() override {
    // What an earlier test left was killed with its mark.
    while (::waitpid(-1, nullptr, WNOHANG) > 0) {
    }
  }

  void TearDown() override {
    EXPECT_EQ(mark_.alive(), std::vector<std::string>());
    EXPECT_TRUE(has_no_child());
    EXPECT_EQ(open_descriptors(), descriptors_);
  }

  process_mark mark_;

 private:
  int descriptors_ = open_descriptors();
};

}  // namespace zelk::util::testing
