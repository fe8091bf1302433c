// The text is cut into operands and operators first: a bracket is one piece
// with the text around it, because commas, blanks and "-" mean something else
// inside. An operand is then brought into the notation of ranges.h (steps are
// written out, blanks inside brackets dropped) and expanded there, so that one
// piece of code alone decides what a range is and how much memory it may take.
//
// When an operand is refused, its items are tried one by one to find the column
// to mark; that costs nothing while all is well.

#include "src/common/node/node_set.h"

#include <fnmatch.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <optional>
#include <utility>

#include "src/common/node/natural_order.h"

namespace zelk::node {
namespace {

using name_list = std::vector<std::string>;

// Bytes; the field of a stored result.
constexpr std::size_t longest_name = 255;

struct fault {
  std::string problem;
  std::size_t column;
};

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool is_operator(char c) {
  return c == '!' || c == '&' || c == '^';
}

bool ends_operand(char c) {
  return c == ',' || is_blank(c) || is_operator(c);
}

// Returns the end of the operand that begins at `start`.
std::size_t operand_end(std::string_view text, std::size_t start) {
  bool in_bracket = false;
  for (std::size_t i = start; i < text.size(); ++i) {
    if (!in_bracket && ends_operand(text[i])) return i;
    if (text[i] == '[') in_bracket = true;
    if (text[i] == ']') in_bracket = false;
  }
  return text.size();
}

std::string without_blanks(std::string_view text) {
  std::string kept(text);
  std::erase_if(kept, is_blank);
  return kept;
}

constexpr char wrong_step[] =
    "expected a step of 1 or more behind '/', as in [0-6/2]";

// Writes "0-6/2" out as "0,2,4,6". An item without a step is itself.
expansion without_step(std::string_view item, range_budget& budget) {
  const std::string text = without_blanks(item);
  const std::size_t slash = text.find('/');
  if (slash == text.npos) return {{text}, ""};
  std::uint32_t step = 0;
  const char* const end = text.data() + text.size();
  const auto [behind, error] =
      std::from_chars(text.data() + slash + 1, end, step);
  if (error != std::errc() || behind != end || step == 0)
    return {{}, wrong_step};
  expansion all = expand_entry("[" + text.substr(0, slash) + "]", budget);
  if (!all.problem.empty()) return all;
  std::string list;
  for (std::size_t i = 0; i < all.names.size(); i += step)
    list.append(i == 0 ? "" : ",").append(all.names[i]);
  return {{std::move(list)}, ""};
}

// Calls `visit(item, offset)` for each item of the bracket whose content begins
// at `start`, until it returns false.
template <typename Visit>
bool for_each_item(std::string_view content, std::size_t start, Visit visit) {
  for (std::size_t at = 0; at <= content.size();) {
    const std::size_t comma = std::min(content.find(',', at), content.size());
    if (!visit(content.substr(at, comma - at), start + at)) return false;
    at = comma + 1;
  }
  return true;
}

// Returns where the bracket at `open` is closed; npos when it is not.
std::size_t closing(std::string_view operand, std::size_t open) {
  const std::size_t close = operand.find_first_of("[]", open + 1);
  return close == operand.npos || operand[close] == '[' ? operand.npos : close;
}

// Brings `operand` into the notation of ranges.h.
expansion plain_ranges(std::string_view operand, range_budget budget) {
  std::string text;
  std::string problem;
  while (problem.empty()) {
    const std::size_t open = std::min(operand.find('['), operand.size());
    text.append(operand.substr(0, open));
    operand.remove_prefix(open);
    const std::size_t close =
        operand.empty() ? operand.npos : closing(operand, 0);
    if (close == operand.npos) break;  // the end, or ranges.h complains of it
    const char* comma = "[";
    for_each_item(operand.substr(1, close - 1), 1,
                  [&](std::string_view item, std::size_t) {
                    expansion one = without_step(item, budget);
                    problem = std::move(one.problem);
                    if (!problem.empty()) return false;
                    text.append(comma).append(one.names.front());
                    comma = ",";
                    return true;
                  });
    text.push_back(']');
    operand.remove_prefix(close + 1);
  }
  text.append(operand);
  if (!problem.empty()) return {{}, problem};
  return {{std::move(text)}, ""};
}

expansion expand_operand(std::string_view operand, range_budget& budget) {
  if (is_plain_name(operand)) return {{std::string(operand)}, ""};
  expansion ranges = plain_ranges(operand, budget);
  if (!ranges.problem.empty()) return ranges;
  return expand_entry(ranges.names.front(), budget);
}

bool item_is_good(std::string_view item) {
  range_budget budget;
  const expansion list = without_step(item, budget);
  if (!list.problem.empty()) return false;
  return expand_entry("[" + list.names.front() + "]", budget).problem.empty();
}

// Returns the offset of what is wrong in an operand that was refused, 0 when
// only the whole of it is.
std::size_t fault_offset(std::string_view operand) {
  for (std::size_t i = 0; i < operand.size(); ++i) {
    if (operand[i] != '[') {
      if (!is_name_byte(operand[i])) return i;
      continue;
    }
    const std::size_t close = closing(operand, i);
    if (close == operand.npos) return i;
    std::size_t bad = 0;
    const auto check = [&](std::string_view item, std::size_t at) {
      bad = at + std::min(item.find_first_not_of(" \t"), item.size());
      return item_is_good(item);
    };
    if (!for_each_item(operand.substr(i + 1, close - i - 1), i + 1, check))
      return bad;
    i = close;
  }
  return 0;
}

bool is_pattern(std::string_view name) {
  return name.find_first_of("*?") != name.npos;
}

class parser {
 public:
  parser(std::string_view text, const group_source& groups,
         range_budget& budget)
      : text_(text), groups_(groups), budget_(budget) {}

  node_set parse();

 private:
  std::optional<fault> parse_operator(std::size_t at);
  std::optional<fault> parse_operand(std::size_t start, std::size_t end);
  std::optional<fault> missing_operand() const;
  expansion nodes_of(std::string_view operand, std::size_t& column);
  expansion nodes_of_groups(std::string_view groups, std::size_t& column);
  expansion matching(const name_list& names);
  const expansion& all_known();
  void apply(name_list operand);

  std::string_view text_;
  const group_source& groups_;
  range_budget& budget_;
  name_list result_;
  char pending_ = ',';          // the operator in front of the next operand
  std::size_t pending_at_ = 0;  // its column
  bool has_operand_ = false;    // something stands left of here
  std::optional<expansion> all_known_;
};

std::optional<fault> parser::missing_operand() const {
  if (!is_operator(pending_)) return {};
  return fault{std::string("expected a name behind '") + pending_ + "'",
               pending_at_};
}

std::optional<fault> parser::parse_operator(std::size_t at) {
  if (is_blank(text_[at])) return {};
  if (auto missing = missing_operand()) return missing;
  if (is_operator(text_[at]) && !has_operand_)
    return fault{std::string("expected a name in front of '") + text_[at] + "'",
                 at};
  pending_ = text_[at];
  pending_at_ = at;
  has_operand_ = false;
  return {};
}

const expansion& parser::all_known() {
  if (!all_known_) all_known_ = groups_("*");
  return *all_known_;
}

// Returns the known names that match one of the patterns, and of `names` those
// that are no patterns.
expansion parser::matching(const name_list& names) {
  expansion found;
  for (const std::string& name : names) {
    if (!is_pattern(name)) {
      found.names.push_back(name);
      continue;
    }
    if (!groups_) return {{}, "expected names: no nodes are known to match"};
    if (!all_known().problem.empty()) return all_known();
    const std::size_t before = found.names.size();
    for (const std::string& known : all_known().names)
      if (::fnmatch(name.c_str(), known.c_str(), FNM_NOESCAPE) == 0)
        found.names.push_back(known);
    if (found.names.size() == before)
      return {{}, "expected a pattern that a known node matches"};
  }
  return found;
}

expansion parser::nodes_of_groups(std::string_view groups,
                                  std::size_t& column) {
  if (!groups_) return {{}, "expected names: no groups are known here"};
  if (groups.empty()) return {{}, "expected the name of a group behind '@'"};
  expansion list = expand_operand(groups, budget_);
  if (!list.problem.empty()) {
    column += 1 + fault_offset(groups);
    return list;
  }
  expansion found;
  for (const std::string& group : list.names) {
    expansion one = group == "*" ? all_known() : groups_(group);
    if (!one.problem.empty()) return one;
    std::move(one.names.begin(), one.names.end(),
              std::back_inserter(found.names));
  }
  return found;
}

expansion parser::nodes_of(std::string_view operand, std::size_t& column) {
  if (operand.front() == '@') return nodes_of_groups(operand.substr(1), column);
  if (operand.front() == '-')
    return {{},
            "expected no '-' in front of a name; -x and '!' leave nodes out"};
  if (const std::size_t at = operand.find('@'); at != operand.npos) {
    column += at;
    return {{}, "expected '@' only in front of a group"};
  }
  expansion made = expand_operand(operand, budget_);
  if (!made.problem.empty()) {
    column += fault_offset(operand);
    return made;
  }
  return is_pattern(operand) ? matching(made.names) : made;
}

void parser::apply(name_list operand) {
  if (pending_ == ',') {
    std::move(operand.begin(), operand.end(), std::back_inserter(result_));
    return;
  }
  sort_naturally(result_);
  sort_naturally(operand);
  name_list out;
  const auto first = std::make_move_iterator(result_.begin());
  const auto last = std::make_move_iterator(result_.end());
  const auto set = std::back_inserter(out);
  if (pending_ == '!')
    std::set_difference(first, last, operand.begin(), operand.end(), set,
                        natural_before);
  if (pending_ == '&')
    std::set_intersection(first, last, operand.begin(), operand.end(), set,
                          natural_before);
  if (pending_ == '^')
    std::set_symmetric_difference(first, last, operand.begin(), operand.end(),
                                  set, natural_before);
  result_ = std::move(out);
}

std::optional<fault> parser::parse_operand(std::size_t start, std::size_t end) {
  std::size_t column = start;
  expansion made = nodes_of(text_.substr(start, end - start), column);
  if (!made.problem.empty()) return fault{std::move(made.problem), column};
  apply(std::move(made.names));
  if (result_.size() > most_names) return fault{too_many_names, start};
  pending_ = ',';
  has_operand_ = true;
  return {};
}

node_set parser::parse() {
  std::optional<fault> wrong;
  for (std::size_t i = 0; i < text_.size() && !wrong;) {
    if (ends_operand(text_[i])) {
      wrong = parse_operator(i++);
      continue;
    }
    const std::size_t end = operand_end(text_, i);
    wrong = parse_operand(i, end);
    i = end;
  }
  if (!wrong) wrong = missing_operand();
  if (wrong) return {{}, std::move(wrong->problem), wrong->column};
  sort_naturally(result_);
  return {std::move(result_), "", 0};
}

}  // namespace

node_set parse_node_set(std::string_view text, const group_source& groups,
                        range_budget budget) {
  return parser(text, groups, budget).parse();
}

std::string marked(std::string_view text, std::size_t column) {
  // Bytes shown on each side of the column.
  constexpr std::size_t around = 35;
  column = std::min(column, text.size());
  const std::size_t first = column > around ? column - around : 0;
  const std::size_t last = std::min(text.size(), column + around);
  std::string line(first > 0 ? "..." : "");
  std::size_t cells = line.size();
  for (std::size_t i = first; i < last; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    line.push_back(byte < ' ' || byte == 0x7f ? '?' : text[i]);
    const bool continues = (byte & 0xc0) == 0x80;  // the rest of a character
    if (i < column && !continues) ++cells;
  }
  if (last < text.size()) line += "...";
  return line + "\n" + std::string(cells, ' ') + "^";
}

std::string node_name_problem(std::string_view name) {
  if (name.empty()) return "expected a name";
  if (name.size() > longest_name) return "expected a name of at most 255 bytes";
  if (name.front() == '-') return "expected no '-' in front of a name";
  if (!is_plain_name(name) || name.find('/') != name.npos)
    return "expected a name without blanks, commas, brackets and slashes";
  return "";
}

}  // namespace zelk::node
