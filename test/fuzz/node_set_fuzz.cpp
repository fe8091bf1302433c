// Any text either is refused, with a column inside it, or gives names in order,
// each once, that fold and read back to the same names.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/node/natural_order.h"
#include "src/common/node/node_set.h"
#include "src/common/node/tokenized_host.h"

namespace {

using zelk::node::expansion;
using zelk::node::node_set;
using zelk::node::range_budget;

// Small enough for many inputs a second.
constexpr range_budget small{4096, std::size_t{1} << 20};

void require(bool holds) {
  if (!holds) std::abort();
}

// Whatever a source of groups says, the names are judged by what uses them.
expansion groups(std::string_view group) {
  if (group == "*") return {{"n1", "n2", "n10", "gpu01"}, ""};
  if (group.starts_with("r")) return {{std::string(group), "n1"}, ""};
  return {{}, "there is no such group"};
}

// Names that hold an operator's or a pattern's byte came out of brackets or
// groups only by being names; they cannot be typed again.
bool can_be_typed(const std::vector<std::string>& names) {
  return std::all_of(names.begin(), names.end(), [](const std::string& name) {
    return name.find_first_of("!&^@*?") == name.npos && name.front() != '-';
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string text(data, data + size);
  const node_set set = zelk::node::parse_node_set(text, groups, small);
  require(set.problem.empty() || set.names.empty());
  require(set.column <= text.size());
  const std::string shown = zelk::node::marked(text, set.column);
  require(std::count(shown.begin(), shown.end(), '\n') == 1);

  require(std::is_sorted(set.names.begin(), set.names.end(),
                         zelk::node::natural_before));
  require(std::adjacent_find(set.names.begin(), set.names.end()) ==
          set.names.end());
  for (const std::string& name : set.names)
    require(zelk::node::is_plain_name(name));
  if (!can_be_typed(set.names)) return 0;
  const node_set again = zelk::node::parse_node_set(
      zelk::TokenizedHost::get_merged_hosts(set.names));
  require(again.problem.empty());
  require(again.names == set.names);
  return 0;
}
