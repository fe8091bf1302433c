#include "src/check/command/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <string_view>

#include "src/check/command/help_text.h"
#include "src/check/command/interpret_options.h"
#include "src/check/command/man_page.h"
#include "src/check/command/option_values.h"
#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/cli/validators.h"
#include "src/common/names/version.h"
#include "src/common/str/nearest_word.h"
#include "src/common/str/str.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

using word_list = std::vector<std::string>;

class parser {
 public:
  parser(int argc, const char* const* argv, check_settings& settings);

  std::optional<int> parse();

 private:
  CLI::Option* list(const char* name, word_list& values,
                    const char* description, const char* type);
  CLI::Option* text(const char* name, const char* description,
                    const char* type);
  void flag(const char* name, bool& value, const char* description);
  void declare_data();
  void declare_saying();
  void declare_limits();
  void declare_output();
  void declare_page();
  void declare_asking();
  void declare_common();

  bool asks_for(std::string_view a, std::string_view b) const;
  bool is_plugin() const;
  int show_help() const;
  void check_extras() const;

  check_settings& to_;
  word_list options_;  // in front of "--"
  CLI::App app_;
  typed_options typed_;
  bool help_ = false, version_ = false, man_ = false;  // looked for by hand
};

parser::parser(int argc, const char* const* argv, check_settings& settings)
    : to_(settings) {
  const word_list all(argv + std::min(argc, 1), argv + argc);
  const auto end = std::find(all.begin(), all.end(), "--");
  options_.assign(all.begin(), end);
  to_.command_line = program_name;
  for (const std::string& word : all)
    to_.command_line += " " + word;
  app_.allow_extras();
  app_.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app_.set_help_flag();  // it wins wherever it stands
  declare_data();
  declare_saying();
  declare_limits();
  declare_output();
  declare_page();
  declare_asking();
  declare_common();
  if (end != all.end()) typed_.operands.assign(end + 1, all.end());
}

CLI::Option* parser::list(const char* name, word_list& values,
                          const char* description, const char* type) {
  return app_.add_option(name, values, description)
      ->type_name(type)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->allow_extra_args(false);
}

// The value of an option that may stand once is found in typed_.values under
// the last of its names.
CLI::Option* parser::text(const char* name, const char* description,
                          const char* type) {
  const std::string names = name;
  const std::string key = names.substr(names.rfind("--"));
  return app_
      .add_option_function<std::string>(
          name,
          [this, key](const std::string& value) { typed_.values[key] = value; },
          description)
      ->type_name(type)
      ->check(cli::filled());
}

void parser::flag(const char* name, bool& value, const char* description) {
  app_.add_flag(name, value, description);
}

void parser::declare_data() {
  app_.option_defaults()->group("Which data");
  list("CHECK", typed_.operands, "", "")->allow_extra_args(true);
  text("--run",
       "a number, latest, latest~2, label:NAME, a day, baseline "
       "[latest]",
       "RUN");
  text("--baseline",
       "an earlier run; none [the marked one, else the newest "
       "earlier one]",
       "RUN|none");
  text("--max-age", "older results are stale, not fine [7d]", "DUR");
  list("-w,--nodes", to_.nodes,
       "say only what is about these; repeatable; '-' reads stdin", "NODESET");
  list("-x,--exclude", to_.excluded, "nothing about these; repeatable",
       "NODESET");
  text("--peers",
       "whom a node is compared with: class role subcluster all "
       "none [class]",
       "BY");
  text("--min-peers", "no comparison with fewer [5]", "N");
  list("--class", typed_.classes, "these nodes are one class; repeatable",
       "NAME=NODESET");
}

void parser::declare_saying() {
  app_.option_defaults()->group("What to say");
  list("--skip", to_.judge.skip, "leave a check out; repeatable", "CHECK");
  text("--min-severity", "informational warning critical [informational]",
       "SEV");
  flag("--only-new", to_.report.only_new,
       "only what the baseline does not have");
  text("--group-by", "check node class [check]", "BY");
  text("--sort", "severity check nodes state [severity]", "BY");
  text("--diff", "what nodes of a class answer unlike", "PROVIDER|FACT");
  text("--show", "everything known about nodes, or checks", "node|check");
  flag("--all", to_.all, "of --diff and --show node: also what is not wrong");
  flag("--drain-commands", typed_.drain,
       "print, never execute, the batch system's commands");
}

void parser::declare_limits() {
  app_.option_defaults()->group("Limits");
  text("--z", "robust z from which a value is an outlier [3.5]", "Z");
  text("--min-effect", "and at least so far from the median [5]", "PCT");
  list("--limit", to_.limits,
       "a fixed limit, such as 'clock.offset=~:1'; repeatable", "METRIC=RANGE");
  text("--unreachable", "severity of no answer [critical]", "SEV");
}

void parser::declare_output() {
  app_.option_defaults()->group("Output");
  text("--format",
       "text plain json jsonl csv junit sarif nagios prom nodes md "
       "html svg [text]",
       "FORM");
  flag("--json", typed_.json, "as --format json");
  list("-o,--output", typed_.outputs,
       "write there, in the form of its ending; repeatable", "FILE")
      ->check(cli::filled());
  list("--html", typed_.html, "write the page there besides", "FILE")
      ->check(cli::filled());
  flag("--open", to_.open, "show the page that was written");
  flag("--header", to_.report.header, "of plain and csv: name the columns");
  app_.add_flag_callback(
      "-1,--one-per-line", [this] { to_.report.one_line = false; },
      "of nodes: one a line, not folded");
  text("--limit-rows", "findings of a list; 0: all [20 on a terminal]", "N");
  flag("--ascii", to_.ascii, "no other characters");
  text("--fail-on",
       "warning critical never: from where on the status is not "
       "0 [warning]",
       "SEV|never");
  flag("--exit-zero", to_.exit_zero, "status 0 also for findings");
  text("-t,--timeout", "give up with status 3 [nagios: 55]", "S");
}

void parser::declare_page() {
  app_.option_defaults()->group("The page");
  text("--title", "its heading", "TEXT");
  text("--theme", "auto light dark [auto]", "WHICH");
  text("--detail",
       "healthy nodes with a section of their own: findings "
       "(none), N, all [findings]",
       "HOW");
  text("--figure", "of svg: heatmap nodes trend dist:FACT [heatmap]", "NAME");
  list("--redact", typed_.redacted, "replace hosts users serials; repeatable",
       "WHAT");
  flag("--no-script", typed_.no_script, "leave the script out");
  text("--max-size", "leave details out to keep to it; 0: none [5M]", "SIZE");
  text("--logo", "an SVG or PNG of at most 64 KiB", "FILE");
  text("--assets", "style and script as files there", "DIR");
}

void parser::declare_asking() {
  app_.option_defaults()->group("Ask instead");
  text("--explain", "what a check means and how it is computed", "CHECK");
  flag("--list", typed_.list, "all checks");
  flag("--local", typed_.local, "judge this node alone, now, in 20 s");
}

void parser::declare_common() {
  app_.option_defaults()->group("Common");
  app_.add_flag("-h,--help", help_, "this text");
  app_.add_flag("--version", version_, "name and versions");
  app_.add_flag("--man", man_, "the manual");
  text("-c,--config", "configuration [ZELK_CONFIG, ROOT/etc/zelk.xml]", "FILE");
  text("--db",
       "sqlite:PATH or a path [ZELK_DB, configuration, the installed "
       "one]",
       "URI");
  text("-n,--nodefile",
       "node file: roles, subclusters, classes "
       "[ZELK_NODEFILE, configuration]",
       "FILE");
  list("--checks", to_.checks_folders,
       "definitions that override; repeatable [besides ROOT/etc/checks]", "DIR")
      ->check(cli::filled());
  text("--descriptions", "of providers [ROOT/etc/providers]", "DIR");
  text("-l,--log-level",
       "alert critical error warning notice info debug [warning]", "LEVEL");
  app_.add_flag("-v,--verbose", typed_.verbose, "one step more on stderr");
  flag("-q,--quiet", to_.quiet, "results and errors only");
  text("--color", "auto always never [auto]", "WHEN");
  flag("--no-color", typed_.no_color, "as --color never");
  flag("--no-pager", typed_.no_pager, "none is ever started");
}

bool parser::asks_for(std::string_view a, std::string_view b) const {
  return std::any_of(
      options_.begin(), options_.end(),
      [&](const std::string& word) { return word == a || word == b; });
}

void parser::check_extras() const {
  const word_list extras = app_.remaining(true);
  if (extras.empty()) return;
  word_list known;
  for (const CLI::Option* option : app_.get_options())
    for (const std::string& name : option->get_lnames())
      known.push_back("--" + name);
  const std::string word = extras.front().substr(0, extras.front().find('='));
  throw usage_mistake("'" + word + "' is not understood" +
                      str::did_you_mean(word, known));
}

// A monitoring system is answered in its own form, whatever is wrong.
bool parser::is_plugin() const {
  const auto format = std::find(options_.begin(), options_.end(), "--format");
  return asks_for("--format=nagios", "--format=nagios") ||
         (options_.end() - format > 1 && format[1] == "nagios");
}

// It takes 0 for "all is well", and help is no such answer.
int parser::show_help() const {
  std::cout << help_text(app_) << std::flush;
  return is_plugin() ? status_cannot_tell : status_fine;
}

std::optional<int> parser::parse() {
  if (asks_for("-h", "--help")) return show_help();
  if (asks_for("--version", "--version")) {
    std::cout << version_text(program_name,
                              {{"datastore", accumulate::datastore_version}})
              << std::flush;
    return status_fine;
  }
  if (asks_for("--man", "--man")) return show_man_page(program_name);
  if (is_plugin()) to_.form = {document::report, report_form::nagios};
  try {
    word_list reversed(options_.rbegin(), options_.rend());
    app_.parse(reversed);
    check_extras();
    interpret(typed_, to_);
    return {};
  } catch (const CLI::ArgumentMismatch& error) {
    const std::string what = error.what();
    complain(to_, what.substr(0, what.find(':')) + ": expected one value");
  } catch (const CLI::ParseError& error) {
    complain(to_, error.what());
  } catch (const usage_mistake& error) {
    complain(to_, error.what());
  } catch (const reading::refusal& error) {
    complain(to_, error.what());
  }
  std::cerr << "Try '" << program_name << " --help'.\n";
  return status_cannot_tell;
}

}  // namespace

std::optional<int> read_command_line(int argc, const char* const* argv,
                                     check_settings& settings) {
  return parser(argc, argv, settings).parse();
}

int complain(const check_settings& settings, const std::string& text) {
  const word_list lines = str::split(text, '\n');
  if (settings.is_plugin())
    std::cout << "ZELKARA UNKNOWN - " << text::visible_text(lines.front())
              << std::endl;
  std::cout.flush();
  // A mark under a column, or a list, has lines of its own.
  for (std::size_t i = 0; i < lines.size(); ++i)
    std::cerr << (i == 0 ? std::string(program_name) + ": " : "")
              << text::visible_text(lines[i]) << '\n';
  return status_cannot_tell;
}

}  // namespace zelk::check
