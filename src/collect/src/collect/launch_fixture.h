// Test support: launches, and their outcomes.

#pragma once

#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "src/collect/src/collect/event_loop.h"
#include "src/collect/src/collect/launcher.h"
#include "src/common/util/test_processes.h"

namespace zelk::collect::testing {

// Sets a variable of the environment and puts back what was there.
class environment_variable {
 public:
  environment_variable(std::string name, const std::string& value)
      : name_(std::move(name)) {
    if (const char* before = ::getenv(name_.c_str())) {
      before_ = before;
      was_set_ = true;
    }
    ::setenv(name_.c_str(), value.c_str(), 1);
  }
  ~environment_variable() {
    if (was_set_) {
      ::setenv(name_.c_str(), before_.c_str(), 1);
    } else {
      ::unsetenv(name_.c_str());
    }
  }
  environment_variable(const environment_variable&) = delete;
  environment_variable& operator=(const environment_variable&) = delete;

 private:
  std::string name_;
  std::string before_;
  bool was_set_ = false;
};

inline std::string path_behind(const std::string& folder) {
  const char* path = ::getenv("PATH");
  return folder + ":" + (path == nullptr ? "/usr/bin:/bin" : path);
}

// A folder for programs that are found before the machine's own.
class stand_ins {
 public:
  stand_ins() : path_("PATH", path_behind(folder_.path())) {}
  void add(const std::string& name, const std::string& text) const {
    const std::string file = folder_.path() + "/" + name;
    std::ofstream(file) << text;
    ::chmod(file.c_str(), 0755);
  }
  const std::string& folder() const { return folder_.path(); }

 private:
  util::testing::scratch_folder folder_;
  environment_variable path_;
};

inline launch shell_launch(
    const std::string& node, const std::string& text,
    std::chrono::milliseconds limit = std::chrono::seconds(60)) {
  launch what;
  what.node = node;
  what.argv = {"/bin/sh", "-c", text};
  what.limit = limit;
  return what;
}

// A launcher with its loop and all outcomes, by node.
class launching {
 public:
  explicit launching(const launcher_settings& settings)
      : launcher_(make_launcher(settings, loop_)) {}

  void start(std::vector<launch> launches) {
    expected_ += launches.size();
    launcher_->start(std::move(launches), [this](launch_outcome outcome) {
      order_.push_back(outcome.node);
      outcomes_[outcome.node] = std::move(outcome);
    });
  }
  // Returns whether all outcomes came in time.
  bool wait(std::chrono::seconds longest = std::chrono::seconds(60)) {
    return wait_until([this] { return order_.size() >= expected_; }, longest);
  }
  template <typename Condition>
  bool wait_until(Condition condition,
                  std::chrono::seconds longest = std::chrono::seconds(60)) {
    const auto end = event_loop::clock::now() + longest;
    while (!condition()) {
      if (event_loop::clock::now() >= end) return false;
      loop_.run_once(std::chrono::milliseconds(20));
    }
    return true;
  }
  launch_outcome run(launch what) {
    const std::string node = what.node;
    std::vector<launch> one;
    one.push_back(std::move(what));
    start(std::move(one));
    EXPECT_TRUE(wait());
    return outcomes_[node];
  }

  launcher& get() { return *launcher_; }
  event_loop& loop() { return loop_; }
  const std::vector<std::string>& order() const { return order_; }
  const launch_outcome& outcome(const std::string& node) {
    return outcomes_[node];
  }
  void drop() { launcher_.reset(); }

 private:
  event_loop loop_;
  std::unique_ptr<launcher> launcher_;
  std::size_t expected_ = 0;
  std::vector<std::string> order_;
  std::map<std::string, launch_outcome> outcomes_;
};

inline void expect_nothing_left(const util::testing::process_mark& mark) {
  // A process that is about to become another program cannot be told for a
  // moment: two looks.
  std::vector<std::string> left;
  util::testing::wait_until([&] {
    left = mark.alive();
    if (left.empty()) left = mark.alive();
    return left.empty();
  });
  EXPECT_EQ(left, std::vector<std::string>{});
}

inline std::string content_of(const std::string& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), {}};
}

inline bool exists(const std::string& path) {
  struct stat facts {};
  return ::lstat(path.c_str(), &facts) == 0;
}

}  // namespace zelk::collect::testing
