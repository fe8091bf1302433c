// A run as JSON: for listings, and inside exported files.
//
// Text that is not UTF-8 becomes {"base64": "..."}, so that nothing is lost.

#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "src/collect/src/accumulate/runs.h"

namespace zelk::db {

using json = nlohmann::ordered_json;

json json_of_bytes(std::string_view bytes);
// Throws std::runtime_error with what was expected.
std::string bytes_of_json(const json& value);

json json_of_run(const accumulate::run& run);

// The run that json_of_run() was given; unknown keys are left alone. Throws
// std::runtime_error with what was expected, and where.
accumulate::run run_of_json(const json& value);

// In ASCII, on one line: safe on a terminal, whatever the text holds.
std::string one_line(const json& value);

}  // namespace zelk::db
