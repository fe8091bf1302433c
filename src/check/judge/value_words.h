// Values fit for people: "223.9 GiB", "2.4 GHz", "without nvidia, nvidia_uvm".
//
// Still text from nodes: whoever writes it escapes it.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "src/check/judge/range.h"
#include "src/check/judge/run_view.h"

namespace zelk::check {

// A message stays one that is read.
constexpr std::size_t longest_value = 120;  // bytes, of a value in words

// "none" of absent_value, "unknown" of unknown_value.
std::string value_words(const run_view& run, const fact_column& fact,
                        std::uint32_t value);

// The number with the fact's unit, in the unit that people would use.
std::string number_words(const fact_column& fact, double number);

// At most four digits that matter: "168.9", "24000", "0.00012". An exponent
// only where nothing is measured: "1.000e+308".
std::string number_words(double number);

// What a range allows: "at least 250 GiB", "-1 s to 1 s", "exactly 0". With
// `exactly`, in the fact's own unit and with all digits.
std::string range_words(const fact_column& fact, const range& allowed,
                        bool exactly = false);

// Both are lists, a value a line, sorted. Returns those of `list` that `other`
// has not.
std::vector<std::string_view> without(std::string_view other,
                                      std::string_view list);

// What a list has and lacks against another: "without b; with x, y".
std::string list_difference(std::string_view list, std::string_view reference);

// `text` on one line and not over `longest` bytes, cut between characters.
std::string clipped(std::string_view text, std::size_t longest = longest_value);

}  // namespace zelk::check
