#include "src/check/command/interpret_options.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>

#include "src/check/command/limits.h"
#include "src/check/command/option_values.h"
#include "src/common/log/settings.h"
#include "src/common/names/names.h"
#include "src/common/str/str.h"

namespace zelk::check {

namespace {

using word_list = std::vector<std::string>;

// Of a node that gives no answer, by --unreachable.
constexpr int score_informational = 10;
constexpr int score_warning = 50;
constexpr int score_critical = 90;

// A monitoring system gives up after a minute.
constexpr std::chrono::seconds plugin_timeout{55};

class interpreter {
 public:
  interpreter(const typed_options& typed, check_settings& settings)
      : typed_(typed), to_(settings) {}

  void interpret();

 private:
  const std::string* given(const char* option) const;
  void interpret_action();
  void interpret_operands();
  void interpret_data();
  void interpret_saying();
  void check_form_of_answer() const;
  void interpret_output();
  void interpret_page();
  void interpret_detail();
  void interpret_redaction();
  void interpret_common();

  const typed_options& typed_;
  check_settings& to_;
};

// The value of an option, null when it was not typed.
const std::string* interpreter::given(const char* option) const {
  const auto found = typed_.values.find(option);
  return found == typed_.values.end() ? nullptr : &found->second;
}

void interpreter::interpret_action() {
  const std::vector<std::pair<const char*, bool>> asked = {
      {"--explain", given("--explain") != nullptr},
      {"--list", typed_.list},
      {"--local", typed_.local},
      {"--diff", given("--diff") != nullptr},
      {"--show", given("--show") != nullptr},
      {"--drain-commands", typed_.drain}};
  std::string first;
  for (const auto& [name, is] : asked) {
    if (!is) continue;
    if (!first.empty())
      throw usage_mistake(first + " and " + name + " exclude each other");
    first = name;
  }
  const std::string* show = given("--show");
  if (show) check_one_of("--show", *show, {"node", "check"});
  if (first == "--explain") to_.what = action::explain;
  if (typed_.list) to_.what = action::list;
  if (typed_.local) to_.what = action::local;
  if (typed_.drain) to_.what = action::drain_commands;
  if (first == "--diff") to_.what = action::differences;
  if (show) to_.what = *show == "node" ? action::show_nodes : action::explain;
}

// Words that belong to no option: checks, or what --show is about.
void interpreter::interpret_operands() {
  if (const std::string* difference = given("--diff"))
    to_.difference = *difference;
  if (to_.all && to_.what != action::differences &&
      to_.what != action::show_nodes)
    throw usage_mistake("--all is for --diff and --show node");
  if (const std::string* explained = given("--explain"))
    to_.asked.push_back(*explained);
  const bool shows = given("--show") != nullptr;
  word_list& to =
      shows || given("--explain") != nullptr ? to_.asked : to_.judge.only;
  to.insert(to.end(), typed_.operands.begin(), typed_.operands.end());
  if (shows && to_.asked.empty())
    throw usage_mistake(to_.what == action::show_nodes
                            ? "--show node: expected a node set behind it"
                            : "--show check: expected a check behind it");
}

void interpreter::interpret_data() {
  if (const auto* run = given("--run")) to_.run = *run;
  if (const auto* run = given("--baseline")) to_.baseline = *run;
  if (const auto* age = given("--max-age"))
    to_.max_age_usec = duration_value("--max-age", *age);
  if (const auto* by = given("--peers")) {
    check_one_of("--peers", *by,
                 {"class", "role", "subcluster", "all", "none"});
    to_.judge.by = *peers_by_of(*by);
  }
  if (const auto* n = given("--min-peers"))
    to_.judge.min_peers = count_value("--min-peers", *n, 1);
  for (const std::string& each : typed_.classes)
    to_.classes.push_back(read_class_override(each));
  constexpr double above_zero = 1e-9;
  if (const auto* z = given("--z"))
    to_.judge.z = number_value("--z", *z, above_zero);
  if (const auto* percent = given("--min-effect"))
    to_.judge.min_effect = number_value("--min-effect", *percent, 0);
  for (const std::string& each : to_.limits)
    to_.judge.limits.push_back(read_typed_limit(each));
}

void interpreter::interpret_saying() {
  report_options& report = to_.report;
  if (const auto* least = given("--min-severity"))
    report.min_severity = severity_value("--min-severity", *least);
  if (const auto* by = given("--group-by")) {
    check_one_of("--group-by", *by, {"check", "node", "class"});
    report.group_by = *read_report_grouping(*by);
  }
  if (const auto* by = given("--sort")) {
    check_one_of("--sort", *by, {"severity", "check", "nodes", "state"});
    report.order = *read_report_order(*by);
  }
  if (const auto* from = given("--fail-on")) {
    check_one_of("--fail-on", *from, {"warning", "critical", "never"});
    report.threshold = *read_fail_on(*from);
  }
  if (const auto* rows = given("--limit-rows"))
    to_.limit_rows = count_value("--limit-rows", *rows, 0);
  if (const auto* least = given("--unreachable")) {
    const severity level = severity_value("--unreachable", *least);
    to_.judge.unreachable_score = level == severity::critical ? score_critical
                                  : level == severity::warning
                                      ? score_warning
                                      : score_informational;
  }
}

// What is asked besides reports is text, on standard output.
void interpreter::check_form_of_answer() const {
  const bool is_report =
      to_.what == action::report || to_.what == action::drain_commands;
  const bool wants_form = typed_.json || given("--format") != nullptr;
  const bool wants_file = !typed_.outputs.empty() || !typed_.html.empty();
  if (!is_report && (wants_form || wants_file))
    throw usage_mistake(std::string(wants_form ? "--format" : "--output") +
                        " is for reports; what is asked here is text on "
                        "standard output");
  if (to_.what == action::drain_commands && wants_form)
    throw usage_mistake("--drain-commands and --format exclude each other");
}

void interpreter::interpret_output() {
  check_form_of_answer();
  const std::string* form = given("--format");
  if (form && typed_.json && *form != "json")
    throw usage_mistake("--json and --format " + *form + " exclude each other");
  if (form) to_.form = form_value("--format", *form);
  if (typed_.json) to_.form = {document::report, report_form::json};
  const bool is_shell = to_.what == action::drain_commands;
  for (const std::string& path : typed_.outputs)
    to_.outputs.push_back({path, to_.form ? to_.form
                                 : path == "-" || is_shell
                                     ? output_form{}
                                     : form_of_file("--output", path)});
  if (typed_.outputs.empty() &&
      (typed_.html.empty() || typed_.html.back() != "-"))
    to_.outputs.push_back({"-", to_.form});
  const output_form page = {document::page, report_form::text};
  for (const std::string& path : typed_.html)
    to_.outputs.push_back({path, page});
  const auto to_standard_output =
      std::count_if(to_.outputs.begin(), to_.outputs.end(),
                    [](const output_place& each) { return each.path == "-"; });
  if (to_standard_output > 1)
    throw usage_mistake("standard output can take one report; name a file");
  if (const auto* limit = given("--timeout"))
    to_.timeout = std::chrono::seconds(count_value("--timeout", *limit, 1));
  else if (to_.is_plugin())
    to_.timeout = plugin_timeout;
}

void interpreter::interpret_detail() {
  const std::string* detail = given("--detail");
  if (!detail || *detail == "findings") return;
  to_.page.healthy_sections =
      *detail == "all" ? SIZE_MAX : count_value("--detail", *detail, 0);
}

void interpreter::interpret_redaction() {
  for (const std::string& words : typed_.redacted)
    for (const std::string& word : str::split(words, ',')) {
      check_one_of("--redact", word, {"hosts", "users", "serials"});
      page_redaction& redact = to_.page.redact;
      (word == "hosts"   ? redact.hosts
       : word == "users" ? redact.users
                         : redact.serials) = true;
    }
  // A report to be given away would be as it is, under the impression that
  // it is not.
  const auto is_page = [](const output_place& each) {
    return each.form && each.form->what != document::report;
  };
  const auto is_readable_file = [&](const output_place& each) {
    return each.path != "-" && !is_page(each);
  };
  if (!typed_.redacted.empty() &&
      (std::none_of(to_.outputs.begin(), to_.outputs.end(), is_page) ||
       std::any_of(to_.outputs.begin(), to_.outputs.end(), is_readable_file)))
    throw usage_mistake("--redact is for the page: -o FILE.html");
}

void interpreter::interpret_page() {
  page_options& page = to_.page;
  if (to_.open && to_.page_file() == nullptr)
    throw usage_mistake("--open shows a page in a file: -o FILE.html");
  if (const auto* title = given("--title")) page.title = *title;
  if (const auto* theme = given("--theme")) {
    check_one_of("--theme", *theme, {"auto", "light", "dark"});
    page.theme = *theme == "dark"    ? page_theme::dark
                 : *theme == "light" ? page_theme::light
                                     : page_theme::automatic;
  }
  interpret_detail();
  interpret_redaction();
  page.script = !typed_.no_script;
  if (const auto* size = given("--max-size"))
    page.max_size = size_value("--max-size", *size);
  if (const auto* logo = given("--logo")) to_.logo = *logo;
  if (const auto* assets = given("--assets")) to_.assets = *assets;
  if (const auto* figure = given("--figure")) {
    to_.figure = *figure;
    const bool drawn = std::any_of(
        to_.outputs.begin(), to_.outputs.end(), [](const auto& each) {
          return each.form && each.form->what == document::figure;
        });
    if (!drawn)
      throw usage_mistake("--figure needs --format svg, or -o FILE.svg");
  }
}

void interpreter::interpret_common() {
  if (const auto* file = given("--config")) {
    to_.config_file = *file;
    to_.config_typed = true;
  }
  if (const auto* where = given("--db")) to_.datastore = *where;
  if (const auto* file = given("--nodefile")) {
    to_.nodefile = *file;
    to_.nodefile_typed = true;
  }
  if (const auto* folder = given("--descriptions")) to_.descriptions = *folder;
  if (const auto* when = given("--color")) {
    check_one_of("--color", *when, {"auto", "always", "never"});
    if (*when == "always") to_.color = color_use::always;
    if (*when == "never") to_.color = color_use::never;
  }
  if (typed_.no_color) to_.color = color_use::never;
  word_list known;
  for (const auto& [name, number] : log_level_names)
    known.push_back(name);
  const std::string* level = given("--log-level");
  if (level) check_one_of("--log-level", *level, known);
  const int number = level ? log_level_names.at(*level) : log::level_warning;
  to_.log_level =
      to_.quiet ? std::min<int>(number, log::level_error)
                : std::min<int>(number + typed_.verbose, log::level_debug);
}

void interpreter::interpret() {
  interpret_action();
  interpret_operands();
  interpret_data();
  interpret_saying();
  interpret_output();
  interpret_page();
  interpret_common();
}

}  // namespace

void interpret(const typed_options& typed, check_settings& settings) {
  interpreter(typed, settings).interpret();
}

}  // namespace zelk::check
