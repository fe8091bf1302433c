#include "src/check/report/screen_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <string>
#include <vector>

#include "src/check/report/coverage_lines.h"
#include "src/check/report/display.h"
#include "src/check/report/folded_findings.h"
#include "src/check/report/headline.h"
#include "src/check/report/next_commands.h"
#include "src/check/report/phrases.h"
#include "src/common/str/str.h"

namespace zelk::check {

namespace {

using lines = std::vector<std::string>;

constexpr std::size_t least_height = 24, usual_width = 80;
constexpr std::size_t least_rows = 3;  // of findings, whatever else there is

// Of what else there is, where there is room for it, and on a low screen.
struct amounts {
  std::size_t gaps;      // rows of what was not judged
  std::size_t since;     // lines about the baseline
  std::size_t commands;  // to go on with
  std::size_t more;      // lines that name what does not fit, of each severity
};
constexpr amounts usual = {2, 3, 9, 3}, busy = {1, 1, 9, 2}, low = {0, 1, 2, 1};
constexpr std::size_t many_checks = 15;
constexpr std::size_t low_height = 32;

constexpr std::size_t most_name = 24, most_nodes = 20, state_columns = 3;

// At most `width` columns of a text that is visible already, cut at a blank.
std::string cut(const std::string& text, std::size_t width, const look& how) {
  if (display_width(text) <= width) return text;
  const std::string dots = how.utf8 ? "\u2026" : "..";
  const lines parts = wrapped(text, width - display_width(dots));
  return parts.front() + dots;
}

// What follows the first line is indented.
void add_wrapped(lines& to, const std::string& text, std::size_t width) {
  to.push_back(wrapped(text, width).front());
  const std::size_t rest = text.find_first_not_of(' ', to.back().size());
  if (rest == std::string::npos) return;
  for (const std::string& part : wrapped(text.substr(rest), width - 2))
    to.push_back("  " + part);
}

class screen {
 public:
  screen(const judgement& judged, const report_options& options)
      : judged_(judged),
        options_(options),
        how_{options.colour, options.utf8},
        width_(options.width == 0 ? usual_width : options.width),
        height_(std::max(options.height, least_height)),
        findings_(folded_findings(judged, options)),
        most_(height_ < low_height             ? low
              : findings_.size() > many_checks ? busy
                                               : usual) {}

  void write(std::ostream& out) const;

 private:
  lines head() const;
  lines since() const;
  lines gaps() const;
  lines next() const;
  lines rows(std::size_t room) const;
  std::string row(const folded_finding& of, std::size_t name,
                  std::size_t nodes) const;
  lines more(std::size_t shown) const;
  std::string gap_line(const report_row& row) const;

  const judgement& judged_;
  const report_options& options_;
  look how_;
  std::size_t width_, height_;
  std::vector<folded_finding> findings_;
  amounts most_;
};

lines screen::head() const {
  lines head;
  add_wrapped(head, run_line(judged_), width_);
  if (judged_.baseline) add_wrapped(head, baseline_line(judged_), width_);
  for (const std::string& line : restrictions(judged_))
    add_wrapped(head, line, width_);
  head.emplace_back();
  head.push_back(verdict_line(judged_, how_));
  return head;
}

lines screen::since() const {
  report_options plain = options_;
  plain.colour = false;
  plain.limit_rows = 1;  // changes are counted
  std::ostringstream out;
  write_since_baseline(judged_, plain, out);
  lines since = {""};
  for (const std::string& line : str::split(out.str(), '\n'))
    if (!line.empty()) since.push_back(cut(line, width_, how_));
  if (since.size() > most_.since + 1) since.resize(most_.since + 1);
  return since;
}

std::string screen::gap_line(const report_row& row) const {
  return cut(
      fmt::format("  {}: {} ({}): {}", row.name,
                  cut(row.nodes, most_nodes, how_), row.count, row.message),
      width_, how_);
}

lines screen::gaps() const {
  lines gaps;
  add_wrapped(gaps, "Not judged:  " + not_judged_text(judged_), width_);
  const std::vector<report_row> rows = not_judged_rows(judged_);
  // One more is no longer than the line that counts it.
  const std::size_t shown =
      rows.size() <= most_.gaps + 1 ? rows.size() : most_.gaps;
  for (std::size_t i = 0; i < shown; ++i)
    gaps.push_back(gap_line(rows[i]));
  if (shown < rows.size())
    gaps.push_back(fmt::format("  and {} more", rows.size() - shown));
  return gaps;
}

lines screen::next() const {
  std::vector<next_command> commands = next_commands(judged_, options_, true);
  commands.resize(std::min(commands.size(), most_.commands));
  if (commands.empty()) return {};
  const auto both = [](const next_command& each, std::size_t column) {
    return "  " + padded(each.line, column) + "   " + each.why;
  };
  // Commands that are too long for their reason do not move those of others.
  std::size_t column = 0;
  for (const next_command& each : commands)
    if (display_width(both(each, 0)) <= width_)
      column = std::max(column, display_width(each.line));
  lines next = {"", "Next:"};
  for (const next_command& each : commands) {
    const std::string line = both(each, column);
    next.push_back(display_width(line) <= width_ ? line : "  " + each.line);
  }
  if (const std::size_t odd = names_left_out(judged_, options_); odd > 0)
    next.push_back("  " + left_out_words(odd));
  return next;
}

// " X cpu-count   node[0015,0024] (2)  95, peers have 96          new"
std::string screen::row(const folded_finding& of, std::size_t name,
                        std::size_t nodes) const {
  const std::string start =
      " " + how_.painted(ink_of(of.level), how_.mark(of.level)) + " " +
      how_.painted(ink_of(of.level), padded(cut(of.check, name, how_), name)) +
      " " + padded(cut(counted_nodes(of.nodes, nodes), nodes, how_), nodes) +
      "  ";
  const std::size_t taken = 3 + name + 1 + nodes + 2 + state_columns + 1;
  const std::size_t room = width_ > taken + 10 ? width_ - taken : 10;
  std::string line = start + padded(cut(of.brief, room, how_), room) + " " +
                     (judged_.baseline && of.is_new ? "new" : "");
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

lines screen::more(std::size_t shown) const {
  lines more;
  for (const severity level :
       {severity::critical, severity::warning, severity::informational}) {
    std::string names;
    std::size_t count = 0;
    for (std::size_t i = shown; i < findings_.size(); ++i)
      if (findings_[i].level == level) {
        ++count;
        names += (count == 1 ? "" : ", ") + findings_[i].check;
      }
    if (count == 0) continue;
    lines named;
    add_wrapped(
        named,
        fmt::format("   and {} more {}: {}", count, name_of(level), names),
        width_);
    if (named.size() > most_.more) {
      named.resize(most_.more);
      named.back() = cut(named.back() + " and others", width_, how_);
    }
    more.insert(more.end(), named.begin(), named.end());
  }
  return more;
}

lines screen::rows(std::size_t room) const {
  std::size_t shown = std::min(findings_.size(), room);
  while (shown > least_rows && shown + more(shown).size() > room)
    --shown;
  std::size_t name = 0, nodes = 0;
  for (std::size_t i = 0; i < shown; ++i) {
    name = std::max(name, display_width(findings_[i].check));
    nodes = std::max(
        nodes, display_width(counted_nodes(findings_[i].nodes, most_nodes)));
  }
  lines rows;
  for (std::size_t i = 0; i < shown; ++i)
    rows.push_back(row(findings_[i], std::min(name, most_name),
                       std::min(nodes, most_nodes)));
  const lines rest = more(shown);
  rows.insert(rows.end(), rest.begin(), rest.end());
  return rows;
}

void screen::write(std::ostream& out) const {
  const std::array<lines, 4> parts = {head(), since(), gaps(), next()};
  std::size_t taken = 1;  // the prompt
  for (const lines& each : parts)
    taken += each.size();
  const std::size_t room =
      std::max(height_ > taken ? height_ - taken : 0, least_rows);
  lines all = parts[0];
  lines middle = rows(room);
  const std::size_t hidden =
      judged_.findings.size() - shown_findings(judged_, options_).size();
  if (judged_.findings.empty()) middle = {"No findings."};
  if (hidden > 0)
    middle.push_back(fmt::format("{} findings are not shown", hidden));
  all.insert(all.end(), middle.begin(), middle.end());
  for (std::size_t i = 1; i < parts.size(); ++i)
    all.insert(all.end(), parts[i].begin(), parts[i].end());
  for (const std::string& line : all)
    out << line << '\n';
}

}  // namespace

void write_screen(const judgement& judged, const report_options& options,
                  std::ostream& out) {
  screen(judged, options).write(out);
}

}  // namespace zelk::check
