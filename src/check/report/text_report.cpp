// The text form: one screen that tells which nodes are wrong, why, since when
// and what to do, in this order: the verdict, the findings, what is new, what
// was not judged, the commands to go on with.

#include <fmt/format.h>

#include <algorithm>

#include "src/check/report/coverage_lines.h"
#include "src/check/report/finding_list.h"
#include "src/check/report/forms.h"
#include "src/check/report/headline.h"
#include "src/check/report/next_commands.h"
#include "src/check/report/phrases.h"
#include "src/check/report/screen_report.h"
#include "src/common/text/size_text.h"

namespace zelk::check {

namespace {

std::string counted(std::size_t count, const char* what) {
  return text::counted(static_cast<std::int64_t>(count), what);
}

void write_heading(const judgement& judged, std::ostream& out) {
  out << run_line(judged) << '\n';
  if (judged.baseline) out << baseline_line(judged) << '\n';
  for (const std::string& line : restrictions(judged))
    out << line << '\n';
  out << '\n';
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
  if (options.height != 0 && options.group_by == report_grouping::check) {
    write_screen(judged, options, out);
    return;
  }
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
  out << verdict_line(judged, how) << "\n\n";
  write_sections(sections, layout, how, out);
  write_hidden(judged, options, out);
  out << '\n';
  write_since_baseline(judged, options, out);
  write_not_judged(judged, gaps, layout, out);
  write_next(next_commands(judged, options, false),
             names_left_out(judged, options), out);
}

}  // namespace zelk::check
