// The order of things, and what may break it.
//
//   open     accumulator started, ready, run made     --> nothing was begun (3)
//   follow   the phases of the plan, one by one
//   settle   results that are on their way
//   close    reasons told, the run closed
//   report   summary, exit status
//
// A signal ends `follow` and `settle`: the workers are stopped, what has come
// is stored, the run is closed as interrupted. A second one ends everything at
// once; the accumulator then closes the run by itself. An accumulator that dies
// ends `follow` too, since nothing could be stored any more. Every wait below
// has a limit.

#include "src/collect/src/collect/session.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "src/collect/src/collect/accumulator_child.h"
#include "src/collect/src/collect/chatter.h"
#include "src/collect/src/collect/display.h"
#include "src/collect/src/collect/doctor.h"
#include "src/collect/src/collect/event_log.h"
#include "src/collect/src/collect/exit_codes.h"
#include "src/collect/src/collect/helper_process.h"
#include "src/collect/src/collect/missing_reasons.h"
#include "src/collect/src/collect/phase_runner.h"
#include "src/collect/src/collect/run_summary.h"
#include "src/collect/src/collect/session_parts.h"
#include "src/collect/src/collect/shared_hosts.h"
#include "src/collect/src/collect/stop_signals.h"
#include "src/collect/src/collect/stored_results.h"
#include "src/collect/src/collect/worker_launch.h"

namespace zelk::collect {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using clock = event_loop::clock;

// An accumulator that cannot begin says so at once; one that waits for another
// program's transaction may take a while.
constexpr seconds ready_limit{30};
constexpr seconds silent_start{1};
// For zelk-db and for a scan of the shared directory, which may be slow.
constexpr seconds helper_limit{300};
// Silence after which a result is no longer on its way: the accumulator stores
// what it has within half a second.
constexpr milliseconds settled{2000};
constexpr milliseconds settle_limit{30'000};
constexpr milliseconds between_looks{50};
// Peers are heard for 10 s, and a store that takes nothing is waited for as
// long.
constexpr seconds close_limit{60};
constexpr seconds patience_with_stop{40};

constexpr char interrupted[] = "interrupted";

class session {
 public:
  session(const collect_settings& settings, const plan& made)
      : settings_(settings),
        plan_(made),
        ledger_(made, settings.timeout.has_value()),
        display_(loop_, settings, ledger_),
        accumulator_(loop_) {}

  int run();
  const stop_signals& signals() const { return signals_; }
  std::optional<std::int64_t> run_number() const { return run_; }

 private:
  // Runs the loop until `over`, a second signal, or the limit. Returns whether
  // `over` is true.
  bool wait(clock::duration limit, const std::function<bool()>& over);
  void watch_signals();
  void stop(const std::string& reason);

  int open();
  int refuse(const std::string& problem);
  bool directory_is_shared();
  bool start_accumulator();
  void on_event(const accumulator_event& event);
  void on_result(const accumulator_event& event);
  void on_accumulator_end(int status);
  bool ask_what_is_stored(const std::function<void(const stored_result&)>&);
  bool run_helper(helper_setup setup, const std::string& name);
  bool take_in_files(bool into_run);
  void make_launcher_and_runner();
  launch launch_of(const task& what);
  void on_ended(const launch_outcome& outcome);
  void follow();
  void settle();
  void take_in_shared();
  void close();
  int report();
  run_summary summary();

  const collect_settings& settings_;
  const plan& plan_;
  stop_signals signals_;
  event_loop loop_;
  ledger ledger_;
  display display_;
  event_log events_;
  chatter chatter_;
  shared_hosts hosts_;
  run_endpoint endpoint_;
  worker_setup workers_;
  accumulator_child accumulator_;
  std::unique_ptr<launcher> launcher_;
  std::unique_ptr<phase_runner> runner_;
  std::string bound_;  // what the accumulator says; "": not ready
  std::optional<std::int64_t> run_;
  std::string state_;  // of the closed run
  std::int64_t started_usec_ = wall_clock_usec();
  clock::time_point heard_at_ = clock::now();
  bool accumulator_ended_ = false;
  bool closing_ = false;
  bool stopping_ = false;
  std::string stop_reason_;
  std::string trouble_;
};

bool session::wait(clock::duration limit, const std::function<bool()>& over) {
  const auto end = clock::now() + limit;
  while (!over()) {
    const auto now = clock::now();
    if (now >= end || signals_.count() > 1) return over();
    loop_.run_once(end - now);
  }
  return true;
}

void session::watch_signals() {
  loop_.watch(signals_.fd(), POLLIN, [this](short) {
    const int before = signals_.count();
    if (signals_.look() == 0 || before > 0) return;
    display::complain("stopping (again to abandon) …");
    events_.write("stopping",
                  {{"signal", static_cast<std::int64_t>(signals_.first())}});
    stop(interrupted);
  });
}

void session::stop(const std::string& reason) {
  if (stopping_) return;
  stopping_ = true;
  stop_reason_ = reason;
  if (runner_ != nullptr) runner_->stop(reason);
  if (launcher_ != nullptr) launcher_->stop();
}

int session::refuse(const std::string& problem) {
  display::complain("zelk-collect: " + problem);
  return exit_unusable;
}

int session::open() {
  if (settings_.check && !program_is_here("zelk-check"))
    return refuse("--check: expected zelk-check beside this program");
  const std::string problem = events_.open(settings_.events);
  if (!problem.empty()) return refuse(problem);
  display_.say(head_line(plan_, settings_));
  endpoint_ = find_endpoint(settings_, plan_);
  if (!endpoint_.problem.empty()) return refuse(endpoint_.problem);
  if (settings_.async && !directory_is_shared()) return exit_unusable;
  events_.write("begin",
                {{"nodes", static_cast<std::int64_t>(ledger_.nodes())},
                 {"expected", static_cast<std::int64_t>(ledger_.expected())},
                 {"launcher", settings_.launcher}});
  if (!start_accumulator()) return exit_unusable;
  return exit_complete;
}

// Results that go where nobody looks for them are worse than none.
bool session::directory_is_shared() {
  const precheck_report report =
      run_precheck(precheck_request_of(settings_, plan_),
                   [this] { return signals_.look() > 0; });
  if (report.stopped) return false;
  for (const std::string& line : report.errors)
    display::complain("zelk-collect: " + line);
  for (const std::string& line : report.warnings)
    display_.say("zelk-collect: " + line);
  const std::string problem = sharing_problem(report);
  return problem.empty() || refuse(problem) == exit_complete;
}

bool session::start_accumulator() {
  accumulator_listener listener;
  listener.ready = [this](const std::string& endpoint) { bound_ = endpoint; };
  listener.event = [this](const accumulator_event& event) { on_event(event); };
  listener.message = [](std::string_view line) {
    display::complain("zelk-accumulate: " + without_prefix(line));
  };
  listener.end = [this](int status) { on_accumulator_end(status); };
  const std::string problem =
      accumulator_.start({own_program("zelk-accumulate"), endpoint_.bind,
                          settings_.run, settings_.datastore},
                         std::move(listener),
                         run_line(settings_.label, note_of(settings_, plan_),
                                  settings_.command_line));
  if (!problem.empty()) return refuse(problem) == exit_complete;
  const auto over = [this] {
    return (!bound_.empty() && run_) || accumulator_ended_ || stopping_;
  };
  if (!wait(silent_start, over)) {
    display_.say(slow_datastore_text);
    wait(ready_limit, over);
  }
  if (!bound_.empty() && run_) return true;
  if (!accumulator_ended_ && !stopping_)
    refuse(fmt::format("zelk-accumulate was not ready after {} s",
                       ready_limit.count()));
  accumulator_.signal(SIGTERM);
  wait(seconds(5), [this] { return accumulator_ended_; });
  return false;
}

void session::on_event(const accumulator_event& event) {
  switch (event.what) {
    case accumulator_event::kind::run:
      run_ = event.run;
      events_.write("run", {{"run", event.run}});
      return;
    case accumulator_event::kind::result:
      return on_result(event);
    case accumulator_event::kind::refused:
      chatter_.add(event.peer, "a result was refused: " + event.reason);
      events_.write("refused",
                    {{"peer", event.peer}, {"reason", event.reason}});
      return;
    case accumulator_event::kind::closed:
      state_ = event.state;
      events_.write("closed", {{"run", event.run}, {"state", event.state}});
      return;
    case accumulator_event::kind::other:
      return;
  }
}

void session::on_result(const accumulator_event& event) {
  heard_at_ = clock::now();
  const expected_result& what = event.result;
  const bool expected =
      ledger_.came(what, event.exit_status, event.duration, heard_at_);
  if (const std::string other = hosts_.add(what.node, event.host_name);
      !other.empty())
    chatter_.add(what.node, same_host_text(event.host_name, other));
  events_.write("result", {{"node", what.node},
                           {"provider", what.provider},
                           {"option", what.option},
                           {"exit_status", std::int64_t{event.exit_status}},
                           {"duration", event.duration},
                           {"bytes", event.bytes},
                           {"expected", expected}});
  if (settings_.fail_fast && is_failure(event.exit_status) &&
      !ledger_.is_answer(what, event.exit_status))
    stop(fmt::format("--fail-fast: {} ended with exit status {} on {}",
                     what.provider, event.exit_status, what.node));
}

void session::on_accumulator_end(int status) {
  accumulator_ended_ = true;
  events_.write("accumulator_end", {{"status", end_text(status)}});
  if (closing_ || bound_.empty()) return;
  trouble_ = "zelk-accumulate ended in the middle of the collection (" +
             end_text(status) + ")";
  display::complain("zelk-collect: " + trouble_ +
                    "; the workers are stopped, later results are lost");
  stop("zelk-accumulate had ended");
}

// Returns whether it ran and ended well.
bool session::run_helper(helper_setup setup, const std::string& name) {
  std::optional<int> ended;
  setup.readers.push_back({STDERR_FILENO, [&](std::string_view line) {
                             display::complain(name + ": " +
                                               without_prefix(line));
                           }});
  setup.on_end = [&](int status) { ended = status; };
  helper_process helper(loop_);
  const std::string problem = helper.start(std::move(setup));
  if (!problem.empty()) {
    display::complain("zelk-collect: " + problem);
    return false;
  }
  if (!wait(helper_limit, [&] { return ended.has_value(); })) return false;
  return *ended == 0;
}

bool session::ask_what_is_stored(
    const std::function<void(const stored_result&)>& take) {
  helper_setup setup;
  setup.argv = stored_results_command(own_program("zelk-db"),
                                      settings_.datastore, *run_);
  setup.readers.push_back({STDOUT_FILENO, [&](std::string_view line) {
                             if (const auto one = read_stored(line)) take(*one);
                           }});
  return run_helper(std::move(setup), "zelk-db");
}

// What earlier collections have left in the directory is none of this run.
bool session::take_in_files(bool into_run) {
  helper_setup setup;
  setup.argv = scan_command(settings_, into_run ? run_ : std::nullopt);
  return run_helper(std::move(setup), "zelk-accumulate");
}

void session::make_launcher_and_runner() {
  launcher_ = make_launcher(
      {settings_.launcher, settings_.fanout, settings_.connect_timeout,
       settings_.ssh_options, settings_.user, settings_.stagger},
      loop_);
  workers_ = common_setup(settings_, plan_, endpoint_, bound_);
  phase_hooks hooks;
  hooks.make_launch = [this](const task& what) { return launch_of(what); };
  hooks.launched = [this](const task& what) {
    events_.write("launch", {{"node", what.node}});
  };
  hooks.ended = [this](const launch_outcome& outcome) { on_ended(outcome); };
  runner_ = std::make_unique<phase_runner>(loop_, *launcher_, ledger_, plan_,
                                           settings_, std::move(hooks));
  if (stopping_) runner_->stop(stop_reason_);
}

// Of a provider of which only some option sets are wanted, the others must not
// be in the configuration.
launch session::launch_of(const task& what) {
  if (!is_partial(plan_, what)) return collect::make_launch(what, workers_);
  worker_setup special = workers_;
  special.configuration = worker_configuration(settings_, plan_, &what);
  return collect::make_launch(what, special);
}

void session::on_ended(const launch_outcome& outcome) {
  heard_at_ = clock::now();
  for (const std::string& line : other_lines(outcome.errors)) {
    chatter_.add(outcome.node, line);
    events_.write("line", {{"node", outcome.node}, {"text", line}});
  }
  events_.write("node", {{"node", outcome.node},
                         {"ending", ending_name(outcome.how)},
                         {"status", std::int64_t{outcome.status}},
                         {"reason", outcome.reason},
                         {"seconds", outcome.took.count()}});
  const bool bad = outcome.how != ending::exited || outcome.status != 0;
  if (settings_.fail_fast && bad)
    stop("--fail-fast: " + outcome.node + ": " + outcome.reason);
}

void session::follow() {
  if (!plan_.phases.empty()) accumulator_.tell(expect_lines(ledger_.waiting()));
  for (const auto& phase : plan_.phases) {
    if (stopping_) break;
    runner_->start(phase);
    const auto phase_is_over = [this] { return !runner_->busy(); };
    while (!phase_is_over() && !stopping_ && signals_.count() < 2 &&
           clock::now() < runner_->deadline())
      wait(runner_->deadline() - clock::now(),
           [&] { return phase_is_over() || stopping_; });
    if (!phase_is_over()) {
      // Stopped, or stuck: the launcher has a last chance to tell.
      if (!stopping_) launcher_->abandon();
      wait(patience_with_stop, phase_is_over);
      runner_->forsake();
    }
    settle();
    runner_->give_reasons();
  }
  if (stopping_) runner_->give_reasons();
}

void session::settle() {
  if (settings_.async || accumulator_ended_) return;
  const auto begun = clock::now();
  while (runner_->awaits_results() && !accumulator_ended_ &&
         signals_.count() < 2 && clock::now() - begun < settle_limit &&
         clock::now() - std::max(heard_at_, begun) < settled)
    wait(between_looks, [this] { return ledger_.complete(); });
}

// After the workers' end the files are there, and none is half-written.
void session::take_in_shared() {
  if (!settings_.async || accumulator_ended_) return;
  if (!take_in_files(true))
    display::complain("zelk-collect: some files were not taken in");
  ask_what_is_stored([this](const stored_result& one) {
    ledger_.came(one.what, one.exit_status, one.duration, clock::now());
  });
}

void session::close() {
  closing_ = true;
  if (accumulator_ended_) return;
  accumulator_.tell(missing_lines(ledger_.missing()));
  accumulator_.close(closing_state(signals_.count() > 0, settings_, ledger_));
  if (wait(close_limit, [this] { return accumulator_ended_; })) return;
  if (signals_.count() > 1) return accumulator_.let_go();
  trouble_ = fmt::format("zelk-accumulate did not end within {} s",
                         close_limit.count());
  display::complain("zelk-collect: " + trouble_);
  accumulator_.signal(SIGKILL);
  wait(seconds(5), [this] { return accumulator_ended_; });
}

run_summary session::summary() {
  run_summary made = summary_of(ledger_);
  made.seconds = display_.seconds();
  made.started_usec = started_usec_;
  made.run = run_;
  made.label = settings_.label;
  made.state = state_.empty() ? interrupted : state_;
  made.launcher = settings_.launcher;
  made.trouble = trouble_;
  made.next = next_commands(settings_,
                            {run_, ledger_.nodes_lacking(), made.rows,
                             program_is_here("zelk-check"), made.received > 0});
  made.exit_status = signals_.first() > 0 ? 128 + signals_.first()
                     : trouble_.empty()   ? exit_status_of(ledger_)
                                          : exit_nothing;
  return made;
}

int session::report() {
  display_.stop();
  for (const std::string& line : chatter_.lines())
    display_.say(line);
  const run_summary made = summary();
  events_.write("end", {{"received", static_cast<std::int64_t>(made.received)},
                        {"expected", static_cast<std::int64_t>(made.expected)},
                        {"exit_status", std::int64_t{made.exit_status}}});
  // Standard output has one thing or the other.
  if (settings_.json)
    std::cout << json_of(made) << std::flush;
  else
    (settings_.events == "-" ? std::cerr : std::cout)
        << text_of(made) << std::flush;
  return made.exit_status;
}

int session::run() {
  watch_signals();
  display_.start();
  if (const int status = open(); status != exit_complete) return status;
  if (settings_.run != "new" &&
      !ask_what_is_stored(
          [this](const stored_result& one) { ledger_.remove(one.what); }))
    return refuse("cannot tell what the run has already");
  make_launcher_and_runner();
  if (settings_.async && !take_in_files(false))
    display::complain("zelk-collect: some older files were not taken in");
  follow();
  take_in_shared();
  if (signals_.count() > 1) {
    launcher_->abandon();
    accumulator_.let_go();
    return 128 + signals_.first();
  }
  close();
  return report();
}

}  // namespace

int collect(const collect_settings& settings, const plan& made) {
  int status = exit_unusable;
  int signal = 0;
  std::optional<std::int64_t> run;
  {
    session all(settings, made);
    status = all.run();
    run = all.run_number();
    signal = all.signals().first();
  }
  if (signal > 0) die_of(signal);
  if (settings.check && run && status < exit_unusable)
    return judge(settings, *run);
  return status;
}

}  // namespace zelk::collect
