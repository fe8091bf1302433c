#include "src/collect/src/collect/surroundings.h"

#include <unistd.h>

#include <cerrno>
#include <iostream>

#include "src/collect/src/collect/read_settings.h"
#include "src/common/util/cmd.h"
#include "src/common/util/errno_text.h"

namespace zelk::collect {

namespace {

// Seconds. A batch system that is down makes its clients wait for it.
constexpr int command_limit = 15;

command_answer run_command(const std::string& command) {
  util::cmd child(command, command_limit);
  command_answer answer;
  if (child.popen3() != 0) {
    answer.errors = util::errno_text(errno);
    return answer;
  }
  answer.ran = true;
  answer.exit_status = child.exit_status;
  answer.output = child.standard_output.view();
  answer.errors = child.standard_error.view();
  return answer;
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
