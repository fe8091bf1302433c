#include "src/collect/src/collect/node_groups.h"

#include <algorithm>
#include <set>
#include <vector>

#include "src/common/node/node_set.h"
#include "src/common/preproc/preproc.h"
#include "src/common/str/nearest_word.h"
#include "src/common/str/str.h"

namespace zelk::collect {

namespace {

constexpr char no_node_file[] =
    "expected a node file (-n), which has the roles";

std::string first_line(const std::string& text) {
  constexpr std::size_t most = 200;  // bytes of somebody else's complaint
  std::string line = str::strip(text);
  line = line.substr(0, std::min(line.find('\n'), most));
  for (char& c : line)
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
  return line;
}

// Runs a command that prints a node set.
node::expansion ask(const std::string& program, const std::string& command,
                    const surroundings& outside) {
  const command_answer answer = outside.run(command);
  if (!answer.ran) return {{}, "cannot run " + program + ": " + answer.errors};
  if (answer.exit_status == 127) return {{}, program + " is not installed"};
  if (answer.exit_status == 124) return {{}, program + " did not answer"};
  if (answer.exit_status != 0)
    return {{}, program + ": " + first_line(answer.errors)};
  node::node_set set = node::parse_node_set(answer.output);
  if (!set.problem.empty())
    return {{}, program + " printed no node set: " + set.problem};
  return {std::move(set.names), ""};
}

std::string sinfo_command(const std::string& condition) {
  return "sinfo --noheader --Node --format=%N " + condition;
}

// A partition that does not exist is an empty answer to sinfo.
node::expansion partition_nodes(const std::string& partition,
                                const surroundings& outside) {
  node::expansion found = ask(
      "sinfo", sinfo_command("--partition=" + preproc::shell_quoted(partition)),
      outside);
  if (found.problem.empty() && found.names.empty())
    return {{}, "Slurm has no nodes in a partition '" + partition + "'"};
  return found;
}

node::expansion cluset_group(const std::string& group,
                             const surroundings& outside) {
  node::expansion found =
      ask("cluset", "cluset --fold -- " + preproc::shell_quoted("@" + group),
          outside);
  if (found.problem == "cluset is not installed")
    return {{},
            "there is no group '@" + group +
                "' (known: @role:..., @subcluster:..., @slurm:..., @*; others "
                "by cluset, which is not installed)"};
  // It says so of groups that do not exist, too.
  if (found.problem.empty() && found.names.empty())
    found.problem = "cluset knows no nodes of a group '@" + group + "'";
  return found;
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
  if (colon != name.npos && source == "slurm")
    return partition_nodes(rest, outside);
  return cluset_group(name, outside);
}

node::expansion idle_nodes(const surroundings& outside) {
  return ask("sinfo", sinfo_command("--states=idle"), outside);
}

}  // namespace zelk::collect
