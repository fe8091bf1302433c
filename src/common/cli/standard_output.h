// What standard output did not take was not said: a full disk or a closed pipe
// must not pass for success.

#pragma once

namespace zelk::cli {

// Flushes standard output and returns `status`, or, after a line on standard
// error in the name of `program`, `otherwise` when that fails.
int checked_output(const char* program, int status, int otherwise);

}  // namespace zelk::cli
