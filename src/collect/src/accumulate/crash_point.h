// Places at which a test build can be made to die, or to hang.
//
// A build with ZELK_CRASH_POINTS kills itself, as kill -9 would, when it passes
// the point that ZELK_CRASH_AT names for the n-th time: "committed:3". At the
// one of ZELK_HANG_AT that thread goes no further, as if a disk did not answer.
// In other builds nothing of this is there.

#pragma once

#ifdef ZELK_CRASH_POINTS

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string_view>

namespace zelk::accumulate {

// One point, and how often it is passed before its time has come.
class fatal_point {
 public:
  explicit fatal_point(const char* variable) {
    const char* const text = std::getenv(variable);
    if (text == nullptr) return;
    wanted_ = text;
    left_ = std::atoi(text + wanted_.find(':') + 1);
  }
  bool reached(std::string_view name) {
    return name == wanted_.substr(0, wanted_.find(':')) && --left_ == 0;
  }

 private:
  std::string_view wanted_;
  int left_ = 0;
};

inline void crash_point(std::string_view name) {
  static fatal_point crash("ZELK_CRASH_AT");
  static fatal_point hang("ZELK_HANG_AT");
  if (crash.reached(name)) ::raise(SIGKILL);
  if (!hang.reached(name)) return;
  for (;;)
    ::pause();
}

}  // namespace zelk::accumulate

#else

namespace zelk::accumulate {

constexpr void crash_point(const char* /*name*/) {}

}  // namespace zelk::accumulate

#endif
