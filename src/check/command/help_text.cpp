#include "src/check/command/help_text.h"

#include "src/common/str/str.h"

namespace zelk::check {

namespace {

constexpr char usage[] =
    "Usage: zelk-check [options] [CHECK ...]\n"
    "       zelk-check --explain CHECK | --list | --local\n"
    "       zelk-check --diff PROVIDER|FACT | --show node NODESET\n";

constexpr char operands[] =
    "  CHECK                         only these checks, or patterns such as\n"
    "                                'sysctl-*' [all]\n";

constexpr char examples[] =
    "\nExamples:\n"
    "  zelk-check                              the latest run against its "
    "peers\n"
    "  zelk-check --baseline 2025-11-01        and against an earlier one\n"
    "  zelk-check --format nodes --min-severity critical\n"
    "  zelk-check --html report.html --json > result.json\n"
    "  zelk-check --show node 'node[071,088]'  everything known about these\n"
    "  zelk-check --diff dmi_bios              what nodes of a class have "
    "unlike\n"
    "\nExit status: 0 fine or informational, 1 the worst finding is a warning, "
    "2 it is\ncritical, 3 cannot tell.\n";

constexpr std::size_t width = 80;
constexpr std::size_t indent = 32;  // of the descriptions of options
constexpr char first_group[] = "Which data:";

std::string wrapped(std::string line) {
  std::string text;
  while (line.size() > width) {
    const std::size_t blank = line.rfind(' ', width);
    if (blank == line.npos || blank <= indent) break;
    text += line.substr(0, blank) + "\n";
    line = std::string(indent, ' ') + line.substr(blank + 1);
  }
  return text + line + "\n";
}

}  // namespace

// The library's own text begins with a usage line of its own making, and has
// dots behind options that may be repeated.
std::string help_text(const CLI::App& app) {
  CLI::Formatter formatter;
  formatter.column_width(indent);
  std::string groups =
      formatter.make_help(&app, "", CLI::AppFormatMode::Normal);
  groups.erase(0, groups.find(first_group));
  std::string text = usage;
  for (std::string& line : str::split(groups, '\n', true)) {
    const std::size_t dots = line.find(" ... ");
    if (dots < indent) line.replace(dots, 4, "    ");
    text += (line.ends_with(':') ? "\n" : "") + wrapped(line);
    if (line == first_group) text += operands;
  }
  return text + examples;
}

}  // namespace zelk::check
