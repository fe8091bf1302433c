#include "src/check/input/asked_groups.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "src/common/preproc/preproc.h"
#include "src/common/util/cmd.h"
#include "src/common/util/errno_text.h"

namespace zelk::check {

namespace {

using std::chrono::seconds;

constexpr seconds longest_question{15};
constexpr std::chrono::milliseconds grace{500};  // to tidy up after that

program_answer answer_of(const std::vector<std::string>& words, seconds limit) {
  std::string line;
  for (const std::string& word : words)
    line += (line.empty() ? "" : " ") + preproc::shell_quoted(word);
  util::cmd child(line, limit.count());
  child.times.grace = grace;
  program_answer answer;
  if (child.popen3() != 0) {
    answer.errors = util::errno_text(errno);
    return answer;
  }
  answer.ran = true;
  answer.exit_status = child.exit_status;
  answer.output = child.standard_output.view();
  answer.errors = child.standard_error.view();
  return answer;
}

}  // namespace

seconds limit_of_a_question(seconds timeout) {
  if (timeout.count() == 0) return longest_question;
  return std::clamp(timeout - seconds(2), seconds(1), longest_question);
}

asked_groups::asked_groups(seconds limit)
    : run_([limit](const std::vector<std::string>& words) {
        return answer_of(words, limit);
      }) {}

const node::expansion& asked_groups::of(std::string_view group) {
  const auto known = known_.find(group);
  if (known != known_.end()) return known->second;
  node::expansion found = outside_group(
      group, "@role:R, @subcluster:S, @class:C, @slurm:P, @*", run_);
  return known_.emplace(group, std::move(found)).first->second;
}

}  // namespace zelk::check
