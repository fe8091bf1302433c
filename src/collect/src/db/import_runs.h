// Runs from exported files into the datastore.
//
// A file is read to its end before anything of it is stored: one that is
// damaged anywhere changes nothing. Each of its runs keeps its UUID, by which a
// second import knows it; the number is new. A run whose import was interrupted
// is completed by the next one.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "src/collect/src/reading/opening.h"

namespace zelk::db {

struct import_options {
  std::vector<std::string> files;
  std::size_t max_record = std::size_t{64} << 20;  // bytes of its blocks
  bool quiet = false;
};

// Returns the exit status: 1 when some of the files were refused, 2 when all.
int import_runs(const reading::place& where, const import_options& options);

}  // namespace zelk::db
