// Runs of a cluster, stored as real ones are: by the code that stores results.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "test/synthetic/cluster.h"
#include "test/synthetic/faults.h"

namespace zelk::synthetic {

struct store_plan {
  std::string path;          // of the datastore; it is made, or added to
  std::string descriptions;  // folder of the provider descriptions
  std::string schema;        // of them
  std::size_t runs = 2;      // the last one is the one to be judged
  // Of the runs between the first and the last two, so many of a hundred
  // answers are the first run's again. The datastore keeps equal outputs once,
  // so that a long history takes rows rather than room.
  int repeated_percent = 0;
};

struct stored_runs {
  std::vector<std::int64_t> numbers;  // as the datastore counts them
  std::size_t results = 0;
  std::size_t bytes = 0;  // of outputs, equal ones counted each time
};

// Throws std::runtime_error or datastore::store_error.
stored_runs store(const cluster& of, const std::vector<planted>& faults,
                  const store_plan& how);

}  // namespace zelk::synthetic
