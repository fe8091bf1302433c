// Acceptances as they are shown: a table, JSON, one line.

#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "src/collect/src/reading/acceptances.h"

namespace zelk::db {

// "active", "expired" or "revoked".
std::string state_of(const reading::stored_acceptance& one,
                     std::int64_t now_usec);

// When it ends: "2025-12-31" (that day is still a part of it), "2025-12-31
// 14:20", "-" for good. Local time.
std::string end_of(const reading::stored_acceptance& one);

// "7: mem-size on node[007-009] (3), until 2025-12-31"
std::string line_of_acceptance(const reading::stored_acceptance& one);

void print_acceptances(const std::vector<reading::stored_acceptance>& all,
                       std::int64_t now_usec, std::ostream& out);

// One array, on one line.
void print_acceptances_as_json(
    const std::vector<reading::stored_acceptance>& all, std::int64_t now_usec,
    std::ostream& out);

}  // namespace zelk::db
