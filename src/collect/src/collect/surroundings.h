// What the collector asks of the machine it runs on before it launches
// anything, in one place so that tests can answer instead.

#pragma once

#include <functional>
#include <istream>
#include <string>
#include <vector>

#include "src/common/util/program_answer.h"

namespace zelk::collect {

struct surroundings {
  // "" for one that is not set.
  std::function<std::string(const char* name)> variable;
  std::istream* standard_input = nullptr;
  // Runs a shell command, for at most some seconds.
  std::function<util::program_answer(const std::string& command)> run;
  std::function<std::string()> host_name;
};

// This machine as it is.
surroundings real_surroundings();

}  // namespace zelk::collect
