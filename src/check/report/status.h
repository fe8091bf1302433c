// The exit status of a judgement.

#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "src/check/judgement.h"

namespace zelk::check {

// From which severity on a finding makes the program fail.
enum class fail_on : std::uint8_t { warning, critical, never };

std::optional<fail_on> read_fail_on(std::string_view word);

constexpr int status_fine = 0;
constexpr int status_warning = 1;
constexpr int status_critical = 2;
constexpr int status_cannot_tell = 3;

// Returns the status of the worst finding that is not accepted and not below
// `threshold`. When nothing at all was judged, because no node is known or all
// that came is too old, it is status_cannot_tell, whatever the threshold: that
// nobody wants to hear of findings does not make silence good. Nodes of which
// it cannot be told how they are, and a run that goes on, are a warning. With
// `only_new` findings that the baseline has do not count.
int exit_status(const judgement& judged, fail_on threshold = fail_on::warning,
                bool only_new = false);

// Whether the run has not ended yet.
bool goes_on(const run_info& run);

// Whether there is a node that anything could be said of.
bool anything_judged(const judgement& judged);

}  // namespace zelk::check
