// What is read out of a provider's output: facts, and what could not be read.
//
// A fact is a typed value under a name. Its texts are valid UTF-8 whatever the
// output held: a byte that is none stands here as U+FFFD. They may still hold
// control characters, so whoever shows one makes it visible.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zelk::facts {

// A list is the sorted distinct values of several lines, a newline between.
enum class value_type : std::uint8_t { text, integer, number, boolean, list };

enum class better : std::uint8_t { none, higher, lower };

// How a fact is compared with the same of other nodes.
enum class comparison : std::uint8_t {
  equal,     // one value for all nodes of a class
  outlier,   // far from its peers is a finding
  counter,   // only grows; what is compared is the growth
  unique,    // no two nodes may have the same
  unstable,  // written "volatile": never compared
  state,     // of itself: 0 is fine, 1 a warning, 2 critical, others unknown
};

// What the declaration says of a fact.
struct fact_traits {
  value_type type = value_type::text;
  better direction = better::none;
  comparison compare = comparison::equal;
  std::string unit;  // see units.h; empty: none

  bool operator==(const fact_traits&) const = default;
};

// text and list: the string.
using fact_value = std::variant<std::string, std::int64_t, double, bool>;

struct fact {
  std::string name;
  fact_value value;
  fact_traits traits;

  bool operator==(const fact&) const = default;
};

// A fact that is declared and has no value, and why. The name is "*" when it is
// about the output as a whole.
struct unread_fact {
  std::string name;
  std::string reason;

  bool operator==(const unread_fact&) const = default;
};

inline constexpr char whole_output[] = "*";

// What became of one output.
enum class outcome : std::uint8_t {
  read,
  not_applicable,  // exit status 80: the node has no such thing
  not_measured,    // 81, 82: no tool, no permission
  failed,          // ended in another way; one `unread` says how
};

// Both lists are in byte order of the names; a name stands once in all.
struct extraction {
  outcome what = outcome::read;
  std::vector<fact> facts;
  std::vector<unread_fact> unread;

  bool operator==(const extraction&) const = default;
};

// Returns the words of a declaration: "integer", "higher", "volatile".
std::string_view name_of(value_type type);
std::string_view name_of(better direction);
std::string_view name_of(comparison compare);

// Returns the value as text: a number in its shortest form that reads back as
// the same, "true" or "false".
std::string text_of(const fact_value& value);

}  // namespace zelk::facts
