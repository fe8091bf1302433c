#include "src/check/report/headline.h"

#include <fmt/format.h>

#include <cstdint>
#include <utility>

#include "src/check/report/phrases.h"
#include "src/check/report/status.h"
#include "src/common/str/str.h"
#include "src/common/text/size_text.h"
#include "src/common/text/time_text.h"

namespace zelk::check {

namespace {

constexpr std::size_t most_label = 60;  // characters
constexpr std::size_t most_checks = 200;

bool is_incomplete(const judgement& judged) {
  const bool is_calm =
      judged.overall == verdict::healthy || judged.overall == verdict::unknown;
  return is_calm && anything_judged(judged) &&
         (judged.counts.unknown > 0 || goes_on(judged.run));
}

// "2025-11-21 02:00..02:05", or with the day of the end when it is another.
std::string span_text(const run_info& run) {
  const std::string start = text::local_time(run.started_usec);
  if (run.ended_usec == 0) return "since " + start + ", still running";
  const std::string end = text::local_time(run.ended_usec);
  const bool one_day = start.substr(0, 10) == end.substr(0, 10);
  return start + ".." + (one_day && end.size() > 11 ? end.substr(11) : end);
}

std::string listed(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words)
    text += (text.empty() ? "" : " ") + word;
  return excerpt_of(text, most_checks);
}

}  // namespace

std::string headline_word(const judgement& judged) {
  if (is_incomplete(judged)) return "INCOMPLETE";
  if (judged.overall == verdict::healthy && !anything_judged(judged))
    return str::upper(name_of(verdict::unknown));
  return str::upper(name_of(judged.overall));
}

ink headline_ink(const judgement& judged) {
  return is_incomplete(judged) ? ink::warn : ink_of(judged.overall);
}

std::string verdict_line(const judgement& judged, look how) {
  const verdict_counts& counts = judged.counts;
  std::string line = how.painted(headline_ink(judged), headline_word(judged));
  for (const auto& [what, count] :
       {std::pair(verdict::unhealthy, counts.unhealthy),
        std::pair(verdict::suspect, counts.suspect),
        std::pair(verdict::unknown, counts.unknown),
        std::pair(verdict::healthy, counts.healthy)})
    if (count > 0) line += fmt::format("   {} {}", count, name_of(what));
  return line + "   of " +
         text::counted(static_cast<std::int64_t>(judged.nodes.size()), "node");
}

std::string run_line(const judgement& judged) {
  const run_info& run = judged.run;
  std::string line = fmt::format("Run {}", run.number);
  if (!run.label.empty())
    line += fmt::format(" \"{}\"", excerpt_of(run.label, most_label));
  line += fmt::format(
      ", collected {} ({} ago), {} in {}", span_text(run),
      age_words(judged.now_usec - run.started_usec),
      text::counted(static_cast<std::int64_t>(judged.nodes.size()), "node"),
      judged.classes.size() == 1
          ? "1 class"
          : fmt::format("{} classes", judged.classes.size()));
  if (run.state == "interrupted") line += ", interrupted";
  return line;
}

std::string baseline_line(const judgement& judged) {
  if (!judged.baseline) return "";
  std::string line = fmt::format(
      "Baseline: run {} ({})", judged.baseline->number,
      text::local_time(judged.baseline->started_usec).substr(0, 10));
  if (judged.baseline->started_usec > judged.run.started_usec)
    line += ", which is later than the run that is judged";
  return line;
}

std::vector<std::string> restrictions(const judgement& judged) {
  std::vector<std::string> lines;
  if (goes_on(judged.run))
    lines.push_back(fmt::format(
        "The run goes on: {} of {} results have come, the others may still",
        judged.run.results, judged.run.results_expected));
  if (judged.newer_running != 0)
    lines.push_back(fmt::format("A newer run, {}, goes on and is not judged",
                                judged.newer_running));
  if (!judged.with.checks.empty())
    lines.push_back("Only these checks were looked at: " +
                    listed(judged.with.checks));
  if (!judged.with.skipped.empty())
    lines.push_back("Left out: " + listed(judged.with.skipped));
  return lines;
}

}  // namespace zelk::check
