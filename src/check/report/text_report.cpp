// The text form: one screen that tells which nodes are wrong, why, since when
// and what to do, in this order: the verdict, the findings, what is new, what
// was not judged, the commands to go on with.

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "src/check/report/coverage_lines.h"
#include "src/check/report/finding_list.h"
#include "src/check/report/forms.h"
#include "src/check/report/phrases.h"
#include "src/common/str/str.h"
#include "src/common/text/size_text.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

constexpr std::size_t most_label = 60;  // characters

std::string counted(std::size_t count, const char* what) {
  return text::counted(static_cast<std::int64_t>(count), what);
}

// "2025-11-21 02:00..02:05", or with the day of the end when it is another.
std::string span_text(const run_info& run) {
  const std::string start = text::local_time(run.started_usec);
  if (run.ended_usec == 0) return "since " + start + ", still running";
  const std::string end = text::local_time(run.ended_usec);
  const bool one_day = start.substr(0, 10) == end.substr(0, 10);
  return start + ".." + (one_day && end.size() > 11 ? end.substr(11) : end);
}

std::string run_line(const judgement& judged) {
  const run_info& run = judged.run;
  std::string line = fmt::format("Run {}", run.number);
  if (!run.label.empty())
    line += fmt::format(" \"{}\"", excerpt_of(run.label, most_label));
  line += fmt::format(", collected {} ({} ago), {} in {}", span_text(run),
                      age_words(judged.now_usec - run.started_usec),
                      counted(judged.nodes.size(), "node"),
                      judged.classes.size() == 1
                          ? "1 class"
                          : fmt::format("{} classes", judged.classes.size()));
  if (run.state == "interrupted") line += ", interrupted";
  return line;
}

void write_heading(const judgement& judged, std::ostream& out) {
  out << run_line(judged) << '\n';
  if (judged.baseline)
    out << fmt::format(
        "Baseline: run {} ({})\n", judged.baseline->number,
        text::local_time(judged.baseline->started_usec).substr(0, 10));
  out << '\n';
}

void write_verdict(const judgement& judged, look how, std::ostream& out) {
  const verdict_counts& counts = judged.counts;
  std::string line =
      how.painted(ink_of(judged.overall), str::upper(name_of(judged.overall)));
  for (const auto& [what, count] :
       {std::pair(verdict::unhealthy, counts.unhealthy),
        std::pair(verdict::suspect, counts.suspect),
        std::pair(verdict::unknown, counts.unknown),
        std::pair(verdict::healthy, counts.healthy)})
    if (count > 0) line += fmt::format("   {} {}", count, name_of(what));
  out << line
      << fmt::format("   of {}\n", counted(judged.nodes.size(), "node"));
}

void write_sections(const std::vector<row_section>& sections,
                    const row_layout& layout, look how, std::ostream& out) {
  for (const row_section& section : sections) {
    out << how.painted(section.colour, section.head) << '\n';
    layout.write(section.rows, out);
    if (section.left_out > 0)
      out << fmt::format("   and {} more (--limit-rows 0 shows all)\n",
                         section.left_out);
  }
}

// Which options keep findings from being shown.
std::string filter_text(const report_options& options) {
  std::string text = options.only_new ? "--only-new" : "";
  if (options.min_severity)
    text += fmt::format("{}--min-severity {}", text.empty() ? "" : " ",
                        name_of(*options.min_severity));
  return text;
}

void write_hidden(const judgement& judged, const report_options& options,
                  std::ostream& out) {
  const std::size_t shown = shown_findings(judged, options).size();
  if (judged.findings.empty())
    out << "No findings.\n";
  else if (shown < judged.findings.size())
    out << fmt::format("{} not shown ({})\n",
                       counted(judged.findings.size() - shown, "finding"),
                       filter_text(options));
}

// At most this many lines; the forms for programs have all.
constexpr std::size_t most_gaps = 8;

void write_not_judged(const judgement& judged,
                      const std::vector<report_row>& rows,
                      const row_layout& layout, std::ostream& out) {
  out << "\nNot judged:  " << not_judged_text(judged) << '\n';
  layout.write(rows, out);
  const std::size_t all = not_judged_rows(judged).size();
  if (rows.size() < all)
    out << fmt::format("   and {} more (--limit-rows 0 shows all)\n",
                       all - rows.size());
}

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

struct next_command {
  std::string line, why;
};

std::vector<next_command> next_commands(const judgement& judged,
                                        const report_options& options) {
  const std::vector<const finding*> shown = shown_findings(judged, options);
  const std::string program =
      "zelk-check" + (options.same_run.empty()
                          ? ""
                          : " " + text::visible_text(options.same_run));
  std::vector<next_command> commands;
  if (const finding* found = to_explain(shown))
    commands.push_back(
        {fmt::format("{} --explain {}", program,
                     shell_word(text::visible_text(found->check))),
         "what it means and how it is computed"});
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
  return commands;
}

void write_next(const std::vector<next_command>& commands, std::size_t odd,
                std::ostream& out) {
  if (commands.empty() && odd == 0) return;
  std::size_t width = 0;
  for (const next_command& each : commands)
    width = std::max(width, display_width(each.line));
  out << "\nNext:\n";
  for (const next_command& each : commands)
    out << "  " << padded(each.line, width) << "   " << each.why << '\n';
  if (odd > 0) out << "  " << left_out_words(odd) << '\n';
}

}  // namespace

void write_text(const judgement& judged, const report_options& options,
                std::ostream& out) {
  const look how = {options.colour, options.utf8};
  const std::vector<row_section> sections = finding_sections(judged, options);
  std::vector<report_row> gaps = not_judged_rows(judged);
  if (options.limit_rows != 0 && gaps.size() > most_gaps)
    gaps.resize(most_gaps);
  row_layout layout(how, options.width);
  for (const row_section& section : sections)
    layout.measure(section.rows);
  layout.measure(gaps);

  write_heading(judged, out);
  write_verdict(judged, how, out);
  out << '\n';
  write_sections(sections, layout, how, out);
  write_hidden(judged, options, out);
  out << '\n';
  write_since_baseline(judged, options, out);
  write_not_judged(judged, gaps, layout, out);
  write_next(next_commands(judged, options), names_left_out(judged, options),
             out);
}

}  // namespace zelk::check
