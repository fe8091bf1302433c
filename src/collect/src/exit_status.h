// What the worker's exit status says.

#pragma once

namespace zelk {

enum exit_status : int {
  exit_ok = 0,            // a complete run, whatever became of its providers
  exit_setup_failed = 1,  // also -h
  // 2, 15: the number of the signal that ended it
};

}  // namespace zelk
