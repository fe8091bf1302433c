#include "src/collect/src/accumulate/scan.h"

#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <thread>

#include "src/collect/src/accumulate/announce.h"
#include "src/collect/src/accumulate/collector_link.h"
#include "src/collect/src/accumulate/descriptor_limit.h"
#include "src/collect/src/accumulate/directory_watch.h"
#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/accumulate/progress_lines.h"
#include "src/collect/src/accumulate/stop_signals.h"
#include "src/collect/src/accumulate/summary.h"
#include "src/common/log/error_log.h"

namespace zelk::accumulate {

namespace {

constexpr char source[] = "src/collect/src/accumulate/scan";

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Between two looks at files that somebody else has locked.
constexpr milliseconds lock_look{100};
// Runs of a watched directory are closed when nothing came for so long.
constexpr std::chrono::seconds run_idle{5};

void say_error(const std::string& text) {
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream() << text;
}

class scan_session {
 public:
  explicit scan_session(const scan_options& options)
      : options_(options),
        meter_(options.progress),
        started_(steady_clock::now()),
        groups_(options.run) {}

  int run();

 private:
  void open();
  scanner_options files() const;
  bool stopped() { return signals_.look() > 0; }
  void scan_once();
  void wait_for_writers();
  void watch();
  void look(directory_watch& changes);
  void open_again(backoff& pause);
  void show_progress();
  void show_statistics();
  void refused(const refused_file& file);
  void part_runs();
  void close_runs();
  int report();
  int status() const;
  std::uint64_t handled() const;

  const scan_options& options_;
  stop_signals signals_;
  meter meter_;
  progress_lines lines_;
  steady_clock::time_point started_;
  std::unique_ptr<result_store> store_;
  run_groups groups_;
  std::optional<scanner> scanner_;
  std::int64_t run_ = 0;  // for all files; 0: by groups
  refusal_log refusals_;  // rations the lines of a watch
  bool given_up_ = false;
  bool runs_closed_ = true;
  std::uint64_t handled_before_ = 0;
  steady_clock::time_point stored_at_;
  steady_clock::time_point told_at_ = steady_clock::now();
  std::vector<run_report> closed_;
};

int scan_session::run() {
  try {
    open();
  } catch (const datastore::store_error& error) {
    say_error(error.what());
    return exit_unusable;
  }
  signals_.end_at_second();
  options_.watch ? watch() : scan_once();
  show_progress();
  close_runs();
  store_->checkpoint();
  const int status = report();
  // A watch is there to be stopped; a scan that was stopped was not finished.
  if (signals_.count() > 0 && (!options_.watch || signals_.first() == SIGINT)) {
    meter_.clear();
    std::cout.flush();
    signals_.die();
  }
  return status;
}

// Throws datastore::store_error.
void scan_session::open() {
  // One descriptor for each file of the batch that is made and of the one that
  // is being committed.
  store_options store = options_.store;
  store.batch_rows = std::clamp<std::size_t>(raise_descriptor_limit() / 2, 1,
                                             store.batch_rows);
  store.growth = 1;
  store_ = std::make_unique<result_store>(store);
  close_abandoned_runs(store_->database());
  if (options_.run.run != "auto")
    run_ = open_run(store_->database(), options_.run);
  scanner_.emplace(
      files(), *store_, groups_, [this] { return show_progress(), stopped(); },
      [this](const refused_file& file) { refused(file); });
}

scanner_options scan_session::files() const {
  scanner_options files = options_.files;
  files.run = run_;
  files.label = options_.run.label;
  if (options_.watch) files.store_wait = std::chrono::seconds(-1);
  return files;
}

void scan_session::refused(const refused_file& file) {
  if (!options_.watch) return;  // the report lists them
  refusals_.add(
      refusal::malformed, "",
      "Refused the file '" + file.name + "': " + file.reason +
          (file.moved_to.empty() ? "" : " (moved to " + file.moved_to + ")"));
}

void scan_session::scan_once() {
  given_up_ = !scanner_->pass();
  if (!given_up_ && scanner_->report().writing > 0) wait_for_writers();
  runs_closed_ = false;
}

// Comes back to what was locked, as long as --lock-wait allows.
void scan_session::wait_for_writers() {
  const auto until = steady_clock::now() + options_.lock_wait;
  while (!given_up_ && scanner_->report().writing > 0 && !stopped() &&
         steady_clock::now() < until) {
    std::this_thread::sleep_for(lock_look);
    given_up_ = !scanner_->pass();
  }
}

void scan_session::watch() {
  directory_watch changes(options_.files.directories, options_.poll_interval);
  announce_ready(options_.ready_fd, options_.files.directories);
  backoff pause;
  look(changes);
  while (!stopped()) {
    if (given_up_)
      open_again(pause);
    else if (changes.wait(signals_.fd(), milliseconds(1000)))
      look(changes);
    refusals_.settle();
    show_progress();
    show_statistics();
    if (!runs_closed_ && steady_clock::now() - stored_at_ > run_idle)
      close_runs();
  }
  announce_stopping();
  refusals_.settle(steady_clock::now(), true);
}

void scan_session::look(directory_watch& changes) {
  const std::uint64_t unfinished =
      scanner_->report().writing + scanner_->report().incomplete;
  given_up_ = !scanner_->pass();
  if (handled() == handled_before_) return;
  if (unfinished == 0 && handled_before_ > 0) changes.found_new_files();
  part_runs();
  handled_before_ = handled();
  stored_at_ = steady_clock::now();
  runs_closed_ = false;
}

// The files are safe where they are, so a watch never gives up for good.
void scan_session::open_again(backoff& pause) {
  const auto until = steady_clock::now() + pause.next();
  while (steady_clock::now() < until && !stopped())
    std::this_thread::sleep_for(milliseconds(50));
  try {
    store_->reopen();
    groups_ = run_groups(options_.run);
    given_up_ = !scanner_->pass();
    if (!given_up_) pause.reset();
  } catch (const datastore::store_error& error) {
    log::ErrorLog(source, __func__, __LINE__, log::level_debug).stream()
        << error.what();
  }
}

std::uint64_t scan_session::handled() const {
  const scan_report& now = scanner_->report();
  return now.stored + now.duplicates;
}

void scan_session::show_progress() {
  const bool as_lines = options_.progress == progress_style::lines;
  if (!meter_.shown() && !as_lines) return;
  const scan_report& now = scanner_->report();
  const std::string text = fmt::format(
      "{} files stored, {} stored before, {} refused, {} being written",
      now.stored, now.duplicates, now.refused, now.writing);
  meter_.show(text);
  if (!as_lines) return;
  if (const auto line =
          lines_.look(handled(), expected_results(options_.run), text))
    std::cerr << "zelk-accumulate: " + *line + "\n" << std::flush;
}

void scan_session::show_statistics() {
  if (options_.stats_interval.count() == 0 || options_.quiet ||
      steady_clock::now() - told_at_ < options_.stats_interval)
    return;
  told_at_ = steady_clock::now();
  const scan_report& now = scanner_->report();
  std::string line = fmt::format(
      "zelk-accumulate: {} files stored, {} stored before, {} refused, {} "
      "being written, {} incomplete",
      now.stored, now.duplicates, now.refused, now.writing, now.incomplete);
  if (const std::string trouble = store_->trouble(); !trouble.empty())
    line += "; " + trouble;
  announce_status(line);
  std::cerr << line + "\n" << std::flush;
}

// Each look of a watch is to labelled results what a scan of its own is.
void scan_session::part_runs() {
  if (given_up_) return;
  try {
    groups_.part(store_->database());
  } catch (const datastore::store_error& error) {
    say_error(error.what());
  }
}

void scan_session::close_runs() {
  runs_closed_ = true;
  if (given_up_) return;
  try {
    datastore::database& base = store_->database();
    groups_.close(base);
    if (run_ != 0) close_run(base, run_);
    closed_.clear();
    for (const auto& [number, stored] : scanner_->report().by_run) {
      const std::optional<accumulate::run> ended = find_run(base, number);
      closed_.push_back({number, ended, missing_results(base, number)});
    }
  } catch (const datastore::store_error& error) {
    say_error(error.what());
  }
}

int scan_session::report() {
  meter_.clear();
  const int result = status();
  scan_summary summary;
  summary.files = scanner_->report();
  summary.runs = closed_;
  summary.given_up = given_up_;
  summary.seconds =
      std::chrono::duration<double>(steady_clock::now() - started_).count();
  if (options_.json)
    std::cout << json_of(summary);
  else if (!options_.quiet || result != exit_fine)
    std::cout << text_of(summary);
  std::cout.flush();
  return result;
}

int scan_session::status() const {
  const scan_report& files = scanner_->report();
  const bool anything = files.stored + files.duplicates > 0;
  if (given_up_ || files.unreadable)
    return anything ? exit_partial : exit_nothing;
  if (files.refused > 0 && !anything) return exit_nothing;
  const bool lacking =
      std::any_of(closed_.begin(), closed_.end(), [](const run_report& one) {
        return !one.missing.empty() || unnamed_missing(one) > 0;
      });
  const std::uint64_t left = files.refused + files.writing + files.incomplete +
                             files.strange + files.not_removed;
  return left > 0 || lacking ? exit_partial : exit_fine;
}

}  // namespace

int scan(const scan_options& options) {
  if (const std::string problem =
          descriptor_problem("--ready-fd", options.ready_fd);
      !problem.empty()) {
    say_error(problem);
    return exit_unusable;
  }
  for (const std::string& path : options.files.directories) {
    if (::access(path.c_str(), R_OK | X_OK) == 0) continue;
    say_error("Unable to read directory '" + path + "'");
    return exit_unusable;
  }
  return scan_session(options).run();
}

}  // namespace zelk::accumulate
