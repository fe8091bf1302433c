// An entry is parsed whole into pieces, a literal and a bracket each, before a
// name is made: the number of names and their bytes are then known, and can be
// refused, while the memory taken is still in proportion to the text. The names
// are counted off like an odometer whose right-most wheel is the last bracket.

#include "src/common/node/ranges.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <optional>
#include <utility>

namespace zelk::node {
namespace {

constexpr std::size_t most_digits = 18;  // so that all sums fit 64 bits

constexpr char too_long[] = "expected names of at most 256 MiB in all";

// The numbers first, first + 1, ..., written with at least `width` digits.
struct number_range {
  std::uint64_t first = 0;
  std::uint64_t count = 1;
  std::size_t width = 1;
};

// Text and the bracket behind it; the last piece of an entry has no bracket.
struct piece {
  std::string_view literal;
  std::vector<number_range> ranges;
  std::uint64_t count = 1;
  std::size_t longest = 0;  // bytes of the bracket's longest number
};

struct parsed_entry {
  std::vector<piece> pieces;
  const char* problem = nullptr;
};

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// Tells what is wrong with the first byte of `text` that no name holds.
const char* literal_problem(std::string_view text) {
  const auto bad = std::find_if_not(text.begin(), text.end(), is_name_byte);
  if (bad == text.end()) return nullptr;
  if (*bad == ']') return "expected '[' before ']'";
  if (*bad == ',') return "expected commas only between brackets";
  return "expected no blank or control character in a name";
}

// Returns the value of `digits`, or nothing when it is not a number or too big.
std::optional<std::uint64_t> number_value(std::string_view digits) {
  if (!std::all_of(digits.begin(), digits.end(), is_digit)) return {};
  digits.remove_prefix(std::min(digits.find_first_not_of('0'),
                                digits.empty() ? 0 : digits.size() - 1));
  if (digits.empty() || digits.size() > most_digits) return {};
  std::uint64_t value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return value;
}

bool is_padded(std::string_view digits) {
  return digits.size() > 1 && digits.front() == '0';
}

// Reads "7" or "01-16" into `range`; returns what was expected if it is
// neither.
const char* parse_range(std::string_view item, number_range& range) {
  const std::size_t dash = item.find('-');
  const std::string_view low = item.substr(0, dash);
  const std::string_view high =
      dash == std::string_view::npos ? low : item.substr(dash + 1);
  const auto first = number_value(low);
  const auto last = number_value(high);
  if (!first || !last)
    return "expected numbers of up to 18 digits, or ranges of them, in "
           "brackets";
  if (*last < *first) return "expected a range that goes up";
  if (is_padded(high) && high.size() != low.size())
    return "expected both ends of a range to be padded to one width";
  range = {*first, *last - *first + 1, low.size()};
  return nullptr;
}

std::size_t longest_number(const number_range& range) {
  const std::uint64_t last = range.first + range.count - 1;
  return std::max(range.width, std::to_string(last).size());
}

// Reads what stands between two brackets into `into`.
const char* parse_bracket(std::string_view text, const range_budget& budget,
                          piece& into) {
  into.count = 0;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t comma = std::min(text.find(',', start), text.size());
    number_range range;
    if (const char* problem =
            parse_range(text.substr(start, comma - start), range))
      return problem;
    if (range.count > budget.names - into.count) return too_many_names;
    into.count += range.count;
    into.longest = std::max(into.longest, longest_number(range));
    into.ranges.push_back(range);
    start = comma + 1;
  }
  return nullptr;
}

parsed_entry parse_entry(std::string_view entry, const range_budget& budget) {
  parsed_entry parsed;
  while (!parsed.problem) {
    const std::size_t open = entry.find('[');
    piece next;
    next.literal = entry.substr(0, open);
    parsed.problem = literal_problem(next.literal);
    if (open == std::string_view::npos || parsed.problem) {
      parsed.pieces.push_back(std::move(next));
      break;
    }
    const std::size_t close = entry.find_first_of("[]", open + 1);
    if (close == std::string_view::npos || entry[close] != ']') {
      parsed.problem = "expected ']' behind '['";
      break;
    }
    parsed.problem =
        parse_bracket(entry.substr(open + 1, close - open - 1), budget, next);
    parsed.pieces.push_back(std::move(next));
    entry.remove_prefix(close + 1);
  }
  return parsed;
}

// Returns the number of names that `pieces` make and takes them off `budget`.
// Leaves the budget alone and sets `problem` when they do not fit it.
std::uint64_t take_from_budget(const std::vector<piece>& pieces,
                               range_budget& budget, const char*& problem) {
  std::uint64_t names = 1;
  std::uint64_t longest = 0;  // bytes of the longest name
  for (const piece& p : pieces) {
    if (names > budget.names / p.count) problem = too_many_names;
    if (problem) return 0;
    names *= p.count;
    longest += p.literal.size() + p.longest;
  }
  if (longest > budget.bytes / names) problem = too_long;
  if (problem) return 0;
  budget.names -= names;
  budget.bytes -= names * longest;
  return names;
}

// One wheel of the odometer: a place in a bracket.
struct wheel {
  std::size_t range = 0;
  std::uint64_t offset = 0;
};

// Turns to the next number; returns false when it starts over.
bool turn(wheel& w, const piece& p) {
  if (++w.offset < p.ranges[w.range].count) return true;
  w.offset = 0;
  if (++w.range < p.ranges.size()) return true;
  w.range = 0;
  return false;
}

void turn_all(std::vector<wheel>& wheels, const std::vector<piece>& pieces) {
  for (std::size_t i = wheels.size(); i > 0; --i)
    if (turn(wheels[i - 1], pieces[i - 1])) return;
}

void append_number(std::string& name, const number_range& range,
                   std::uint64_t offset) {
  char digits[20];
  const char* const end =
      std::to_chars(digits, std::end(digits), range.first + offset).ptr;
  const auto length = static_cast<std::size_t>(end - digits);
  if (length < range.width) name.append(range.width - length, '0');
  name.append(digits, length);
}

std::string current_name(const std::vector<piece>& pieces,
                         const std::vector<wheel>& wheels) {
  std::string name;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    name.append(pieces[i].literal);
    if (pieces[i].ranges.empty()) break;
    append_number(name, pieces[i].ranges[wheels[i].range], wheels[i].offset);
  }
  return name;
}

std::vector<std::string> all_names(const std::vector<piece>& pieces,
                                   std::uint64_t count) {
  std::vector<std::string> names;
  names.reserve(count);
  std::vector<wheel> wheels(pieces.size() - 1);  // the last has no bracket
  for (; names.size() < count; turn_all(wheels, pieces))
    names.push_back(current_name(pieces, wheels));
  return names;
}

// Returns where the entry at the front of `list` ends: at its first comma that
// is in no bracket.
std::size_t entry_length(std::string_view list) {
  bool in_bracket = false;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list[i] == '[') in_bracket = true;
    if (list[i] == ']') in_bracket = false;
    if (list[i] == ',' && !in_bracket) return i;
  }
  return list.size();
}

}  // namespace

bool is_plain_name(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), is_name_byte);
}

expansion expand_entry(std::string_view entry, range_budget& budget) {
  if (is_plain_name(entry)) return {{std::string(entry)}, ""};
  if (entry.empty()) return {{}, "expected a name"};
  parsed_entry parsed = parse_entry(entry, budget);
  if (parsed.problem) return {{}, parsed.problem};
  const std::uint64_t count =
      take_from_budget(parsed.pieces, budget, parsed.problem);
  if (parsed.problem) return {{}, parsed.problem};
  return {all_names(parsed.pieces, count), ""};
}

expansion expand_list(std::string_view list, range_budget& budget) {
  expansion all;
  for (std::size_t start = 0; !list.empty() && start <= list.size();) {
    const std::size_t length = entry_length(list.substr(start));
    expansion one = expand_entry(list.substr(start, length), budget);
    if (!one.problem.empty()) return one;
    std::move(one.names.begin(), one.names.end(),
              std::back_inserter(all.names));
    start += length + 1;
  }
  return all;
}

}  // namespace zelk::node
