#include "src/collect/src/accumulate/option_reader.h"

#include <algorithm>

#include "src/common/cli/validators.h"
#include "src/common/str/nearest_word.h"

namespace zelk::accumulate {

namespace {

// Room for two of the largest records and what else is on the way.
constexpr std::size_t default_memory = std::size_t{160} << 20;

constexpr char examples[] =
    "\nExamples:\n"
    "  zelk-accumulate listen --bind tcp://*:5557 --expect node[001-128]\n"
    "  zelk-accumulate scan /shared/zelk/spool\n"
    "  zelk-accumulate scan --watch /shared/zelk/spool\n"
    "  zelk-accumulate replay bad/ZELK_* --to tcp://head01:5557\n"
    "\n"
    "Exit status: 0 fine, 1 partial, 2 nothing accumulated, 3 could not "
    "start.\n";

}  // namespace

CLI::App& option_reader::command(const char* name, const char* description) {
  CLI::App* made = app_.add_subcommand(name, description);
  made->fallthrough();
  made->allow_extras();
  made->option_defaults()->group("Options");
  return *made;
}

option_reader::option_reader(command_line& result) : result_(result) {
  app_.allow_extras();
  app_.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  formatter_->column_width(34);
  app_.formatter(formatter_);
  app_.set_help_flag();  // looked for by hand: it wins wherever it stands
  declare_common();
  declare_listen();
  declare_scan();
  declare_replay();
}

void option_reader::declare_common() {
  app_.option_defaults()->group("Common options");
  app_.add_flag("-h,--help", words.help, "this text");
  app_.add_flag("--version", words.version, "name, version, formats");
  app_.add_option("-c,--config", words.config,
                  "configuration [ZELK_CONFIG, ROOT/etc/zelk.xml]")
      ->type_name("FILE")
      ->check(cli::filled());
  app_.add_option("--db", words.datastore,
                  "sqlite:PATH or a path [ZELK_DB, the configuration's]")
      ->type_name("URI")
      ->check(cli::filled());
  app_.add_option("-l,--log-level", words.level,
                  "alert critical error warning notice info debug [warning]")
      ->type_name("LEVEL");
  app_.add_flag("-v,--verbose", words.verbose, "one step more on stderr");
  app_.add_flag("-q,--quiet", words.quiet, "results and errors only");
  app_.add_option("--progress", words.progress, "auto bar lines none [auto]")
      ->type_name("WHEN");
  app_.add_option("--color", words.color,
                  "auto always never; nothing here is coloured yet [auto]")
      ->type_name("WHEN");
  app_.add_flag("--no-color", words.no_color, "as --color never");
}

void option_reader::declare_runs(CLI::App& command) {
  command.add_option("--label", words.label, "label of the run")
      ->type_name("TEXT");
  command
      .add_option(
          "--expect", words.expect,
          "what should come: a node set, a node file (with a slash), or "
          "a number of results; repeatable")
      ->type_name("WHAT")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->allow_extra_args(false);
  command
      .add_option("--expect-provider", words.providers,
                  "of each expected node a result of this provider, or of one "
                  "option set of it; repeatable")
      ->type_name("NAME[:OPTION]")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->allow_extra_args(false);
}

void option_reader::declare_storing(CLI::App& command) {
  command
      .add_option("--batch", words.batch,
                  "records that make a transaction [200]")
      ->type_name("N")
      ->check(cli::number_from(1, 100'000));
  command
      .add_option("--commit-ms", words.commit_ms,
                  "age of a transaction at most, ms [500]")
      ->type_name("M")
      ->check(cli::number_from(1, 60'000));
  command
      .add_option("--max-record", words.max_record,
                  "refuse larger records [64 MiB]")
      ->transform(cli::size_value())
      ->type_name("SIZE");
  command
      .add_option("--stats-interval", words.stats_interval,
                  "s between statistics lines on stderr, 0: none [60]")
      ->type_name("S")
      ->check(cli::number_from(0, 86'400));
  command.add_flag("--json", words.json, "the summary as JSON");
}

void option_reader::declare_fd(CLI::App& command, const char* name, int& fd,
                               const char* text) {
  command.add_option(name, fd, text)
      ->type_name("N")
      ->check(cli::number_from(0, 1 << 20));
}

void option_reader::declare_listen() {
  listen_ = &command("listen", "receive worker messages and store them");
  listen_options& to = result_.listen;
  listen_
      ->add_option("--bind", to.endpoints,
                   "where to listen, tcp://HOST:PORT or ipc://PATH; repeatable "
                   "[tcp://127.0.0.1:5557]")
      ->type_name("ENDPOINT")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->allow_extra_args(false);
  listen_->add_option("--run", words.run, "put results into this run [new]")
      ->type_name("RUN|new")
      ->check(cli::filled());
  listen_->add_option("--note", words.note, "stored with the run")
      ->type_name("TEXT");
  declare_runs(*listen_);
  listen_->add_flag("--until-complete", to.until_complete,
                    "end when everything expected has come and every peer is "
                    "gone");
  listen_
      ->add_option("--timeout", words.time_limit,
                   "end after S seconds at the latest, 0: never [0]")
      ->type_name("S")
      ->check(cli::number_from(0, 10'000'000));
  listen_
      ->add_option("--stop-wait", words.stop_wait,
                   "how long to go on receiving and storing at the end [10]")
      ->type_name("S")
      ->check(cli::number_from(0, 86'400));
  listen_
      ->add_option(
          "--heartbeat", words.heartbeat,
          "silence after which a peer is asked for a sign of life, and "
          "after as much again let go [30]")
      ->type_name("S")
      ->check(cli::number_from(1, 86'400));
  declare_storing(*listen_);
  declare_fd(*listen_, "--ready-fd", words.ready_fd,
             "write \"READY ENDPOINT\" to this descriptor when ready");
  declare_fd(*listen_, "--control-fd", words.control_fd,
             "read a collector's orders from this descriptor, until it ends");
  declare_fd(*listen_, "--events-fd", words.events_fd,
             "write what is stored to this descriptor, a JSON object a line");
  to.memory = default_memory;
  listen_
      ->add_option("--memory", to.memory,
                   "for records not yet stored [160 MiB]")
      ->transform(cli::size_value())
      ->type_name("SIZE");
  listen_
      ->add_option("--bad-dir", words.bad_dir,
                   "records that the datastore refuses are kept here [DB.bad]")
      ->type_name("DIR")
      ->check(cli::filled());
  listen_
      ->add_option("--unsaved-dir", to.writer.unsaved_directory,
                   "records that could not be stored in time [DB.unsaved]")
      ->type_name("DIR")
      ->check(cli::filled());
}

void option_reader::declare_scan() {
  scan_ = &command("scan", "take in result files, then remove them");
  scan_options& to = result_.scan;
  scan_
      ->add_option("DIR", to.files.directories,
                   "where the files are [the configuration's output_directory]")
      ->type_name("")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  scan_->add_flag("--watch", to.watch, "go on, and take in what comes");
  scan_
      ->add_option("--run", words.run,
                   "put results into this run [by label file, or one for each "
                   "time without a gap of 10 min]")
      ->type_name("RUN|new")
      ->check(cli::filled());
  declare_runs(*scan_);
  scan_->add_flag("--keep", to.files.keep, "leave stored files where they are");
  scan_->add_flag("--delete", words.remove,
                  "remove files once they are stored (the default)");
  scan_
      ->add_option("--bad-dir", words.bad_dir,
                   "refused files are moved here [DIR/bad]")
      ->type_name("DIR")
      ->check(cli::filled());
  scan_
      ->add_option("--lock-wait", words.lock_wait,
                   "how long to wait for files that are being written [5]")
      ->type_name("S")
      ->check(cli::number_from(0, 86'400));
  scan_
      ->add_option("--incomplete-age", words.incomplete_age,
                   "unlocked files that are not whole are refused when they "
                   "are so old [30]")
      ->type_name("S")
      ->check(cli::number_from(0, 86'400));
  scan_
      ->add_option("--store-wait", words.store_wait,
                   "how long to wait for a datastore that takes nothing [30]")
      ->type_name("S")
      ->check(cli::number_from(0, 86'400));
  scan_
      ->add_option("--poll-interval", words.poll_interval,
                   "s between looks where nothing tells of changes [2]")
      ->type_name("S")
      ->check(cli::number_from(0.05, 86'400.0));
  declare_storing(*scan_);
  declare_fd(*scan_, "--ready-fd", words.ready_fd,
             "with --watch: write \"READY DIR\" to this descriptor when "
             "the directories are watched");
}

void option_reader::declare_replay() {
  replay_ = &command("replay", "send result files to an accumulator");
  replay_options& to = result_.replay;
  replay_->add_option("FILE", to.files, "result files, or directories of them")
      ->type_name("")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  to.endpoint = default_endpoint;
  replay_
      ->add_option("--to", to.endpoint,
                   "the accumulator [tcp://127.0.0.1:5557]")
      ->type_name("ENDPOINT");
  replay_
      ->add_option("--wait", words.replay_wait,
                   "how long to wait for a receiver that takes nothing [30]")
      ->type_name("S")
      ->check(cli::number_from(1, 86'400));
  replay_
      ->add_option("--max-record", words.max_record,
                   "refuse larger records [64 MiB]")
      ->transform(cli::size_value())
      ->type_name("SIZE");
}

bool option_reader::memory_given() const {
  return listen_->get_option("--memory")->count() > 0;
}

CLI::App& option_reader::wanted_command(
    const std::vector<std::string>& options) {
  for (CLI::App* one : {listen_, scan_, replay_})
    if (std::find(options.begin(), options.end(), one->get_name()) !=
        options.end())
      return *one;
  return app_;
}

std::string option_reader::help(const std::vector<std::string>& options) {
  CLI::App& wanted = wanted_command(options);
  const std::string text =
      &wanted == &app_
          ? app_.help()
          : wanted.help(program_name) +
                formatter_->make_groups(&app_, CLI::AppFormatMode::Normal);
  return text + examples;
}

// Throws the first word that nothing takes.
void option_reader::check_extras(const std::vector<std::string>& options) {
  const std::vector<std::string> extras = app_.remaining(true);
  if (extras.empty()) return;
  std::vector<std::string> known;
  for (const CLI::App* one :
       std::initializer_list<const CLI::App*>{&app_, &wanted_command(options)})
    for (const CLI::Option* option : one->get_options())
      for (const std::string& name : option->get_lnames())
        known.push_back("--" + name);
  for (const CLI::App* one : {listen_, scan_, replay_})
    known.push_back(one->get_name());
  const std::string word = extras.front().substr(0, extras.front().find('='));
  if (word.starts_with("-") &&
      std::find(known.begin(), known.end(), word) != known.end())
    throw usage_mistake("'" + word + "' stands behind the command");
  const std::string nearest = str::nearest_word(word, known);
  throw usage_mistake(
      "'" + word + "' is not understood" +
      (nearest.empty() ? "" : "; did you mean '" + nearest + "'?"));
}

void option_reader::read(const std::vector<std::string>& options) {
  try {
    std::vector<std::string> reversed(options.rbegin(), options.rend());
    app_.parse(reversed);
  } catch (const CLI::ParseError& error) {
    throw usage_mistake(error.what());
  }
  check_extras(options);
}

}  // namespace zelk::accumulate
