// The form md: the verdict, a table of findings and what to try, for a ticket.

#include <fmt/format.h>

#include <algorithm>

#include "src/check/report/coverage_lines.h"
#include "src/check/report/finding_list.h"
#include "src/check/report/forms.h"
#include "src/check/report/phrases.h"
#include "src/common/str/str.h"
#include "src/common/text/time_text.h"

namespace zelk::check {

namespace {

constexpr std::size_t most_text = 300;  // characters

// Text that shows as itself. Entities and not backslashes: within a table some
// readers take a backslash off twice.
std::string markdown_text(const std::string& text) {
  constexpr std::string_view special = "\\`*_[]<>&|~#!$";
  std::string escaped;
  for (const char c : excerpt_of(text, most_text))
    escaped += special.find(c) == std::string_view::npos
                   ? std::string(1, c)
                   : fmt::format("&#{};", static_cast<int>(c));
  // Some readers make links of what only looks like one.
  return str::replace(escaped, "://", ":&#47;/");
}

// A set of plain names in a code span: to be copied. Others as text.
std::string markdown_nodes(const std::vector<std::string>& nodes) {
  const std::string names = node_set_text(nodes);
  const bool plain =
      names.find_first_of("`|\\<>&'") == std::string::npos && !names.empty();
  return fmt::format("{} ({})",
                     plain ? "`" + names + "`" : markdown_text(names),
                     nodes.size());
}

void write_row(const judgement& judged, const finding& found,
               std::ostream& out) {
  std::string state = state_text(judged, found);
  const std::string since = since_text(judged, found);
  if (!since.empty()) state += (state.empty() ? "" : " ") + since;
  out << fmt::format(
      "| {} | {} | {} | {} | {} |\n", name_of(found.level),
      markdown_text(found.check), markdown_nodes(found.nodes),
      markdown_text(found.message.empty() ? found.title : found.message),
      state);
}

void write_advice(const std::vector<const finding*>& shown, std::ostream& out) {
  bool first = true;
  for (const finding* found : shown)
    for (const std::string& advice : found->advice) {
      out << (first ? "\nWhat to try:\n\n" : "");
      first = false;
      out << fmt::format("- {}: {}\n", markdown_text(found->check),
                         markdown_text(advice));
    }
}

std::string counts_text(const judgement& judged) {
  const verdict_counts& counts = judged.counts;
  std::string text = fmt::format("{} unhealthy, {} suspect, ", counts.unhealthy,
                                 counts.suspect);
  if (counts.unknown > 0) text += fmt::format("{} unknown, ", counts.unknown);
  return text + fmt::format("{} healthy of {} nodes", counts.healthy,
                            judged.nodes.size());
}

void write_run(const judgement& judged, std::ostream& out) {
  out << fmt::format("## {}: {}\n\nRun {}", name_of(judged.overall),
                     counts_text(judged), judged.run.number);
  if (!judged.run.label.empty())
    out << fmt::format(" \"{}\"", markdown_text(judged.run.label));
  if (const auto start = machine_time(judged.run.started_usec))
    out << ", collected " << *start;
  if (judged.baseline)
    out << fmt::format(", against run {}", judged.baseline->number);
  out << ".\n";
}

}  // namespace

void write_markdown(const judgement& judged, const report_options& options,
                    std::ostream& out) {
  const std::vector<const finding*> shown = shown_findings(judged, options);
  write_run(judged, out);
  if (shown.empty()) {
    out << "\nNo findings.\n";
  } else {
    out << "\n| severity | check | nodes | evidence | state |\n"
           "|---|---|---|---|---|\n";
    for (const finding* found : shown)
      write_row(judged, *found, out);
    write_advice(shown, out);
  }
  for (const finding& found : judged.fixed)
    out << fmt::format("\nFixed: {} on {}\n", markdown_text(found.check),
                       markdown_nodes(found.nodes));
  for (const finding& found : judged.accepted)
    out << fmt::format("\nAccepted: {} on {}: {}\n", markdown_text(found.check),
                       markdown_nodes(found.nodes),
                       markdown_text(acceptance_words(found)));
  out << "\nNot judged: " << markdown_text(not_judged_text(judged)) << ".\n";
}

}  // namespace zelk::check
