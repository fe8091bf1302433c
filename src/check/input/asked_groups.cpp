#include "src/check/input/asked_groups.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "src/common/preproc/preproc.h"

namespace zelk::check {

namespace {

using std::chrono::seconds;
using clock = std::chrono::steady_clock;

constexpr seconds longest_question{15};
constexpr std::chrono::milliseconds grace{500};  // to tidy up after that
constexpr int status_too_late = 124;             // as program_answer has it

program_answer answer_of(const std::vector<std::string>& words, seconds limit) {
  if (limit < seconds(1)) return {true, status_too_late, "", ""};
  std::string line;
  for (const std::string& word : words)
    line += (line.empty() ? "" : " ") + preproc::shell_quoted(word);
  return util::ask_program(line, limit, grace);
}

}  // namespace

seconds limit_of_questions(seconds timeout) {
  if (timeout.count() == 0) return std::chrono::hours(24);
  return std::max(timeout - seconds(2), seconds(0));
}

asked_groups::asked_groups(seconds all)
    : run_([end = clock::now() + all](const std::vector<std::string>& words) {
        const auto left =
            std::chrono::duration_cast<seconds>(end - clock::now());
        return answer_of(words, std::min(left, longest_question));
      }) {}

const node::expansion& asked_groups::of(std::string_view group) {
  const auto known = known_.find(group);
  if (known != known_.end()) return known->second;
  node::expansion found = outside_group(
      group, "@role:R, @subcluster:S, @class:C, @slurm:P, @*", run_);
  return known_.emplace(group, std::move(found)).first->second;
}

}  // namespace zelk::check
