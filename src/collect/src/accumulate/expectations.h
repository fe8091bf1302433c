// All that a run expected, whether it came or not, with the reasons given.
//
// For copies of a run: runs.h tells only what is missing. Throws
// datastore::store_error.

#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "src/collect/src/accumulate/runs.h"
#include "src/common/datastore/sqlite.h"

namespace zelk::accumulate {

// Calls `visit` with each expectation of the run in a fixed order: nodes first
// (provider ""), then results. Memory does not grow with their number.
void for_each_expectation(
    datastore::database& base, std::int64_t number,
    const std::function<void(const missing_result&)>& visit);

// Gives each of `missing`, which the run expects already, its reason, all in
// one transaction.
void set_missing_reasons(datastore::database& base, std::int64_t number,
                         const std::vector<missing_result>& missing);

}  // namespace zelk::accumulate
