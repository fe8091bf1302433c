#include "src/common/util/program_answer.h"

#include <cerrno>

#include "src/common/util/cmd.h"
#include "src/common/util/errno_text.h"

namespace zelk::util {

program_answer ask_program(const std::string& command,
                           std::chrono::seconds limit,
                           std::chrono::nanoseconds grace) {
  cmd child(command, limit.count());
  child.times.grace = grace;
  program_answer answer;
  if (child.popen3() != 0) {
    answer.errors = errno_text(errno);
    return answer;
  }
  answer.ran = true;
  answer.exit_status = child.exit_status;
  answer.output = child.standard_output.view();
  answer.errors = child.standard_error.view();
  return answer;
}

}  // namespace zelk::util
