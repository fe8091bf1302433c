// What the exit status of zelk-collect says.

#pragma once

namespace zelk::collect {

enum exit_code : int {
  exit_complete = 0,  // every expected result came
  exit_partial = 1,   // some node or result is missing
  exit_nothing = 2,   // nothing usable came
  exit_unusable = 3,  // usage, configuration, precheck: nothing was started
  // 128 + signal: ended by one
};

}  // namespace zelk::collect
