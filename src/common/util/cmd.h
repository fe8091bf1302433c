// Runs one shell command line with a time-out and captures all it prints.
//
// Nothing of a command outlives its call: see cmd.cpp for how a run ends, and
// process_tree.cpp for how its processes are found. One call at a time in a
// process; a child that another thread starts meanwhile is ended with it.

#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

#include "src/common/util/byte_buffer.h"
#include "src/common/util/non_deep_copyable.h"

namespace zelk::util {

class cmd : public NonDeepCopyable<cmd> {
 public:
  // How long a run may take beyond its time-out, at the utmost and in all:
  // grace + patience; after an end of its own: linger + farewell + patience.
  struct limits {
    std::chrono::nanoseconds grace = std::chrono::seconds(5);
    std::chrono::nanoseconds patience = std::chrono::seconds(2);
    std::chrono::nanoseconds silence = std::chrono::seconds(2);
    std::chrono::nanoseconds linger = std::chrono::seconds(10);
    std::chrono::nanoseconds farewell = std::chrono::milliseconds(500);
  };

  cmd(std::string command_line, std::int64_t timeout_sec)
      : command(std::move(command_line)), timeout(timeout_sec) {}
  ~cmd() override = default;

  // Runs `command` by /bin/sh -c and fills the members below. Returns 0 when
  // the command was run, however it ended; otherwise -1, with errno set and the
  // members as if it had not been run:
  //   E2BIG   the line has more than 131,071 bytes
  //   EINVAL  the line has a zero byte, which no argument can hold
  //   ENOMEM  no process could be started; or there was no memory for the
  //           output, then what had been started was ended
  //   others  as pipe2(2) and posix_spawn(3) give them (EMFILE, EAGAIN ...)
  // One error record names the processes that could not be ended, if any.
  std::int32_t popen3();

  std::string command;
  byte_buffer standard_error;
  byte_buffer standard_output;
  // Seconds, from the call of popen3(); 0 and less have passed at once.
  std::int64_t timeout;
  double duration = 0;  // seconds until the shell ended, or was given up
  // As waitpid(2) gives it; -2: not run; -1: not known, because the shell could
  // not be ended or something else in this process has reaped it.
  std::int32_t status = -2;
  // The shell's exit code, 126 and 127 included; 128 + n when signal n ended
  // it; 124 whenever it was stopped by the time-out; 125: not known; -2: not
  // run.
  std::int32_t exit_status = -2;
  bool timed_out = false;
  std::int32_t left_over = 0;  // processes ended after the shell had ended
  std::int32_t not_ended = 0;  // processes that could not be ended
  limits times;
};

}  // namespace zelk::util
