#include "src/collect/src/collect/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "src/collect/src/collect/exit_codes.h"
#include "src/common/cli/standard_output.h"
#include "src/common/cli/validators.h"
#include "src/common/log/settings.h"
#include "src/common/names/version.h"
#include "src/common/str/nearest_word.h"
#include "src/common/str/str.h"

namespace zelk::collect {

namespace {

constexpr char usage[] =
    "Usage: zelk-collect [options] [PROVIDER|@SUITE ...]\n"
    "       zelk-collect --list | --dry-run | --validate | --show-config | "
    "--doctor\n";

constexpr char examples[] =
    "\nExamples:\n"
    "  zelk-collect                                  this machine, @default\n"
    "  zelk-collect -w 'node[001-128]' @quick        the quick suite on these "
    "nodes\n"
    "  zelk-collect -n nodes --role login memory     one provider on login "
    "nodes\n"
    "  srun -N 128 zelk-collect --launcher slurm @full   inside an allocation\n"
    "\n"
    "Exit status: 0 every expected result came, 1 some are missing, 2 nothing "
    "came,\n3 nothing was started.\n";

constexpr std::size_t help_indent = 32;  // of the descriptions of options

constexpr char operands[] =
    "  PROVIDER, @SUITE              names from etc/providers, suites of the\n"
    "                                configuration [@default]\n";

constexpr char where_group[] = "Where";
constexpr char how_group[] = "How";
constexpr char result_group[] = "Result";
constexpr char ask_group[] = "Ask instead";
constexpr char what_group[] = "What to run";
constexpr char common_group[] = "Common";

struct usage_mistake : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

class parser {
 public:
  parser(int argc, const char* const* argv, collect_settings& settings,
         typed_values& typed);

  std::optional<int> parse();

 private:
  CLI::Option* list(const char* name, std::vector<std::string>& values,
                    const char* description, const char* type);
  CLI::Option* text(const char* name, std::string& value,
                    const char* description, const char* type);
  void flag(const char* name, bool& value, const char* description);
  void rules(std::initializer_list<const char*> names);
  void declare_what();
  void declare_where();
  void declare_how();
  void declare_result();
  void declare_ask();
  void declare_common();

  bool asks_for(std::string_view a, std::string_view b) const;
  std::string help() const;
  void check_extras() const;
  void interpret();
  void interpret_action();
  void interpret_numbers();
  void interpret_result();
  int log_level() const;

  collect_settings& to_;
  typed_values& typed_;
  std::vector<std::string> options_;   // in front of "--"
  std::vector<std::string> operands_;  // behind it
  CLI::App app_;
  std::map<std::string, std::vector<std::string>> values_;  // by rule
  std::string pick_, seed_;
  std::string level_ = "warning", color_ = "auto", progress_ = "auto";
  int verbose_ = 0;
  bool no_color_ = false, no_pager_ = false, keep_going_ = false;
  bool async_ = false;
  std::map<action, bool> actions_;
  bool help_ = false, version_ = false;  // looked for by hand
};

parser::parser(int argc, const char* const* argv, collect_settings& settings,
               typed_values& typed)
    : to_(settings), typed_(typed) {
  const std::vector<std::string> all(argv + std::min(argc, 1), argv + argc);
  const auto end = std::find(all.begin(), all.end(), "--");
  if (end != all.end()) operands_.assign(end + 1, all.end());
  options_.assign(all.begin(), end);
  to_.command_line = program_name;
  for (const std::string& word : all)
    to_.command_line += " " + word;
  app_.allow_extras();
  app_.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app_.get_formatter()->column_width(help_indent);
  app_.set_help_flag();  // it wins wherever it stands
  declare_what();
  declare_where();
  declare_how();
  declare_result();
  declare_ask();
  declare_common();
}

CLI::Option* parser::list(const char* name, std::vector<std::string>& values,
                          const char* description, const char* type) {
  return app_.add_option(name, values, description)
      ->type_name(type)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->allow_extra_args(false);
}

CLI::Option* parser::text(const char* name, std::string& value,
                          const char* description, const char* type) {
  return app_.add_option(name, value, description)->type_name(type);
}

void parser::flag(const char* name, bool& value, const char* description) {
  app_.add_flag(name, value, description);
}

void parser::rules(std::initializer_list<const char*> names) {
  const collect_settings built_in;
  for (const char* name : names) {
    const setting_rule& rule = *find_rule(name);
    std::string description = rule.description;
    const std::string value = rule.show(built_in);
    if (*rule.variable != '\0')
      description += std::string(" [") + rule.variable +
                     (value.empty() ? "" : ", ") + value + "]";
    else if (!value.empty())
      description += " [" + value + "]";
    const std::string option =
        (rule.name == std::string_view("nodefile") ? "-n," : "") +
        std::string(rule.option);
    list(option.c_str(), values_[name], description.c_str(), rule.type);
  }
}

void parser::declare_what() {
  app_.option_defaults()->group(what_group);
  list("PROVIDER", to_.wanted, "", "")->allow_extra_args(true);
  list("-f,--provider-file", to_.provider_files,
       "a provider description by path; repeatable", "F")
      ->check(cli::filled());
  text("-p,--provider-config-file", to_.provider_options_file,
       "provider options file, merged over the configuration", "F")
      ->check(cli::filled());
  list("--skip", to_.skipped, "leave a provider or @suite out; repeatable",
       "NAME");
}

void parser::declare_where() {
  app_.option_defaults()->group(where_group);
  rules({"nodefile"});
  list("-w,--nodes", to_.nodes,
       "these nodes; repeatable; '-' reads stdin [of the node file those whose "
       "role is compute or enhanced; without one this machine]",
       "NODESET");
  list("--and", to_.and_nodes, "only if also in this set", "NODESET");
  list("-x,--exclude", to_.excluded, "not these; repeatable", "NODESET");
  list("--role", to_.roles, "only nodes of this role; repeatable", "ROLE");
  list("--subcluster", to_.subclusters,
       "only nodes of this subcluster; repeatable", "NAME");
  text("--pick", pick_, "N of them at random", "N");
  text("--seed", seed_, "of what is random, to get the same again", "N");
  flag("--idle", to_.idle,
       "only nodes that Slurm reports idle; the rest is listed as busy");
  text("-H,--own-name", to_.own_name, "what this machine is called [its name]",
       "NAME");
}

void parser::declare_how() {
  app_.option_defaults()->group(how_group);
  rules({"launcher", "fanout", "connect_timeout", "timeout", "ssh_options",
         "user", "remote_path", "address", "stagger", "order", "retry"});
  flag("--async", async_, "results go through the shared directory");
  rules({"shared_directory"});
  flag("--keep-going", keep_going_, "other nodes go on when one fails");
  flag("--fail-fast", to_.fail_fast, "stop at the first failure");
}

void parser::declare_result() {
  app_.option_defaults()->group(result_group);
  rules({"datastore"});
  text("--label", to_.label, "stored with the run", "TEXT");
  list("--note", to_.notes, "stored with the run; repeatable", "K=V");
  text("--into", to_.run, "fill the gaps of this run", "RUN")
      ->check(cli::filled());
  flag("--check", to_.check, "judge the finished run and return that status");
  flag("--json", to_.json, "one document on stdout");
  text("--events", to_.events,
       "a JSON object per line as things happen; '-' is stdout", "FILE")
      ->check(cli::filled());
}

void parser::declare_ask() {
  app_.option_defaults()->group(ask_group);
  flag("-L,--list", actions_[action::list],
       "providers and suites, what they need, time-outs");
  flag("--dry-run", actions_[action::dry_run],
       "nodes, providers, command lines; starts nothing");
  flag("--validate", actions_[action::validate],
       "configuration and all descriptions against their schemas");
  flag("--show-config", actions_[action::show_config],
       "values in force, and where each comes from");
  flag("--doctor", actions_[action::doctor],
       "the checks before launching, and nothing else");
}

void parser::declare_common() {
  app_.option_defaults()->group(common_group);
  app_.add_flag("-h,--help", help_, "this text");
  app_.add_flag("--version", version_, "name, version, commit");
  text("-c,--config", to_.config_file,
       "configuration [ZELK_CONFIG, ROOT/etc/zelk.xml]", "FILE")
      ->check(cli::filled());
  text("-l,--log-level", level_,
       "alert critical error warning notice info debug [warning]", "LEVEL");
  app_.add_flag("-v,--verbose", verbose_, "one step more on stderr");
  flag("-q,--quiet", to_.quiet, "results and errors only");
  text("--color", color_, "auto always never [auto]", "WHEN");
  flag("--no-color", no_color_, "as --color never");
  text("--progress", progress_, "auto bar lines none [auto]", "WHEN");
  flag("--no-pager", no_pager_, "do not start a pager");
}

bool parser::asks_for(std::string_view a, std::string_view b) const {
  return std::any_of(
      options_.begin(), options_.end(),
      [&](const std::string& word) { return word == a || word == b; });
}

// Breaks a line of the options' table so that it fits a terminal.
std::string wrapped(std::string line) {
  constexpr std::size_t width = 80;
  std::string text;
  while (line.size() > width) {
    const std::size_t blank = line.rfind(' ', width);
    if (blank == line.npos || blank <= help_indent) break;
    text += line.substr(0, blank) + "\n";
    line = std::string(help_indent, ' ') + line.substr(blank + 1);
  }
  return text + line + "\n";
}

// The library's own text begins with a usage line of its own making, has two
// blank lines between groups, and dots behind options that may be repeated.
std::string parser::help() const {
  std::string groups =
      app_.get_formatter()->make_help(&app_, "", CLI::AppFormatMode::Normal);
  groups.erase(0, groups.find(what_group));
  std::string text = usage;
  for (std::string& line : str::split(groups, '\n', true)) {
    const std::size_t dots = line.find(" ... ");
    if (dots < help_indent) line.replace(dots, 4, "    ");
    text += (line.ends_with(':') ? "\n" : "") + wrapped(line);
    if (line == std::string(what_group) + ":") text += operands;
  }
  return text + examples;
}

void parser::check_extras() const {
  const std::vector<std::string> extras = app_.remaining(true);
  if (extras.empty()) return;
  std::vector<std::string> known;
  for (const CLI::Option* option : app_.get_options())
    for (const std::string& name : option->get_lnames())
      known.push_back("--" + name);
  const std::string word = extras.front().substr(0, extras.front().find('='));
  throw usage_mistake("'" + word + "' is not understood" +
                      str::did_you_mean(word, known));
}

void check_one_of(const char* option, const std::string& value,
                  const std::vector<std::string>& known) {
  const std::string problem = none_of(value, known);
  if (!problem.empty())
    throw usage_mistake(std::string(option) + ": " + problem);
}

int parser::log_level() const {
  std::vector<std::string> known;
  known.reserve(log_level_names.size());
  for (const auto& [name, number] : log_level_names)
    known.push_back(name);
  check_one_of("--log-level", level_, known);
  const int level = log_level_names.at(level_);
  if (to_.quiet) return std::min<int>(level, log::level_error);
  return std::min<int>(level + verbose_, log::level_debug);
}

void parser::interpret_action() {
  static const std::map<action, const char*> names = {
      {action::list, "--list"},         {action::dry_run, "--dry-run"},
      {action::validate, "--validate"}, {action::show_config, "--show-config"},
      {action::doctor, "--doctor"},
  };
  for (const auto& [what, name] : names) {
    if (!actions_.at(what)) continue;
    if (to_.what != action::collect)
      throw usage_mistake(std::string(names.at(to_.what)) + " and " + name +
                          " exclude each other");
    to_.what = what;
  }
}

std::optional<std::uint64_t> number(const char* option, const std::string& text,
                                    std::uint64_t least) {
  if (text.empty()) return {};
  std::uint64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || behind != end || value < least)
    throw usage_mistake(std::string(option) +
                        ": expected a whole number of at least " +
                        std::to_string(least) + "; found '" + text + "'");
  return value;
}

void parser::interpret_numbers() {
  if (const auto pick = number("--pick", pick_, 1)) to_.pick = *pick;
  to_.seed = number("--seed", seed_, 0);
}

void parser::interpret_result() {
  for (const std::string& note : to_.notes)
    if (note.find('=') == note.npos || note.starts_with('='))
      throw usage_mistake("--note: expected KEY=VALUE; found '" + note + "'");
  if (keep_going_ && to_.fail_fast)
    throw usage_mistake("--keep-going and --fail-fast exclude each other");
  if (to_.json && to_.events == "-")
    throw usage_mistake(
        "--json and --events - both want standard output; name a file");
}

void parser::interpret() {
  check_one_of("--color", color_, {"auto", "always", "never"});
  check_one_of("--progress", progress_, {"auto", "bar", "lines", "none"});
  interpret_action();
  interpret_numbers();
  interpret_result();
  to_.wanted.insert(to_.wanted.end(), operands_.begin(), operands_.end());
  to_.log_level = log_level();
  to_.pager = !no_pager_;
  if (color_ == "always") to_.color = color_use::always;
  if (color_ == "never" || no_color_) to_.color = color_use::never;
  if (progress_ == "bar") to_.progress = progress_style::bar;
  if (progress_ == "lines") to_.progress = progress_style::lines;
  if (progress_ == "none" || to_.quiet) to_.progress = progress_style::none;
  for (const setting_rule& rule : setting_rules()) {
    const std::vector<std::string>& values = values_[rule.name];
    const bool is_list = rule.name == std::string_view("ssh_options");
    for (std::size_t i = is_list || values.empty() ? 0 : values.size() - 1;
         i < values.size(); ++i)
      typed_.emplace_back(&rule, values[i]);
  }
  // As the launcher "async" does it, whichever of the two stands last.
  if (async_) to_.origins["async"] = "--async";
}

std::optional<int> parser::parse() {
  if (asks_for("-h", "--help")) {
    std::cout << help();
    return cli::checked_output(program_name, exit_complete, exit_unusable);
  }
  if (asks_for("--version", "--version")) {
    std::cout << version_text(program_name);
    return cli::checked_output(program_name, exit_complete, exit_unusable);
  }
  try {
    std::vector<std::string> reversed(options_.rbegin(), options_.rend());
    app_.parse(reversed);
    check_extras();
    interpret();
  } catch (const CLI::ArgumentMismatch& error) {
    const std::string text = error.what();
    return complain_of_usage(text.substr(0, text.find(':')) +
                             ": expected one value");
  } catch (const CLI::ParseError& error) {
    return complain_of_usage(error.what());
  } catch (const usage_mistake& error) {
    return complain_of_usage(error.what());
  }
  return {};
}

}  // namespace

std::optional<int> read_command_line(int argc, const char* const* argv,
                                     collect_settings& settings,
                                     typed_values& typed) {
  return parser(argc, argv, settings, typed).parse();
}

int complain(const std::string& text) {
  std::cerr << program_name << ": " << text << '\n';
  return exit_unusable;
}

int complain_of_usage(const std::string& text) {
  complain(text);
  std::cerr << "Try '" << program_name << " --help'.\n";
  return exit_unusable;
}

}  // namespace zelk::collect
