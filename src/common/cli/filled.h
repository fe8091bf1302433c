// For options whose value is a file, a run or a place: an empty one is a
// variable of a script that is not set, and means nobody knows what.

#pragma once

#include <CLI/CLI.hpp>

namespace zelk::cli {

// Refuses an empty value.
CLI::Validator filled();

}  // namespace zelk::cli
