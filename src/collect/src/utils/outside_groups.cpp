#include "src/collect/src/utils/outside_groups.h"

#include <algorithm>
#include <utility>

#include "src/common/node/node_set.h"
#include "src/common/str/str.h"

namespace zelk {

namespace {

using word_list = std::vector<std::string>;

constexpr int status_too_late = 124;
constexpr int status_not_found = 127;

constexpr std::string_view partitions = "slurm:";

std::string first_line(const std::string& text) {
  constexpr std::size_t most = 200;  // bytes of somebody else's complaint
  std::string line = str::strip(text);
  line = line.substr(0, std::min(line.find('\n'), most));
  for (char& c : line)
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
  return line;
}

std::string complaint_of(const std::string& program,
                         const program_answer& answer) {
  const std::string line = first_line(answer.errors);
  return program + ": " +
         (line.empty()
              ? "exit status " + std::to_string(answer.exit_status) + ", silent"
              : line);
}

node::expansion nodes_in(const std::string& program,
                         const program_answer& answer) {
  if (!answer.ran) return {{}, "cannot run " + program + ": " + answer.errors};
  if (answer.exit_status == status_not_found)
    return {{}, program + " is not installed"};
  if (answer.exit_status == status_too_late)
    return {{}, program + " did not answer"};
  if (answer.exit_status != 0) return {{}, complaint_of(program, answer)};
  node::node_set set = node::parse_node_set(answer.output);
  if (!set.problem.empty())
    return {{}, program + " printed no node set: " + set.problem};
  return {std::move(set.names), ""};
}

word_list sinfo_words(std::string condition) {
  return {"sinfo", "--noheader", "--Node", "--format=%N", std::move(condition)};
}

// A partition that does not exist is an empty answer to sinfo, and no name at
// all means any.
node::expansion partition_nodes(const std::string& partition,
                                const program_runner& run) {
  if (partition.empty()) return {{}, "expected a partition behind '@slurm:'"};
  node::expansion found =
      nodes_in("sinfo", run(sinfo_words("--partition=" + partition)));
  if (found.problem.empty() && found.names.empty())
    found.problem = "Slurm has no nodes in a partition '" + partition + "'";
  return found;
}

node::expansion cluset_nodes(const std::string& group, const std::string& known,
                             const program_runner& run) {
  const program_answer answer = run({"cluset", "--fold", "--", "@" + group});
  if (answer.ran && answer.exit_status == status_not_found)
    return {{},
            "there is no group '@" + group + "' (known: " + known +
                "; others by cluset, which is not installed)"};
  node::expansion found = nodes_in("cluset", answer);
  // It says so of groups that do not exist, too.
  if (found.problem.empty() && found.names.empty())
    found.problem = "cluset knows no nodes of a group '@" + group + "'";
  return found;
}

}  // namespace

node::expansion outside_group(std::string_view group, const std::string& known,
                              const program_runner& run) {
  if (group.starts_with(partitions))
    return partition_nodes(std::string(group.substr(partitions.size())), run);
  return cluset_nodes(std::string(group), known, run);
}

node::expansion slurm_idle_nodes(const program_runner& run) {
  return nodes_in("sinfo", run(sinfo_words("--states=idle")));
}

}  // namespace zelk
