// A short command that is run for what it prints.

#pragma once

#include <chrono>
#include <string>

namespace zelk::util {

struct program_answer {
  bool ran = false;     // false: `errors` tells why not
  int exit_status = 0;  // 124: it took too long and was ended; 127: no such one
  std::string output;
  std::string errors;
};

// Runs a shell command. After `limit` it is asked to end, and killed `grace`
// later.
program_answer ask_program(const std::string& command,
                           std::chrono::seconds limit,
                           std::chrono::nanoseconds grace);

}  // namespace zelk::util
