// What a run has already, asked of zelk-db.
//
// Only the accumulator knows the datastore from inside; the collector reads it
// as everybody may, through the documented views.

#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/collect/plan.h"

namespace zelk::collect {

struct stored_result {
  expected_result what;
  int exit_status = 0;
  double duration = 0;  // seconds
};

// The command that prints the results of a run, one JSON object a line.
std::vector<std::string> stored_results_command(const std::string& program,
                                                const std::string& datastore,
                                                std::int64_t run);

// One line of its output; nothing when it is none.
std::optional<stored_result> read_stored(std::string_view line);

}  // namespace zelk::collect
