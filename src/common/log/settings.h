// The process-wide settings of all log records.
//
// A program's main() sets them before it makes the first record.

#pragma once

namespace zelk::log {

// Priorities of syslog(3); a lower level is more severe.
enum level : int {
  level_alert = 1,
  level_critical = 2,
  level_error = 3,
  level_warning = 4,
  level_notice = 5,
  level_info = 6,
  level_debug = 7,
};

inline int LOG_LEVEL = level_warning;  // records above it are not emitted
inline int LOG_OUTPUT = 0;             // 0: standard error; else: system log
inline int LOG_SCOPE_LEVEL = 0;        // nesting of scoped output

}  // namespace zelk::log
