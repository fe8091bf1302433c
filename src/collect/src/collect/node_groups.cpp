#include "src/collect/src/collect/node_groups.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "src/collect/src/utils/outside_groups.h"
#include "src/common/preproc/preproc.h"
#include "src/common/str/nearest_word.h"
#include "src/common/str/str.h"

namespace zelk::collect {

namespace {

constexpr char no_node_file[] =
    "expected a node file (-n), which has the roles";

program_runner by(const surroundings& outside) {
  return [&outside](const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words)
      line += (line.empty() ? "" : " ") + preproc::shell_quoted(word);
    return outside.run(line);
  };
}

template <typename Has>
node::expansion filtered(const node::Nodelist& nodes, Has has) {
  node::expansion found;
  for (const node::node_entry& entry : nodes.nodes())
    if (has(entry)) found.names.push_back(entry.name);
  return found;
}

node::expansion with_note(const std::string& key, const std::string& value,
                          const node::Nodelist* nodes) {
  if (nodes == nullptr) return {{}, no_node_file};
  node::expansion found = filtered(*nodes, [&](const node::node_entry& entry) {
    const std::string note = note_of(entry, key);
    return key == "role" ? has_role(note, value) : note == value;
  });
  if (found.names.empty())
    found.problem =
        "no node has the " + key + " '" + value + "'" +
        str::did_you_mean(
            value, key == "role" ? roles_of(*nodes) : subclusters_of(*nodes));
  return found;
}

std::vector<std::string> values_of(const node::Nodelist& nodes,
                                   const std::string& key, char separator) {
  std::set<std::string> values;
  for (const node::node_entry& entry : nodes.nodes())
    for (std::string& value : str::split(note_of(entry, key), separator, true))
      values.insert(std::move(value));
  return {values.begin(), values.end()};
}

}  // namespace

std::string note_of(const node::node_entry& entry, const std::string& key) {
  const auto found = entry.notes.find(key);
  return found == entry.notes.end() ? "" : found->second;
}

bool has_role(std::string_view roles, std::string_view role) {
  const std::vector<std::string> all = str::split(roles, ',');
  return std::find(all.begin(), all.end(), role) != all.end();
}

std::vector<std::string> roles_of(const node::Nodelist& nodes) {
  return values_of(nodes, "role", ',');
}

std::vector<std::string> subclusters_of(const node::Nodelist& nodes) {
  return values_of(nodes, "subcluster", '\n');
}

node::expansion nodes_of_group(std::string_view group,
                               const node::Nodelist* nodes,
                               const surroundings& outside) {
  const std::string name(group);
  if (name == "*") {
    if (nodes == nullptr)
      return {{}, "expected a node file (-n), which has all nodes"};
    return filtered(*nodes, [](const node::node_entry&) { return true; });
  }
  const std::size_t colon = name.find(':');
  const std::string source = name.substr(0, colon);
  const std::string rest = colon == name.npos ? "" : name.substr(colon + 1);
  if (colon != name.npos && (source == "role" || source == "subcluster"))
    return with_note(source, rest, nodes);
  return outside_group(name, "@role:..., @subcluster:..., @slurm:..., @*",
                       by(outside));
}

node::expansion idle_nodes(const surroundings& outside) {
  return slurm_idle_nodes(by(outside));
}

}  // namespace zelk::collect
