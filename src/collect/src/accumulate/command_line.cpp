#include "src/collect/src/accumulate/command_line.h"

#include <algorithm>
#include <iostream>
#include <vector>

#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/accumulate/option_reader.h"
#include "src/collect/src/accumulate/schema.h"
#include "src/common/log/settings.h"
#include "src/common/names/names.h"
#include "src/common/names/version.h"

namespace zelk::accumulate {

namespace {

void check_one_of(const std::string& name, const std::string& value,
                  const std::vector<std::string>& values) {
  if (std::find(values.begin(), values.end(), value) != values.end()) return;
  std::string text = name + ": '" + value + "' is none of";
  for (const std::string& known : values)
    text += " " + known;
  throw usage_mistake(text);
}

class parser {
 public:
  parser(int argc, const char* const* argv, command_line& result)
      : result_(result),
        reader_(result),
        words_(reader_.words),
        all_(argv + std::min(argc, 1), argv + argc) {
    const auto end = std::find(all_.begin(), all_.end(), "--");
    if (end != all_.end()) operands_.assign(end + 1, all_.end());
    options_.assign(all_.begin(), end);
  }

  std::optional<int> parse();

 private:
  bool asks_for(const std::string& word) const {
    return std::find(options_.begin(), options_.end(), word) != options_.end();
  }
  void interpret();
  void interpret_common();
  int log_level() const;
  void interpret_run(run_request& run);
  store_options store() const;
  void interpret_listen();
  void interpret_scan();
  void interpret_replay();

  command_line& result_;
  option_reader reader_;
  const option_words& words_;
  std::vector<std::string> all_;
  std::vector<std::string> options_;   // in front of "--"
  std::vector<std::string> operands_;  // behind it
};

// Help is given wherever it is asked for, and whatever else is wrong.
std::optional<int> parser::parse() {
  if (asks_for("-h") || asks_for("--help")) {
    std::cout << reader_.help(options_);
    return exit_fine;
  }
  if (asks_for("--version")) {
    std::cout << version_text(program_name, {{"datastore", datastore_version}});
    return exit_fine;
  }
  try {
    reader_.read(options_);
    interpret();
  } catch (const usage_mistake& error) {
    std::cerr << program_name << ": " << error.what() << "\nTry '"
              << program_name << " --help'.\n";
    return exit_unusable;
  }
  return {};
}

void parser::interpret() {
  interpret_common();
  if (reader_.listens()) return interpret_listen();
  if (reader_.scans()) return interpret_scan();
  if (reader_.replays()) return interpret_replay();
  throw usage_mistake("expected one of listen, scan, replay");
}

void parser::interpret_common() {
  // Smaller ones hold no result, and larger ones no machine.
  constexpr std::size_t least = 4096, most = std::size_t{1} << 40;
  if (words_.max_record < least || words_.max_record > most)
    throw usage_mistake("--max-record: expected 4 KiB to 1 TiB");
  result_.config_file = words_.config;
  result_.datastore = words_.datastore;
  result_.log_level = log_level();
  check_one_of("--color", words_.color, {"auto", "always", "never"});
  check_one_of("--progress", words_.progress, {"auto", "bar", "lines", "none"});
  progress_style style = progress_style::automatic;
  if (words_.progress == "bar") style = progress_style::bar;
  if (words_.progress == "lines") style = progress_style::lines;
  if (words_.progress == "none" || words_.quiet) style = progress_style::none;
  result_.listen.progress = result_.scan.progress = style;
  result_.listen.quiet = result_.scan.quiet = result_.replay.quiet =
      words_.quiet;
}

int parser::log_level() const {
  const auto found = log_level_names.find(words_.level);
  if (found == log_level_names.end())
    throw usage_mistake("--log-level: '" + words_.level +
                        "' is none of alert critical error warning notice info "
                        "debug");
  if (words_.quiet) return std::min<int>(found->second, log::level_error);
  return std::min<int>(found->second + words_.verbose, log::level_debug);
}

// Which a list of runs would pass on to terminals.
bool is_control(char c) {
  return (static_cast<unsigned char>(c) < ' ') || c == '\x7f';
}

void parser::interpret_run(run_request& run) {
  if (!words_.run.empty()) run.run = words_.run;
  for (const auto& [name, text] :
       {std::pair("--label", &words_.label), std::pair("--note", &words_.note)})
    if (std::any_of(text->begin(), text->end(), is_control))
      throw usage_mistake(std::string(name) + ": it has control characters");
  run.label = words_.label;
  run.note = words_.note;
  run.command_line = program_name;
  for (const std::string& word : all_)
    run.command_line += " " + word;
  if (!words_.providers.empty() && words_.expect.empty())
    throw usage_mistake("--expect-provider needs --expect: of which nodes?");
  for (const std::string& text : words_.expect)
    if (const std::string problem =
            read_expectation(text, words_.providers, run);
        !problem.empty())
      throw usage_mistake("--expect: " + problem);
}

store_options parser::store() const {
  store_options store;
  store.batch_rows = words_.batch;
  store.batch_time = std::chrono::milliseconds(words_.commit_ms);
  return store;
}

void parser::interpret_listen() {
  listen_options& to = result_.listen;
  if (!operands_.empty())
    throw usage_mistake("'" + operands_.front() + "' is not understood");
  result_.what = command_line::command::listen;
  if (to.endpoints.empty()) to.endpoints.emplace_back(default_endpoint);
  interpret_run(to.writer.run);
  to.limits.max_record = words_.max_record;
  to.limits.heartbeat = std::chrono::seconds(words_.heartbeat);
  to.time_limit = std::chrono::seconds(words_.time_limit);
  to.stop_wait = std::chrono::seconds(words_.stop_wait);
  to.stats_interval = std::chrono::seconds(words_.stats_interval);
  to.ready_fd = words_.ready_fd;
  to.control_fd = words_.control_fd;
  to.events_fd = words_.events_fd;
  to.json = words_.json;
  to.writer.store = store();
  to.writer.bad_directory = words_.bad_dir;
  const bool expects =
      !to.writer.run.expected.empty() || to.writer.run.results_expected > 0;
  if (to.until_complete && !expects)
    throw usage_mistake(
        "--until-complete needs --expect: what would be complete?");
  // More room for larger records comes by itself; less than asked does not.
  const std::size_t least = least_memory(words_.max_record);
  if (!reader_.memory_given()) to.memory = std::max(to.memory, least);
  if (to.memory < least)
    throw usage_mistake("--memory: records of " +
                        std::to_string(words_.max_record) + " bytes need " +
                        std::to_string(least) + " at least");
}

void parser::interpret_scan() {
  scan_options& to = result_.scan;
  to.files.directories.insert(to.files.directories.end(), operands_.begin(),
                              operands_.end());
  result_.what = command_line::command::scan;
  to.run.run = "auto";
  interpret_run(to.run);
  if (to.files.keep && words_.remove)
    throw usage_mistake("--keep and --delete exclude each other");
  to.files.max_record = words_.max_record;
  to.files.bad_directory = words_.bad_dir;
  to.files.incomplete_age = std::chrono::seconds(words_.incomplete_age);
  to.files.store_wait = std::chrono::seconds(words_.store_wait);
  to.lock_wait = std::chrono::seconds(words_.lock_wait);
  to.poll_interval = std::chrono::milliseconds(
      static_cast<std::int64_t>(words_.poll_interval * 1000));
  to.stats_interval = std::chrono::seconds(words_.stats_interval);
  to.ready_fd = words_.ready_fd;
  to.json = words_.json;
  to.store = store();
}

void parser::interpret_replay() {
  replay_options& to = result_.replay;
  to.files.insert(to.files.end(), operands_.begin(), operands_.end());
  result_.what = command_line::command::replay;
  if (to.files.empty()) throw usage_mistake("replay needs a FILE");
  to.max_record = words_.max_record;
  to.wait = std::chrono::seconds(words_.replay_wait);
}

}  // namespace

std::optional<int> read_command_line(int argc, const char* const* argv,
                                     command_line& result) {
  return parser(argc, argv, result).parse();
}

}  // namespace zelk::accumulate
