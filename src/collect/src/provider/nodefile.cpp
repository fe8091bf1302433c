#include "src/collect/src/provider/nodefile.h"

#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>
#include <vector>

#include "src/common/node/nodelist.h"

namespace zelk {

namespace {

std::string joined_names(const std::vector<node::node_entry>& nodes,
                         std::size_t count) {
  std::string names = nodes.front().name;
  for (std::size_t i = 1; i < count; ++i) {
    names += ", ";
    names += nodes[i].name;
  }
  return names;
}

}  // namespace

bool read_nodefile(const char* path, std::uint16_t& count, std::string& names) {
  // A directory can be opened like a file and fails only when it is read.
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) return false;
  std::ifstream in(path);
  if (!in) return false;
  node::Nodelist list(path);
  list.parse(in);
  if (list.nodes().empty()) return false;

  count = static_cast<std::uint16_t>(list.nodes().size());
  names = joined_names(list.nodes(), count);
  return true;
}

}  // namespace zelk
