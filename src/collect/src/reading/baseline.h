// The run that an administrator has marked as the baseline (zelk-db baseline).
//
// At most one run is. What is compared with "the baseline" is compared with
// this one.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "src/common/datastore/sqlite.h"

namespace zelk::reading {

struct stored_baseline {
  std::int64_t run = 0;
  std::string name;            // a person's word for it; "" when there is none
  std::int64_t made_usec = 0;  // when it was marked, since the Unix epoch
  std::string who;
};

// None when no run is marked, or the datastore is of an older version.
std::optional<stored_baseline> read_baseline(datastore::database& base);

// Its run's number.
std::optional<std::int64_t> marked_baseline(datastore::database& base);

}  // namespace zelk::reading
