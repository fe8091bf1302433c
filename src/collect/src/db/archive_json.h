// The text members of an exported file, as bytes and back.
//
// What is read comes from anywhere: all that is wrong with it is thrown as
// archive_error, without the member's name.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "src/collect/src/accumulate/runs.h"
#include "src/collect/src/accumulate/sha256.h"

namespace zelk::db {

struct archived_run {
  accumulate::run run;
  std::int64_t expectations = 0;  // that follow
  std::int64_t records = 0;
};

std::string head_text(std::int64_t runs);
std::int64_t runs_of_head(std::string_view text);

std::string run_text(const archived_run& run);
archived_run run_of_text(std::string_view text);

// One line each, with its end.
std::string expectation_text(const accumulate::missing_result& expected);
accumulate::missing_result expectation_of_text(std::string_view line);

// A line of SHA256SUMS, with its end.
std::string sum_line(const accumulate::digest& sum, const std::string& name);

}  // namespace zelk::db
