#include "src/check/report/next_commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "src/check/report/phrases.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

bool has_z(const finding& found) {
  return !found.values.empty() && found.values.front().z.has_value();
}

// What is worth the first explanation: statistics rather than a plain value.
const finding* to_explain(const std::vector<const finding*>& shown) {
  for (const finding* found : shown)
    if (has_z(*found)) return found;
  for (const finding* found : shown)
    if (!is_gap(*found)) return found;
  return nullptr;
}

// The first that a command can take; "" when there is none.
std::string node_to_show(const std::vector<const finding*>& shown) {
  for (const finding* found : shown)
    if (!is_gap(*found) && !is_change(*found))
      for (const std::string& name : found->nodes)
        if (fits_a_command(name)) return name;
  return "";
}

// What did not come, or cannot be used, is asked for again. An output that
// nobody can read would be the same again.
void add_collecting(const judgement& judged,
                    const std::vector<const finding*>& shown,
                    const report_options& options,
                    std::vector<next_command>& commands) {
  constexpr std::array<std::string_view, 5> repeatable = {
      "no-answer", "timeout", "failed", "incomplete", "stale"};
  const auto gap =
      std::find_if(shown.begin(), shown.end(), [&](const finding* found) {
        return std::find(repeatable.begin(), repeatable.end(), found->check) !=
               repeatable.end();
      });
  if (gap == shown.end()) return;
  const std::string nodes = command_set((*gap)->nodes);
  if (nodes.empty()) return;
  // What the run has, however it ended, it does not ask for again.
  const bool is_missing = (*gap)->check == "no-answer";
  const bool is_old = (*gap)->check == "stale";
  std::string line = "zelk-collect ";
  if (!options.same_datastore.empty()) line += options.same_datastore + " ";
  if (!is_old && fits_a_command((*gap)->provider))
    line += (*gap)->provider + " ";
  if (is_missing) line += fmt::format("--into {} ", judged.run.number);
  commands.push_back(
      {line + "-w " + shell_word(nodes),
       is_missing ? "ask again what did not come" : "measure again"});
}

}  // namespace

std::vector<next_command> next_commands(const judgement& judged,
                                        const report_options& options,
                                        bool screen) {
  const std::vector<const finding*> shown = shown_findings(judged, options);
  const std::string program =
      "zelk-check" + (options.same_run.empty()
                          ? ""
                          : " " + text::visible_text(options.same_run));
  std::vector<next_command> commands;
  if (screen && !shown.empty())
    commands.push_back(
        {program + " | less -S", "everything, with what to try"});
  if (const finding* found = to_explain(shown))
    commands.push_back(
        {fmt::format("{} --explain {}", program,
                     shell_word(text::visible_text(found->check))),
         screen ? "what it means" : "what it means and how it is computed"});
  if (const std::string name = node_to_show(shown); !name.empty())
    commands.push_back({fmt::format("{} --show node {}", program, name),
                        "all that is known of it"});
  const bool critical =
      std::any_of(shown.begin(), shown.end(), [](const finding* found) {
        return found->level == severity::critical && !is_gap(*found);
      });
  if (critical)
    commands.push_back({program + " --drain-commands --min-severity critical",
                        "printed, not run"});
  add_collecting(judged, shown, options, commands);
  return commands;
}

}  // namespace zelk::check
