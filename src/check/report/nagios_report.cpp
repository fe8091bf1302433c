// The form nagios: one line for people, a bar, performance data, and below it a
// line a finding, as the guidelines for monitoring plugins have it.
//
// A bar in the text would begin the performance data, and monitors cut what is
// longer than 4 KiB or even 1 KiB: the first line is kept short, and what is
// left out is counted.

#include <fmt/format.h>

#include <algorithm>

#include "src/check/report/coverage_lines.h"
#include "src/check/report/forms.h"
#include "src/check/report/phrases.h"
#include "src/common/str/str.h"

namespace zelk::check {

namespace {

constexpr std::size_t most_first_line = 400;  // bytes, without the rest
constexpr std::size_t most_long_text = 3000;
constexpr std::size_t most_nodes = 80;
constexpr std::size_t most_text = 200;

const char* word_of(int status) {
  switch (status) {
    case status_fine:
      return "OK";
    case status_warning:
      return "WARNING";
    case status_critical:
      return "CRITICAL";
    default:
      return "UNKNOWN";
  }
}

std::string without_bars(const std::string& text) {
  return str::replace(text, "|", "/");
}

std::string brief_of(const finding& found) {
  return without_bars(excerpt_of(found.check, most_nodes) + " " +
                      excerpt_of(node_set_text(found.nodes), most_nodes));
}

std::string counts_text(const judgement& judged) {
  const verdict_counts& counts = judged.counts;
  std::string text = fmt::format("{} unhealthy, {} suspect, ", counts.unhealthy,
                                 counts.suspect);
  if (counts.unknown > 0) text += fmt::format("{} unknown, ", counts.unknown);
  if (!judged.accepted.empty())
    text += fmt::format("{} accepted, ", judged.accepted.size());
  return text +
         fmt::format("{} healthy of {} (run {}, {} old)", counts.healthy,
                     judged.nodes.size(), judged.run.number,
                     age_words(judged.now_usec - judged.run.started_usec));
}

// What is worth a pager's line.
std::vector<const finding*> worth_telling(const judgement& judged,
                                          const report_options& options) {
  std::vector<const finding*> shown = shown_findings(judged, options);
  std::erase_if(shown, [](const finding* found) {
    return found->level == severity::informational;
  });
  return shown;
}

std::string first_line(const judgement& judged, const report_options& options) {
  std::string line = fmt::format(
      "ZELKARA {} - {}",
      word_of(exit_status(judged, options.threshold, options.only_new)),
      counts_text(judged));
  const std::vector<const finding*> told = worth_telling(judged, options);
  for (std::size_t i = 0; i < told.size(); ++i) {
    const std::string brief = brief_of(*told[i]);
    if (line.size() + brief.size() > most_first_line)
      return line +
             fmt::format("{} {} more", i == 0 ? ":" : "; and", told.size() - i);
    line += (i == 0 ? ": " : "; ") + brief;
  }
  return line;
}

std::int64_t age_seconds(const judgement& judged) {
  const std::int64_t start = judged.run.started_usec;
  return start < judged.now_usec ? (judged.now_usec - start) / 1'000'000 : 0;
}

std::string performance_data(const judgement& judged) {
  const verdict_counts& counts = judged.counts;
  const std::size_t nodes = judged.nodes.size();
  const run_info& run = judged.run;
  const std::int64_t max_age = judged.with.max_age_usec / 1'000'000;
  return fmt::format(
      "unhealthy={};0;0;0;{} suspect={};0;;0;{} unknown={};;;0;{} "
      "missing={};;;0;{} age={}s;{};;0",
      counts.unhealthy, nodes, counts.suspect, nodes, counts.unknown, nodes,
      run.results_expected > run.results ? run.results_expected - run.results
                                         : 0,
      run.results_expected, age_seconds(judged),
      max_age > 0 ? fmt::format("{}", max_age) : "");
}

}  // namespace

void write_nagios(const judgement& judged, const report_options& options,
                  std::ostream& out) {
  out << first_line(judged, options) << " | " << performance_data(judged)
      << '\n';
  std::size_t written = 0;
  for (const finding* found : worth_telling(judged, options)) {
    const std::string line =
        fmt::format("{}: {}: {}", name_of(found->level), brief_of(*found),
                    without_bars(excerpt_of(found->message, most_text)));
    written += line.size() + 1;
    if (written > most_long_text) break;
    out << line << '\n';
  }
}

}  // namespace zelk::check
