// A short question to a program of this machine, and its whole answer.

#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "src/collect/src/collect/bounded_text.h"
#include "src/collect/src/collect/child_process.h"
#include "src/collect/src/collect/event_loop.h"

namespace zelk::collect {

class captured_command {
 public:
  struct answer {
    bool ran = false;  // the program could be started
    int error = 0;     // errno, when it could not
    int wait_status = 0;
    std::string output;  // the first and the last four megabytes
    std::string errors;
  };

  // `on_answer` is called once, from the loop, and may destroy this object. A
  // program that takes longer than `limit` is killed.
  captured_command(event_loop& loop, const std::vector<std::string>& argv,
                   std::chrono::milliseconds limit,
                   std::function<void(const answer&)> on_answer);
  ~captured_command();
  captured_command(const captured_command&) = delete;
  captured_command& operator=(const captured_command&) = delete;

 private:
  void finish();

  event_loop& loop_;
  std::function<void(const answer&)> on_answer_;
  answer answer_;
  bounded_text output_{std::size_t{4} << 20};
  bounded_text errors_;
  child_process child_;
  event_loop::timer_id timer_ = 0;
};

}  // namespace zelk::collect
