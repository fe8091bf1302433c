// Numbers, times and long texts as the page words them.
//
// Pure functions. Lengths are in bytes, but no character is ever cut in two.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zelk::check::html {

// "0", "136", "1,215"
std::string count_text(std::size_t count);
// "1 node", "1,215 nodes"
std::string count_text(std::size_t count, std::string_view what);

// At most `digits` significant digits, thousands parted; never an exponent for
// what people would not write with one.
//
//   203.44   "203.4"       0.00012  "0.00012"      1234567  "1,234,567"
//   -17.0    "-17"         1e30     "1e+30"        NaN      "no number"
std::string number_text(double value, int digits = 4);

// A scale on which all numbers of a fact are told: bytes by their largest in
// GiB, hertz in GHz. Other units stay as they are.
struct unit_scale {
  double divisor = 1;
  std::string unit;
};
unit_scale scale_for(double largest, std::string_view unit);

// The unit as it stands behind a number: nobody says "9 count".
std::string_view shown_unit(std::string_view unit);
// Behind a value in words that may have its unit already: "" then.
std::string_view unit_behind(std::string_view value, std::string_view unit);

// "203.4 GB/s", "256 GiB" of 268435456 KiB; with no unit the number alone.
std::string quantity_text(double value, std::string_view unit);

// The whole text as a number; nothing for all else, infinite or not a number.
std::optional<double> number_of(std::string_view text);

// "just now", "3 h ago", "12 days ago"; "" when one of the two is unknown.
std::string age_text(std::int64_t then_usec, std::int64_t now_usec);

// `text`, or its beginning with "… (1.0 MiB in all)" behind it.
std::string clipped(std::string_view text, std::size_t most);

// "a", "a and b", "a, b and c"
std::string joined_words(const std::vector<std::string>& words);

// A name for #links: "n-node013". Different names give different ones, and
// nothing is in it but letters, digits, "-", "_" and ".".
std::string anchor_of(std::string_view kind, std::string_view name);

}  // namespace zelk::check::html
