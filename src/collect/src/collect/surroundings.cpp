#include "src/collect/src/collect/surroundings.h"

#include <unistd.h>

#include <chrono>
#include <iostream>

#include "src/collect/src/collect/read_settings.h"

namespace zelk::collect {

namespace {

using std::chrono::seconds;

// A batch system that is down makes its clients wait for it.
constexpr seconds command_limit{15};
constexpr seconds grace{5};

util::program_answer run_command(const std::string& command) {
  return util::ask_program(command, command_limit, grace);
}

std::string own_host_name() {
  char name[256] = {};
  if (::gethostname(name, sizeof name - 1) != 0 || name[0] == '\0')
    return "localhost";
  return name;
}

}  // namespace

surroundings real_surroundings() {
  return {environment_variable, &std::cin, run_command, own_host_name};
}

}  // namespace zelk::collect
