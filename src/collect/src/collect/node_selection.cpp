#include "src/collect/src/collect/node_selection.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <sstream>
#include <unordered_set>
#include <utility>

#include "src/collect/src/collect/cluster_groups.h"
#include "src/collect/src/collect/node_groups.h"
#include "src/common/node/natural_order.h"
#include "src/common/node/node_set.h"
#include "src/common/node/tokenized_host.h"
#include "src/common/str/nearest_word.h"
#include "src/common/util/errno_text.h"

namespace zelk::collect {

namespace {

using name_list = std::vector<std::string>;
using name_set = std::unordered_set<std::string>;

struct selection_problem {
  std::string text;
};

[[noreturn]] void refuse(const std::string& text) {
  throw selection_problem{text};
}

std::string folded(const name_list& names) {
  return TokenizedHost::get_merged_hosts(names) + " (" +
         std::to_string(names.size()) + ")";
}

// Bytes; a node file that names as many nodes as are allowed takes less.
constexpr std::size_t longest_file = std::size_t{256} << 20;

std::string content_of(const std::string& path, const std::string& what) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored))
    refuse("cannot read " + what + " '" + path + "': it is a folder");
  std::ifstream in(path, std::ios::binary);
  if (!in)
    refuse("cannot read " + what + " '" + path + "' " +
           util::errno_text(errno));
  std::string text;
  char part[65536];
  while (in.read(part, sizeof part) || in.gcount() > 0) {
    text.append(part, static_cast<std::size_t>(in.gcount()));
    if (text.size() > longest_file) refuse(what + ": expected at most 256 MiB");
  }
  return text;
}

class selector {
 public:
  selector(const collect_settings& settings, const surroundings& outside)
      : settings_(settings), outside_(outside) {}

  node_selection select();

 private:
  void read_nodefile();
  name_list base_names();
  name_list names_of_job(bool& in_job);
  name_list names_of_machinefile(const std::string& path);
  name_list names_of_nodefile();
  name_list set_of(const char* option, const name_list& texts);
  node::node_set parsed(const std::string& text);
  void narrow(name_list& names);
  void keep_noted(name_list& names, const char* key, const name_list& values,
                  const name_list& known);
  void keep_idle(name_list& names);
  void pick(name_list& names);
  void check_names(const name_list& names) const;
  selected_node described(const std::string& name) const;
  std::string note(const std::string& name, const std::string& key) const;

  const collect_settings& settings_;
  const surroundings& outside_;
  std::optional<node::Nodelist> nodefile_;
  std::optional<std::string> standard_input_;
  node_selection made_;
};

void selector::read_nodefile() {
  const std::string& path = settings_.nodefile;
  if (path.empty()) return;
  const std::string text = content_of(path, "node file");
  std::istringstream names(text);
  nodefile_.emplace(path);
  nodefile_->parse(names);
  if (nodefile_->nodes().empty())
    refuse("expected a node in the node file '" + path + "'");
  std::istringstream notes(text);
  const name_list problems = node::note_problems(notes, path);
  if (!problems.empty()) refuse(problems.front());
}

std::string selector::note(const std::string& name,
                           const std::string& key) const {
  if (!nodefile_) return "";
  const node::node_entry* entry = nodefile_->find(name);
  return entry == nullptr ? "" : note_of(*entry, key);
}

node::node_set selector::parsed(const std::string& text) {
  return node::parse_node_set(text, [this](std::string_view group) {
    return nodes_of_group(group, nodefile_ ? &*nodefile_ : nullptr, outside_);
  });
}

// Returns the union of what was typed behind an option that may stand often.
name_list selector::set_of(const char* option, const name_list& texts) {
  name_list all;
  for (const std::string& typed : texts) {
    std::string text = typed;
    if (typed == "-") {
      if (!standard_input_)
        standard_input_ = std::string(
            std::istreambuf_iterator<char>(*outside_.standard_input), {});
      text = *standard_input_;
    }
    node::node_set set = parsed(text);
    if (!set.problem.empty())
      refuse(std::string(option) + ": " + set.problem + "\n" +
             node::marked(text, set.column));
    std::move(set.names.begin(), set.names.end(), std::back_inserter(all));
  }
  node::sort_naturally(all);
  return all;
}

// Without -w the node file means those that do the work, where it says who
// they are.
name_list selector::names_of_nodefile() {
  name_list workers, all;
  bool any_role = false;
  for (const node::node_entry& entry : nodefile_->nodes()) {
    const std::string roles = note_of(entry, "role");
    any_role = any_role || !roles.empty();
    if (has_role(roles, role::compute) || has_role(roles, role::enhanced))
      workers.push_back(entry.name);
    all.push_back(entry.name);
  }
  if (!any_role || !settings_.roles.empty()) return all;
  if (workers.empty())
    refuse("no node of '" + settings_.nodefile +
           "' has the role compute or enhanced; --role or -w names others");
  return workers;
}

// A batch system's list names a node once for each slot.
name_list selector::names_of_machinefile(const std::string& path) {
  std::istringstream in(content_of(path, "the job's node file"));
  node::Nodelist list(path);
  list.parse(in);
  name_list names;
  for (const node::node_entry& entry : list.nodes())
    names.push_back(entry.name);
  if (names.empty()) refuse("expected a node in '" + path + "' (PBS_NODEFILE)");
  return names;
}

name_list selector::names_of_job(bool& in_job) {
  name_list names;
  const std::string slurm = outside_.variable("SLURM_JOB_NODELIST");
  const std::string pbs = outside_.variable("PBS_NODEFILE");
  in_job = !slurm.empty() || !pbs.empty();
  if (!slurm.empty()) {
    node::node_set set = node::parse_node_set(slurm);
    if (!set.problem.empty())
      refuse("SLURM_JOB_NODELIST: " + set.problem + "\n" +
             node::marked(slurm, set.column));
    names = std::move(set.names);
  } else if (!pbs.empty()) {
    names = names_of_machinefile(pbs);
  }
  if (in_job)
    made_.remarks.push_back(std::string("using the nodes of this ") +
                            (slurm.empty() ? "PBS job (PBS_NODEFILE)"
                                           : "Slurm job (SLURM_JOB_NODELIST)") +
                            ": " + folded(names));
  return names;
}

name_list selector::base_names() {
  if (!settings_.nodes.empty()) return set_of("-w", settings_.nodes);
  const auto origin = settings_.origins.find("nodefile");
  const bool typed =
      origin != settings_.origins.end() && origin->second == "--nodefile";
  if (typed) return names_of_nodefile();
  bool in_job = false;
  name_list names = names_of_job(in_job);
  if (in_job) return names;
  if (nodefile_) return names_of_nodefile();
  made_.only_this_machine = true;
  return {settings_.own_name.empty() ? outside_.host_name()
                                     : settings_.own_name};
}

void selector::keep_noted(name_list& names, const char* key,
                          const name_list& values, const name_list& known) {
  if (values.empty()) return;
  for (const std::string& value : values)
    if (std::find(known.begin(), known.end(), value) == known.end())
      refuse("no node of '" + settings_.nodefile + "' has the " + key + " '" +
             value + "'" + str::did_you_mean(value, known));
  std::erase_if(names, [&](const std::string& name) {
    const std::string noted = note(name, key);
    return std::none_of(
        values.begin(), values.end(), [&](const std::string& value) {
          return std::string_view(key) == "role" ? has_role(noted, value)
                                                 : noted == value;
        });
  });
}

void selector::keep_idle(name_list& names) {
  if (!settings_.idle) return;
  node::expansion idle = idle_nodes(outside_);
  if (!idle.problem.empty()) refuse("--idle: " + idle.problem);
  const name_set free(idle.names.begin(), idle.names.end());
  std::erase_if(names, [&](const std::string& name) {
    if (free.contains(name)) return false;
    made_.busy.push_back(name);
    return true;
  });
  if (names.empty() && !made_.busy.empty())
    refuse("--idle: no node is idle of " + folded(made_.busy));
}

void selector::pick(name_list& names) {
  if (!settings_.pick || *settings_.pick >= names.size()) return;
  made_.seed = settings_.seed ? *settings_.seed : std::random_device()();
  name_list chosen = names;
  shuffle(chosen, *made_.seed);
  const name_set kept(
      chosen.begin(),
      chosen.begin() + static_cast<std::ptrdiff_t>(*settings_.pick));
  std::erase_if(names,
                [&](const std::string& name) { return !kept.contains(name); });
  made_.remarks.push_back("picked " + folded(names) + " with --seed " +
                          std::to_string(*made_.seed));
}

void selector::narrow(name_list& names) {
  if (!settings_.and_nodes.empty()) {
    const name_list both = set_of("--and", settings_.and_nodes);
    const name_set kept(both.begin(), both.end());
    std::erase_if(names,
                  [&](const std::string& n) { return !kept.contains(n); });
  }
  if (!settings_.excluded.empty()) {
    const name_list out = set_of("-x", settings_.excluded);
    const name_set dropped(out.begin(), out.end());
    std::erase_if(names,
                  [&](const std::string& n) { return dropped.contains(n); });
  }
  if (!nodefile_ && !(settings_.roles.empty() && settings_.subclusters.empty()))
    refuse("--role and --subcluster need a node file (-n), which has them");
  if (nodefile_) {
    keep_noted(names, "role", settings_.roles, roles_of(*nodefile_));
    keep_noted(names, "subcluster", settings_.subclusters,
               subclusters_of(*nodefile_));
  }
  if (names.empty()) return;
  keep_idle(names);
  pick(names);
}

void selector::check_names(const name_list& names) const {
  if (names.empty()) refuse("no node matches the selection");
  for (const std::string& name : names) {
    const std::string problem = node::node_name_problem(name);
    if (!problem.empty())
      refuse(problem + "; found '" + name.substr(0, 80) + "'");
  }
}

selected_node selector::described(const std::string& name) const {
  return {name, note(name, "role"), note(name, "subcluster")};
}

node_selection selector::select() {
  read_nodefile();
  name_list names = base_names();
  narrow(names);
  check_names(names);
  for (const std::string& name : names)
    made_.nodes.push_back(described(name));
  return std::move(made_);
}

}  // namespace

node_selection select_nodes(const collect_settings& settings,
                            const surroundings& outside) {
  try {
    return selector(settings, outside).select();
  } catch (const selection_problem& problem) {
    node_selection failed;
    failed.problem = problem.text;
    return failed;
  }
}

}  // namespace zelk::collect
