// What command lines demand of values.
//
// The library shows what a validator has to say behind its option; ours say
// nothing there, for the option's own text says it better.

#pragma once

#include <CLI/CLI.hpp>

namespace zelk::cli {

// Refuses an empty value. For options whose value is a file, a run or a place:
// an empty one is a variable of a script that is not set, and means nobody
// knows what.
CLI::Validator filled();

// Refuses what is no number from `least` to `most`, both included.
CLI::Validator number_from(double least, double most);

// Makes bytes of "512", "64K", "16 MiB"; units are powers of 1024.
CLI::Validator size_value();

}  // namespace zelk::cli
