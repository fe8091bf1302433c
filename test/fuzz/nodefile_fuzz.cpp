// Any file gives a list of distinct names that its index finds, and a file of
// these names alone gives the same list.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "src/common/log/settings.h"
#include "src/common/node/nodelist.h"
#include "src/common/node/ranges.h"

namespace {

using zelk::node::Nodelist;

constexpr std::size_t most_checked = 4096;  // for many inputs a second

void require(bool holds) {
  if (!holds) std::abort();
}

void check_list(const Nodelist& list) {
  std::string text = "\n";  // so that no name is at a mark's place
  for (const zelk::node::node_entry& node : list.nodes()) {
    require(zelk::node::is_plain_name(node.name));
    require(list.find(node.name) == &node);
    text += node.name + "\n";
  }
  std::istringstream in(text);
  Nodelist again;
  again.parse(in);
  require(again.nodes().size() == list.nodes().size());
  for (std::size_t i = 0; i < again.nodes().size(); ++i)
    require(again.nodes()[i].name == list.nodes()[i].name);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  zelk::log::LOG_LEVEL = -1;  // below every record
  const std::string text(data, data + size);
  std::istringstream in(text);
  Nodelist list;
  list.parse(in);
  if (list.nodes().size() <= most_checked) check_list(list);
  std::istringstream notes(text);
  zelk::node::note_problems(notes, "fuzz");
  return 0;
}
