#include "src/collect/src/db/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <string_view>
#include <vector>

#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/db/archive_format.h"
#include "src/collect/src/db/fact_printer.h"
#include "src/collect/src/db/mark_words.h"
#include "src/collect/src/db/row_printer.h"
#include "src/common/cli/validators.h"
#include "src/common/log/settings.h"
#include "src/common/names/names.h"
#include "src/common/names/version.h"
#include "src/common/str/nearest_word.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

constexpr char program[] = "zelk-db";

constexpr char examples[] =
    "RUN is a number, latest, latest~2, label:NAME, baseline or a day\n"
    "(2025-11-20); for export and prune also a range: 400..412,\n"
    "2025-11-01..2025-11-20, now-7d..now.\n"
    "\n"
    "Examples:\n"
    "  zelk-db runs --since 7d -w node[001-016]\n"
    "  zelk-db show latest node007 memory\n"
    "  zelk-db query \"SELECT node, stdout FROM v_result WHERE run = 412\"\n"
    "  zelk-db facts latest --fact 'mem.*' -w node[001-016]\n"
    "  zelk-db baseline set latest --name golden\n"
    "  zelk-db accept mem-size -w node007 --reason 'DIMM ordered' --until 30d\n"
    "  zelk-db export label:nightly -o nightly.zelk.tar.zst\n"
    "  zelk-db prune --keep 90d --dry-run\n"
    "\n"
    "Exit status: 0 done, 1 done with warnings, 2 failed, 3 nothing was begun.";

struct mistake {
  std::string text;
};

class parser {
 public:
  parser(int argc, const char* const* argv, command_line& result)
      : to_(result), words_(argv + std::min(argc, 1), argv + argc) {
    declare();
  }

  std::optional<int> parse();

 private:
  void declare();
  void declare_common();
  void declare_reading();
  void declare_query();
  void declare_facts();
  void declare_marks();
  void declare_accept();
  void declare_moving();
  void declare_upkeep();
  CLI::App& add(command what, const char* name, const char* description);

  bool asks_for(std::string_view a, std::string_view b) const;
  const CLI::App& wanted_command() const;
  int show_help() const;
  static int show_version();
  static int complain(const std::string& text);
  void check_extras() const;
  void interpret();
  void interpret_marks();
  int log_level() const;

  command_line& to_;
  std::vector<std::string> words_;
  CLI::App app_{
      "Looks after the datastore: lists, shows, queries, moves and "
      "removes runs.",
      program};
  std::vector<std::pair<command, CLI::App*>> commands_;
  std::string level_ = "warning";
  std::string color_ = "auto";
  std::vector<std::string> baseline_words_;
  std::vector<std::string> accept_words_;
  int verbose_ = 0;
  bool help_ = false;  // these two are looked for by hand
  bool version_ = false;
  bool no_color_ = false;
};

// An option that may stand many times, one value each.
CLI::Option* repeatable(CLI::Option* option) {
  return option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->allow_extra_args(false);
}

// Words without a dash, as many as there are.
CLI::Option* words(CLI::Option* option) {
  return option->type_name("")->multi_option_policy(
      CLI::MultiOptionPolicy::TakeAll);
}

CLI::App& parser::add(command what, const char* name, const char* description) {
  CLI::App* made = app_.add_subcommand(name, description);
  made->fallthrough();
  made->allow_extras();
  made->footer(examples);
  commands_.emplace_back(what, made);
  return *made;
}

void parser::declare() {
  app_.allow_extras();
  app_.require_subcommand(0, 1);  // a provider may be called "check"
  app_.footer(examples);
  app_.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app_.get_formatter()->column_width(34);
  app_.set_help_flag();  // looked for by hand: it wins wherever it stands
  declare_common();
  declare_reading();
  declare_query();
  declare_facts();
  declare_marks();
  declare_moving();
  declare_upkeep();
}

void parser::declare_common() {
  app_.add_flag("-h,--help", help_, "this text");
  app_.add_flag("--version", version_, "name, version, formats");
  app_.add_option("-c,--config", to_.config_file,
                  "configuration [ZELK_CONFIG, ROOT/etc/zelk.xml]")
      ->type_name("FILE")
      ->check(cli::filled());
  app_.add_option("--db", to_.datastore,
                  "sqlite:PATH or a path [ZELK_DB, the configuration's]")
      ->type_name("URI")
      ->check(cli::filled());
  app_.add_option("--wait", to_.wait_sec,
                  "for another process that is writing [30]")
      ->type_name("S")
      ->check(cli::number_from(0, 86'400));
  app_.add_option("-l,--log-level", level_,
                  "alert critical error warning notice info debug [warning]")
      ->type_name("LEVEL");
  app_.add_flag("-v,--verbose", verbose_, "one step more on stderr");
  app_.add_flag("-q,--quiet", to_.quiet, "results and errors only");
  app_.add_option("--color", color_,
                  "auto always never; nothing here is coloured yet [auto]")
      ->type_name("WHEN");
  app_.add_flag("--no-color", no_color_, "as --color never");
}

void parser::declare_reading() {
  CLI::App& info = add(command::info, "info", "what and how the datastore is");
  info.add_flag("--json", to_.info.json, "as JSON");

  CLI::App& runs = add(command::runs, "runs", "list the runs");
  repeatable(runs.add_option("-w,--nodes", to_.runs.nodes,
                             "with results of these nodes; repeatable, '-' "
                             "reads stdin"))
      ->type_name("NODESET");
  repeatable(runs.add_option("-x,--exclude", to_.runs.excluded,
                             "but not of these; repeatable"))
      ->type_name("NODESET");
  runs.add_option("--since", to_.runs.since, "started in the last 12h, 7d, 2w")
      ->type_name("DUR");
  runs.add_option("--label", to_.runs.label, "with this label")->type_name("L");
  runs.add_flag("--json", to_.runs.json, "as JSON");

  CLI::App& show = add(command::show, "show", "the bytes of one result");
  show.add_option("RUN", to_.show.run, "a run")->type_name("");
  show.add_option("NODE", to_.show.node, "a node of it")->type_name("");
  show.add_option("PROVIDER", to_.show.provider, "a provider")->type_name("");
  show.add_option("--option", to_.show.option_id, "of this option set")
      ->type_name("ID");
  show.add_option("--result", to_.show.result, "the one of this number")
      ->type_name("N")
      ->check(cli::number_from(1, 9e18));
  show.add_flag("--stderr", to_.show.from_stderr, "standard error instead");
  show.add_flag("--decode", to_.show.decode, "decode base64 output");
  show.add_flag("--header", to_.show.header, "the fields of all that match");
}

void parser::declare_query() {
  CLI::App& query = add(command::query, "query", "SQL over the views");
  query.add_option("SQL", to_.query.sql, "one SELECT; '-' reads stdin")
      ->type_name("");
  query.add_option("--file", to_.query.file, "read the SQL from here")
      ->type_name("F")
      ->check(cli::filled());
  query.add_option("--format", to_.query.form, "table csv json jsonl [table]")
      ->type_name("FORM");
  query.add_option("--max-rows", to_.query.max_rows, "0: all [100000]")
      ->type_name("N")
      ->check(cli::number_from(0, 1e15));
  query.add_option("--timeout", to_.query.timeout_sec, "0: none [60]")
      ->type_name("S")
      ->check(cli::number_from(0, 86'400));
}

void parser::declare_facts() {
  facts_options& to = to_.facts;
  CLI::App& facts = add(command::facts, "facts", "what results say, as facts");
  facts.add_option("RUN", to.run, "a run [latest]")->type_name("");
  repeatable(facts.add_option("--provider", to.providers,
                              "of this provider; repeatable"))
      ->type_name("P");
  repeatable(facts.add_option("-w,--node,--nodes", to.nodes,
                              "of these nodes; repeatable"))
      ->type_name("NODESET");
  repeatable(
      facts.add_option("--fact", to.names, "names such as 'mem.*'; repeatable"))
      ->type_name("PATTERN");
  facts.add_option("--format", to.form, "table csv json [table]")
      ->type_name("FORM");
  facts.add_flag("--unread", to.unread, "what could not be read, and why");
  facts
      .add_option("--descriptions", to.descriptions,
                  "their folder [etc/providers]")
      ->type_name("DIR")
      ->check(cli::filled());
  facts
      .add_option("--from-file", to.from_file,
                  "an output in a file, by the description --provider")
      ->type_name("FILE")
      ->check(cli::filled());
  facts.add_option("--exit-status", to.exit_status, "of that output [0]")
      ->type_name("N");
}

void parser::declare_marks() {
  CLI::App& marks =
      add(command::baseline, "baseline", "the run that others are compared to");
  words(marks.add_option("ACTION", baseline_words_,
                         "set RUN, list or clear [list]"));
  marks.add_option("--name", to_.baseline.name, "set: a word for it")
      ->type_name("N");
  marks.add_option("--who", to_.baseline.who, "set: by [login name]")
      ->type_name("NAME");
  marks.add_flag("--json", to_.baseline.json, "list: as JSON");
  declare_accept();
}

void parser::declare_accept() {
  accept_options& to = to_.accept;
  CLI::App& accept =
      add(command::accept, "accept", "known states that may stay as they are");
  words(accept.add_option("CHECK", accept_words_,
                          "a check to accept, list, or revoke ID [list]"));
  repeatable(accept.add_option("-w,--nodes", to.nodes,
                               "on these nodes [any]; repeatable, '-' reads "
                               "stdin"))
      ->type_name("NODESET");
  repeatable(accept.add_option("-x,--exclude", to.excluded,
                               "but not on these; repeatable"))
      ->type_name("NODESET");
  accept.add_option("--reason", to.reason, "why; has to be given")
      ->type_name("TEXT");
  accept.add_option("--until", to.until, "30d, 12h, 2025-12-31 [for good]")
      ->type_name("DATE|DUR");
  accept.add_option("--run", to.run, "where it was seen")
      ->type_name("RUN")
      ->check(cli::filled());
  accept.add_option("--who", to.who, "by [login name]")->type_name("NAME");
  accept.add_flag("--all", to.all, "list: revoked ones, too");
  accept.add_flag("--json", to.json, "as JSON");
}

void parser::declare_moving() {
  CLI::App& out = add(command::export_runs, "export", "runs into one file");
  words(out.add_option("RUN", to_.to_file.runs, "runs or ranges [latest]"));
  out.add_option("-o,--output", to_.to_file.output, "the file")
      ->type_name("FILE")
      ->check(cli::filled());
  out.add_flag("--force", to_.to_file.force, "replace it");

  CLI::App& in = add(command::import_runs, "import", "runs from such files");
  words(in.add_option("FILE", to_.from_file.files, "exported files"));
  in.add_option("--max-record", to_.from_file.max_record,
                "refuse larger results [64 MiB]")
      ->transform(cli::size_value())
      ->check(cli::number_from(1, 1e9))
      ->type_name("SIZE");

  CLI::App& prune = add(command::prune, "prune", "remove old runs");
  words(prune.add_option("RUN", to_.prune.runs, "of these only [all]"));
  prune
      .add_option("--keep", to_.prune.keep,
                  "runs of the last 30d, 12h, or the newest N")
      ->type_name("DUR|N");
  repeatable(prune.add_option("--keep-label", to_.prune.keep_labels,
                              "these labels [all labels]; repeatable"))
      ->type_name("L");
  prune.add_flag("--force", to_.prune.force, "the baseline, too");
  prune.add_flag("--dry-run", to_.prune.dry_run, "only list them");
  prune.add_flag("--yes", to_.prune.yes, "do not ask");
}

void parser::declare_upkeep() {
  CLI::App& check = add(command::check, "check", "read all and compare");
  check.add_flag("--repair", to_.repair, "make counts and indices anew first");
  add(command::vacuum, "vacuum", "give unused space back");
  CLI::App& migrate =
      add(command::migrate, "migrate", "an older datastore to this version");
  migrate.add_flag("--dry-run", to_.migrate_dry_run, "only tell");
  add(command::init, "init", "make an empty datastore");
}

// Words behind "--" are names, whatever they look like.
bool parser::asks_for(std::string_view a, std::string_view b) const {
  for (const std::string& word : words_) {
    if (word == "--") return false;
    if (word == a || word == b) return true;
  }
  return false;
}

const CLI::App& parser::wanted_command() const {
  for (const std::string& word : words_)
    for (const auto& [what, app] : commands_)
      if (app->get_name() == word) return *app;
  return app_;
}

int parser::show_help() const {
  const CLI::App& wanted = wanted_command();
  std::cout << wanted.help(&wanted == &app_ ? "" : program);
  return accumulate::exit_fine;
}

int parser::show_version() {
  std::cout << version_text(program,
                            {{"datastore", accumulate::datastore_version},
                             {"export", archive_version}});
  return accumulate::exit_fine;
}

int parser::complain(const std::string& text) {
  std::cerr << program << ": " << text::visible_text(text) << "\nTry '"
            << program << " --help'.\n";
  return accumulate::exit_unusable;
}

// Throws the first word that nothing takes.
void parser::check_extras() const {
  std::vector<std::string> extras = app_.remaining(true);
  std::erase(extras, "--");  // which the library leaves behind
  if (extras.empty()) return;
  std::vector<std::string> known;
  for (const CLI::App* one : {&app_, &wanted_command()})
    for (const CLI::Option* option : one->get_options())
      for (const std::string& name : option->get_lnames())
        known.push_back("--" + name);
  for (const auto& [what, app] : commands_)
    known.push_back(app->get_name());
  const std::string word = extras.front().substr(0, extras.front().find('='));
  if (word.starts_with("-") &&
      std::find(known.begin(), known.end(), word) != known.end())
    throw mistake{"'" + word + "' stands behind the command"};
  const std::string nearest = str::nearest_word(word, known);
  throw mistake{"'" + word + "' is not understood" +
                (nearest.empty() ? "" : "; did you mean '" + nearest + "'?")};
}

std::optional<int> parser::parse() {
  if (asks_for("-h", "--help")) return show_help();
  if (asks_for("--version", "--version")) return show_version();
  try {
    std::vector<std::string> reversed(words_.rbegin(), words_.rend());
    app_.parse(reversed);
    check_extras();
    interpret();
  } catch (const CLI::ParseError& error) {
    return complain(error.what());
  } catch (const mistake& error) {
    return complain(error.text);
  }
  return {};
}

void check_one_of(const std::string& name, const std::string& value,
                  const std::vector<std::string>& values) {
  if (std::find(values.begin(), values.end(), value) != values.end()) return;
  std::string text = name + ": '" + value + "' is none of";
  for (const std::string& known : values)
    text += " " + known;
  const std::string nearest = str::nearest_word(value, values);
  throw mistake{text +
                (nearest.empty() ? "" : "; did you mean '" + nearest + "'?")};
}

int parser::log_level() const {
  std::vector<std::string> known;
  known.reserve(log_level_names.size());
  for (const auto& [name, value] : log_level_names)
    known.push_back(name);
  check_one_of("--log-level", level_, known);
  const int level = log_level_names.at(level_);
  if (to_.quiet) return std::min<int>(level, log::level_error);
  return std::min<int>(level + verbose_, log::level_debug);
}

void parser::interpret_marks() {
  std::string problem;
  if (to_.what == command::baseline)
    problem = read_baseline_words(baseline_words_, to_.baseline);
  if (to_.what == command::accept)
    problem = read_accept_words(accept_words_, to_.accept);
  if (!problem.empty()) throw mistake{problem};
}

void parser::interpret() {
  check_one_of("--color", color_, {"auto", "always", "never"});
  check_one_of("--format", to_.query.form, row_forms());
  check_one_of("--format", to_.facts.form, fact_forms());
  to_.log_level = log_level();
  to_.to_file.quiet = to_.from_file.quiet = to_.prune.quiet = to_.facts.quiet =
      to_.baseline.quiet = to_.accept.quiet = to_.quiet;
  const auto parsed =
      std::find_if(commands_.begin(), commands_.end(),
                   [](const auto& each) { return each.second->parsed(); });
  if (parsed == commands_.end())
    throw mistake{"a command is missing, such as info, runs or show"};
  to_.what = parsed->first;
  interpret_marks();
  if (to_.what == command::show && to_.show.run.empty())
    throw mistake{"show needs a RUN"};
  if (to_.what == command::query &&
      to_.query.sql.empty() == to_.query.file.empty())
    throw mistake{"query needs SQL, or --file F, and not both"};
}

}  // namespace

std::optional<int> read_command_line(int argc, const char* const* argv,
                                     command_line& result) {
  return parser(argc, argv, result).parse();
}

}  // namespace zelk::db
