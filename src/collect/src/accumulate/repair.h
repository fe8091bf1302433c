// Faults of a datastore that can be made good from what it holds.
//
// Counts, look-up tables and indices are derived: the results, outputs and
// expectations are the truth, and nothing here touches those. Throws
// datastore::store_error.

#pragma once

#include <cstdint>

#include "src/common/datastore/sqlite.h"

namespace zelk::accumulate {

// How many of the faults that verify_datastore() reports are of this kind.
std::int64_t count_repairable_faults(datastore::database& base);

// Makes the derived parts anew, in one transaction. Returns how many of those
// faults there were. Safe beside a process that stores.
std::int64_t repair_datastore(datastore::database& base);

}  // namespace zelk::accumulate
