#include "src/collect/src/collect/slurm_nodes.h"

#include <array>
#include <utility>

#include "src/common/str/str.h"

namespace zelk::collect {

namespace {

// Behind a state; see sinfo(1).
constexpr char not_responding = '*';

// States in which a job that needs the node would wait for ever.
constexpr std::array unusable{
    "down",     "drained",    "draining",    "drain", "fail",
    "failing",  "unknown",    "future",      "inval", "maint",
    "perfctrs", "power_down", "powered_down"};

// What an allocation has, it may still use while it is being drained.
constexpr std::array unusable_in_a_job{"down", "fail", "unknown",
                                       "powered_down"};

template <typename List>
bool has(const List& list, std::string_view word) {
  for (const std::string_view one : list) {
    if (one == word) return true;
  }
  return false;
}

failure problem_of(const std::string& node, ending how,
                   const std::string& what) {
  return {how, "slurm: " + node + " " + what, "slurm: the node " + what};
}

}  // namespace

std::vector<std::string> slurm_nodes::question() {
  return {"sinfo", "--noheader", "--Node", "--format=%N %T"};
}

slurm_nodes::slurm_nodes(std::string_view answer) {
  for (const std::string& line : str::split(answer, '\n', true)) {
    const std::vector<std::string> words = str::split(line, ' ', true);
    if (words.size() == 2) states_[words[0]] = printable_line(words[1]);
  }
}

void slurm_nodes::restrict_to(const std::vector<std::string>& names,
                              std::string job) {
  allowed_.emplace();
  for (const std::string& name : names)
    allowed_->emplace(name, true);
  job_ = std::move(job);
}

std::optional<failure> slurm_nodes::problem(const std::string& node) const {
  if (allowed_ && !allowed_->contains(node)) {
    return problem_of(node, ending::launcher_failed,
                      "is not in the allocation of job " + job_);
  }
  const auto found = states_.find(node);
  if (found == states_.end())
    return problem_of(node, ending::unknown_host, "is no node of this cluster");
  const std::string& state = found->second;
  if (state.ends_with(not_responding))
    return problem_of(node, ending::no_route,
                      "does not respond (" + state + ")");
  const std::string word =
      state.substr(0, state.find_first_not_of("abcdefghijklmnopqrstuvwxyz_"));
  const bool out =
      allowed_ ? has(unusable_in_a_job, word) : has(unusable, word);
  if (out) return problem_of(node, ending::launcher_failed, "is " + state);
  return std::nullopt;
}

}  // namespace zelk::collect
