// One thread receives, one stores; this is the one that receives.
//
// How it ends. Bytes that the system has taken from a peer are lost when the
// connection is closed before they are read, so closing is the last step of
// four:
//
//   1. the queue of connections not yet accepted is emptied and closed
//   2. peers are read until all is quiet, or half the waiting time is over
//   3. every peer is told that nothing more is read (its connection is closed
//   in
//      one direction); it stops, keeps what it has not sent, and closes its
//      side. What it had sent arrives in front of that, and is read to the end.
//   4. what is left after the waiting time is cut off and counted
//
// Step 2 comes before 3 because a peer that is told to stop in the middle of a
// record loses that record.

#include "src/collect/src/accumulate/listen.h"

#include <fmt/format.h>
#include <malloc.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "src/collect/src/accumulate/announce.h"
#include "src/collect/src/accumulate/collector_link.h"
#include "src/collect/src/accumulate/descriptor_limit.h"
#include "src/collect/src/accumulate/event_text.h"
#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/accumulate/printable.h"
#include "src/collect/src/accumulate/progress_lines.h"
#include "src/collect/src/accumulate/stop_signals.h"
#include "src/collect/src/accumulate/summary.h"
#include "src/common/log/error_log.h"

namespace zelk::accumulate {

namespace {

constexpr char source[] = "src/collect/src/accumulate/listen";

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds turn_time{500};
constexpr milliseconds ending_turn_time{20};
// No byte for so long: nobody is sending. Longer than a sender's pause between
// two records, and than the time that TCP needs to fill a window again.
constexpr milliseconds quiet_time{250};
// A peer that has been told to stop does so within a round trip. One that does
// not is asleep.
constexpr milliseconds farewell_time{1000};

void say(int level, const std::string& text) {
  log::ErrorLog(source, __func__, __LINE__, level).stream() << text;
}

// Orders that the store has not carried out, beyond which the collector waits.
constexpr std::size_t most_orders = 16;

// Records come and go by the hundred thousand, made by one thread and freed by
// another. One pool for both, and large blocks given back at once, keep what
// the allocator holds on to close to what is in use.
void set_up_allocator() {
  constexpr int large = 128 * 1024;  // bytes
  ::mallopt(M_ARENA_MAX, 2);
  ::mallopt(M_MMAP_THRESHOLD, large);
  ::mallopt(M_TRIM_THRESHOLD, 8 * large);
}

class listen_session {
 public:
  explicit listen_session(const listen_options& options)
      : options_(options),
        link_(options.control_fd, options.events_fd),
        wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
        meter_(options.progress),
        budget_(options.memory, [this] { wake_up(); }),
        receiver_(limits(options), budget_, wake_.get(), queue_, board_,
                  refusals_),
        writer_(options.writer, queue_, budget_, board_, [this] { wake_up(); }),
        started_(steady_clock::now()),
        told_at_(started_) {
    receiver_.on_refusal(
        [this](const std::string& peer, const std::string& what) {
          link_.put(refused_event(peer, what));
        });
    writer_.on_outcome(
        [this](const provider_result& record, const row_outcome& decided) {
          tell_outcome(record, decided);
        });
  }

  int run();

 private:
  static receiver_limits limits(const listen_options& options);
  void wake_up() const;
  bool bind();
  bool begin_run();
  void tell_outcome(const provider_result& record, const row_outcome& decided);
  void serve_collector();
  void obey(control_order& order);
  void end(const std::string& by, std::optional<run_state> state = {});
  void check_capacity() const;
  void receive();
  bool time_is_up() const;
  bool everything_came() const;
  void stop_receiving();
  void read_until_quiet(steady_clock::time_point deadline, milliseconds quiet,
                        bool until_nobody_is_there);
  run_report stop_storing();
  void look_for_second_signal();
  void show_progress();
  void show_statistics();
  std::string trouble() const;
  int report(const run_report& run);
  int status(const listen_summary& summary) const;

  const listen_options& options_;
  stop_signals signals_;
  collector_link link_;
  util::unique_fd wake_;
  meter meter_;
  progress_lines lines_;
  refusal_log refusals_;
  tally_board board_;
  memory_budget budget_;
  hand_over queue_;
  receiver receiver_;
  store_writer writer_;
  steady_clock::time_point started_;
  steady_clock::time_point told_at_;
  std::uint64_t told_received_ = 0;
  std::string ended_by_;
  run_ending ending_;
  std::int64_t told_run_ = 0;
};

receiver_limits listen_session::limits(const listen_options& options) {
  receiver_limits limits = options.limits;
  const store_options& store = options.writer.store;
  limits.most_connections = raise_descriptor_limit();
  // Enough for a batch that is written and one that is made.
  limits.most_waiting =
      std::max(limits.most_waiting, 2 * store.growth * store.batch_rows);
  return limits;
}

void listen_session::wake_up() const {
  const std::uint64_t one = 1;
  // It can only fail when it is readable already.
  [[maybe_unused]] const ssize_t written =
      ::write(wake_.get(), &one, sizeof one);
}

int listen_session::run() {
  if (!bind() || !begin_run()) return exit_unusable;
  check_capacity();
  receiver_.watch(signals_.fd());
  announce_ready(options_.ready_fd, receiver_.endpoints());
  receive();
  stop_receiving();
  const int status = report(stop_storing());
  // Ctrl-C stops a script, too, and not only what it was running.
  if (signals_.first() == SIGINT) signals_.die();
  return status;
}

// The collector's first order may say what the run is called.
bool listen_session::begin_run() {
  std::optional<control_order> order;
  if (link_.exists()) {
    order = link_.first(signals_.fd());
    if (!order && signals_.look() > 0) signals_.die();
    if (!order) {
      say(log::level_error, "The control descriptor ended without an order");
      return false;
    }
    if (order->what == control_order::kind::run)
      writer_.describe_run(order->label, order->note, order->command_line);
  }
  const std::string problem = writer_.start();
  if (!problem.empty()) {
    say(log::level_error, problem);
    return false;
  }
  if (order && order->what != control_order::kind::run) obey(*order);
  serve_collector();
  return true;
}

// Called by the thread that stores. A line takes longer to write than a record
// to look up: none is written that nobody reads.
void listen_session::tell_outcome(const provider_result& record,
                                  const row_outcome& decided) {
  if (!link_.tells()) return;
  if (decided.result == outcome::rejected)
    return link_.put(refused_event(
        printable(field_text(record.header.hostname)), decided.reason));
  // What another run has is no result of this one.
  if (decided.run == writer_.run_number()) link_.put(result_event(record));
}

void listen_session::serve_collector() {
  if (told_run_ != writer_.run_number()) {
    told_run_ = writer_.run_number();
    link_.put(run_event(told_run_));
  }
  const bool busy = writer_.expecting() >= most_orders;
  if (!busy && ended_by_.empty() &&
      !link_.read([this](control_order& order) { obey(order); })) {
    say(log::level_warning, "The collector is gone; the run is closed");
    end("collector gone", run_state::interrupted);
  }
  if (!ended_by_.empty()) link_.close(receiver_);
  link_.watch(receiver_, busy);
}

void listen_session::obey(control_order& order) {
  switch (order.what) {
    case control_order::kind::run:
      return say(log::level_error, "The run was made before its order came");
    case control_order::kind::expect:
    case control_order::kind::missing:
      return writer_.expect(std::move(order.results));
    case control_order::kind::close:
      return end("closed", order.state);
  }
}

void listen_session::end(const std::string& by,
                         std::optional<run_state> state) {
  ended_by_ = by;
  ending_.state = state;
}

bool listen_session::bind() {
  for (const std::string& endpoint : options_.endpoints)
    if (!receiver_.listen(endpoint)) return false;
  for (const std::string& endpoint : receiver_.endpoints()) {
    say(log::level_notice, "Receiving on " + endpoint);
    if (reaches_the_network(endpoint))
      say(log::level_notice,
          "Whoever reaches " + endpoint + " can store records");
  }
  return true;
}

void listen_session::check_capacity() const {
  const std::size_t connections = limits(options_).most_connections;
  say(log::level_info, fmt::format("{} peers can be connected at once, {} of "
                                   "records held in memory",
                                   connections, size_text(options_.memory)));
  for (const std::string& problem :
       {capacity_problem(connections, expected_nodes(options_.writer.run)),
        backlog_problem(options_.limits.backlog)})
    if (!problem.empty()) say(log::level_warning, problem);
}

void listen_session::receive() {
  while (ended_by_.empty()) {
    receiver_.turn(turn_time);
    serve_collector();
    show_progress();
    show_statistics();
    if (signals_.look() > 0)
      end(signals_.first() == SIGINT ? "SIGINT" : "SIGTERM");
    else if (!ended_by_.empty())
      break;
    else if (everything_came())
      end("complete");
    else if (time_is_up())
      end("time limit");
  }
}

bool listen_session::time_is_up() const {
  return options_.time_limit.count() > 0 &&
         steady_clock::now() - started_ >= options_.time_limit;
}

// A peer that is there may have something to send, and one that is gone has had
// everything read that it sent.
bool listen_session::everything_came() const {
  return options_.until_complete && writer_.complete() &&
         receiver_.connections() == 0;
}

void listen_session::stop_receiving() {
  announce_stopping();
  const auto now = steady_clock::now();
  const auto deadline = now + options_.stop_wait;
  writer_.give_up_at(deadline);
  receiver_.stop_accepting();
  read_until_quiet(now + options_.stop_wait / 2, quiet_time, false);
  receiver_.ask_peers_to_stop();
  read_until_quiet(deadline, farewell_time, true);
  const std::size_t left = receiver_.close_all();
  if (left > 0)
    say(log::level_notice,
        fmt::format("{} still connected at the end", count_of(left, "peer")));
}

// Reads until no byte has come for `quiet` and nobody is in the middle of a
// message, but not beyond `deadline`.
void listen_session::read_until_quiet(steady_clock::time_point deadline,
                                      milliseconds quiet,
                                      bool until_nobody_is_there) {
  auto heard_at = steady_clock::now();
  for (auto now = heard_at; now < deadline; now = steady_clock::now()) {
    if (receiver_.connections() == 0 && until_nobody_is_there) return;
    if (receiver_.turn(ending_turn_time) || !receiver_.between_messages())
      heard_at = steady_clock::now();
    serve_collector();
    look_for_second_signal();
    show_progress();
    // Not peers(): one that has not introduced itself yet may be about to send.
    if (receiver_.connections() == 0 || steady_clock::now() - heard_at >= quiet)
      return;
  }
}

run_report listen_session::stop_storing() {
  ending_.cut_short = signals_.count() > 0;
  writer_.begin_finish(ending_);
  while (!writer_.finished()) {
    receiver_.turn(ending_turn_time);
    serve_collector();
    look_for_second_signal();
    show_progress();
    show_statistics();
  }
  return writer_.report();
}

void listen_session::look_for_second_signal() {
  if (signals_.look() < 2) return;
  meter_.clear();
  const std::uint64_t pending = board_.now().pending;
  say(log::level_error, "Stopped at once: " + count_of(pending, "record") +
                            " received and not stored");
  signals_.die();
}

std::string listen_session::trouble() const {
  const std::string text = writer_.trouble();
  return text.empty() ? "" : "; not stored: " + text;
}

void listen_session::show_progress() {
  const bool as_lines = options_.progress == progress_style::lines;
  if (!meter_.shown() && !as_lines) return;
  const tally now = board_.now();
  const std::uint64_t done = now.stored + now.duplicates;
  const std::string text = fmt::format(
      "{} records received, {} stored, {} waiting ({}), {} connected{}",
      now.received, done, now.pending, size_text(budget_.held()),
      count_of(receiver_.peers(), "peer"), trouble());
  meter_.show(text);
  if (!as_lines) return;
  if (const auto line =
          lines_.look(done, expected_results(options_.writer.run), text))
    std::cerr << "zelk-accumulate: " + *line + "\n" << std::flush;
}

void listen_session::show_statistics() {
  const std::chrono::duration<double> since = steady_clock::now() - told_at_;
  if (options_.stats_interval.count() == 0 || since < options_.stats_interval)
    return;
  told_at_ = steady_clock::now();
  const tally now = board_.now();
  const double rate =
      static_cast<double>(now.received - told_received_) / since.count();
  told_received_ = now.received;
  const std::string line = fmt::format(
      "received {} ({:.0f}/s), stored {}, stored before {}, kept aside {}, "
      "waiting {} ({}), refused {}, peers {}{}",
      now.received, rate, now.stored, now.duplicates, now.kept_aside,
      now.pending, size_text(budget_.held()), refusals_.messages(),
      receiver_.peers(), trouble());
  announce_status(line);
  if (!options_.quiet) std::cerr << "zelk-accumulate: " + line + "\n";
}

int listen_session::report(const run_report& run) {
  refusals_.settle(steady_clock::now(), true);
  meter_.clear();
  listen_summary summary;
  summary.counts = board_.now();
  summary.refused = refusals_.total();
  summary.run = run;
  summary.ended_by = ended_by_;
  summary.seconds =
      std::chrono::duration<double>(steady_clock::now() - started_).count();
  link_.put_last(closed_event(run));
  const int result = status(summary);
  if (options_.json)
    std::cout << json_of(summary);
  else if (!options_.quiet || result != exit_fine)
    std::cout << text_of(summary);
  if (summary.counts.unsaved > 0)
    say(log::level_error,
        unsaved_advice(summary.counts.unsaved,
                       options_.writer.unsaved_directory, writer_.run_number(),
                       options_.writer.store.path));
  std::cout.flush();
  return result;
}

int listen_session::status(const listen_summary& summary) const {
  const tally& counts = summary.counts;
  const bool anything = counts.stored + counts.duplicates > 0;
  const std::uint64_t failed = counts.kept_aside + counts.unsaved + counts.lost;
  if (failed > 0) return anything ? exit_partial : exit_nothing;
  const bool cut_off = summary.ended_by == "collector gone";
  const bool waited_in_vain =
      options_.until_complete && summary.ended_by != "complete";
  if (!anything && (cut_off || waited_in_vain)) return exit_nothing;
  bool refused = false;
  for (std::size_t i = 0; i < refusal_kinds; ++i)
    if (costs_records(static_cast<refusal>(i)))
      refused = refused || summary.refused[i] > 0;
  // A collector may know better, and call the run complete.
  const bool complete =
      summary.run.ended && summary.run.ended->state == run_state::complete;
  const bool lacking = !complete && (!summary.run.missing.empty() ||
                                     unnamed_missing(summary.run) > 0);
  return refused || lacking || cut_off || waited_in_vain ? exit_partial
                                                         : exit_fine;
}

}  // namespace

std::size_t least_memory(std::size_t max_record) {
  constexpr std::size_t slack = std::size_t{1} << 20;
  return 2 * max_record + slack;
}

int listen(const listen_options& options) {
  for (const std::string& problem :
       {descriptor_problem("--ready-fd", options.ready_fd),
        descriptor_problem("--control-fd", options.control_fd),
        descriptor_problem("--events-fd", options.events_fd)})
    if (!problem.empty()) {
      say(log::level_error, problem);
      return exit_unusable;
    }
  set_up_allocator();
  return listen_session(options).run();
}

}  // namespace zelk::accumulate
