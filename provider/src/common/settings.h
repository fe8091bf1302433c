// What a measuring program is told through its environment.
//
// A variable that is set and is no number in its range is a mistake of whoever
// wrote the option set: usage_error, which ends the program with status 2. A
// figure measured with another setting than the one asked for would be taken
// for the one asked for.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace zelk::perf {

struct usage_error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The statuses of doc/providers.md that a measuring program ends with.
enum exit_status : int {
  exit_done = 0,
  exit_usage = 2,
  exit_not_applicable = 80,
  exit_no_permission = 82,
  exit_incomplete = 83,
};

std::int64_t number_setting(const char* variable, std::int64_t standard,
                            std::int64_t least, std::int64_t most);

// The same for a duration, which may have decimals: "0.5".
double seconds_setting(const char* variable, double standard, double most);

std::string text_setting(const char* variable, const char* standard);

// In front of /proc and /sys: empty on a node, a recorded tree in tests.
std::string root_folder();

// The seconds a program may take in all, out of ZELK_TIMEOUT: less than those,
// so that a result is printed before the worker ends the program. Without the
// variable, as for a start by hand, there is an hour.
double seconds_allowed();

// The one line of a status other than 0, on standard error.
int stop(const char* program, int status, const std::string& reason);

// Whether all that was printed arrived; says so when not.
bool flush_output(const char* program);

// Runs the body of a program; turns its exceptions into a status.
int run_program(const char* program, int (*body)());

}  // namespace zelk::perf
