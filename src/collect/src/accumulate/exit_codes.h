// What the exit status of zelk-accumulate says.

#pragma once

namespace zelk::accumulate {

enum exit_code : int {
  exit_fine = 0,
  exit_partial = 1,   // some of it was refused or is missing
  exit_nothing = 2,   // nothing could be accumulated
  exit_unusable = 3,  // usage, configuration or datastore: nothing was begun
  // 128 + signal: ended by one
};

}  // namespace zelk::accumulate
