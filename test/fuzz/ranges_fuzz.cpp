// Any text either is refused or gives names that fold and read back to the same
// names, and folding is stable.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/node/ranges.h"
#include "src/common/node/tokenized_host.h"

namespace {

using zelk::TokenizedHost;
using names = std::vector<std::string>;

void require(bool holds) {
  if (!holds) std::abort();
}

std::set<std::string> set_of(const names& all) {
  return {all.begin(), all.end()};
}

names read_back(const std::string& folded) {
  zelk::node::range_budget budget;
  zelk::node::expansion all = zelk::node::expand_list(folded, budget);
  require(all.problem.empty());
  return all.names;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  // Small enough for many inputs a second.
  zelk::node::range_budget budget{4096, std::size_t{1} << 20};
  const std::string text(data, data + size);
  const zelk::node::expansion all = zelk::node::expand_list(text, budget);
  require(all.problem.empty() || all.names.empty());
  for (const std::string& name : all.names)
    require(zelk::node::is_plain_name(name));

  const std::string folded = TokenizedHost::get_merged_hosts(all.names);
  const names again = read_back(folded);
  require(set_of(again) == set_of(all.names));
  require(set_of(again).size() == again.size());
  require(TokenizedHost::get_merged_hosts(again) == folded);

  // Labels come from other nodes: whatever they are, the result can be read.
  read_back(TokenizedHost::get_merged_hosts({text, "n1", text + "1"}));
  return 0;
}
