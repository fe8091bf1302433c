// One result's bytes, as they came.

#pragma once

#include <cstdint>
#include <string>

#include "src/collect/src/reading/opening.h"

namespace zelk::db {

struct show_options {
  std::string run;
  std::string node = {};      // empty: any, if there is one result only
  std::string provider = {};  // the same, as the next
  std::string option_id = {};
  std::int64_t result = 0;  // its number; 0: any
  bool from_stderr = false;
  bool decode = false;  // base64, where the result says that it is
  bool header = false;  // the fields instead, of all results that match
};

// Writes to standard output byte for byte, control characters too: what asked
// for is evidence. Returns the exit status.
int show_result(const reading::place& where, const show_options& options);

}  // namespace zelk::db
