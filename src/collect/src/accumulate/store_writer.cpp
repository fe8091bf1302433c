// From a record in memory to one on disk.
//
//   handed over --> in flight --> outcome        stored, duplicate, kept aside
//                    |    ^
//                    |    +-- handed in again    the store had to be opened
//                    anew
//                    +------> file               given up, at the deadline
//
// A record stays ours until the store has told its outcome: the store's own
// copy is gone when it must be reopened. Handing in a record twice does no
// harm, since the store knows it again.
//
// A commit begins when a batch is full or nothing more waits, and none is
// running; what comes while one is running goes into the next. So under load
// batches grow with what the disk takes, and a lone record is there as fast as
// the disk permits. No timer is needed for either.

#include "src/collect/src/accumulate/store_writer.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>
#include <utility>

#include "src/collect/src/accumulate/crash_point.h"
#include "src/collect/src/accumulate/expectations.h"
#include "src/collect/src/accumulate/printable.h"
#include "src/common/log/error_log.h"

namespace zelk::accumulate {

namespace {

constexpr char source[] = "src/collect/src/accumulate/store_writer";

// After so long without a record the write-ahead log is cut down.
constexpr std::chrono::seconds idle_time{2};

std::int64_t number_of_nodes(const std::vector<missing_result>& missing) {
  std::set<std::string_view> nodes;
  for (const missing_result& one : missing)
    nodes.insert(one.what.node);
  return std::ssize(nodes);
}

std::vector<missing_result> reasons_of(
    const std::vector<missing_result>& results) {
  std::vector<missing_result> known;
  std::copy_if(results.begin(), results.end(), std::back_inserter(known),
               [](const missing_result& one) { return !one.reason.empty(); });
  return known;
}

void say(int level, const std::string& text) {
  log::ErrorLog(source, __func__, __LINE__, level).stream() << text;
}

// In the words of those who receive without storing.
void tell_stored(const provider_result& record) {
  if (log::LOG_LEVEL < log::level_info) return;
  const std::size_t size = sizeof record.header + record.stdout.size() +
                           record.stderr.size() + record.nodes_csv.size();
  say(log::level_info,
      "Received data provider '" + printable(field_text(record.header.name)) +
          "' from " + printable(field_text(record.header.hostname)) + " (" +
          std::to_string(size) + " bytes)");
}

}  // namespace

store_writer::store_writer(const writer_options& options, hand_over& queue,
                           memory_budget& budget, tally_board& board,
                           std::function<void()> tell)
    : options_(options),
      queue_(queue),
      budget_(budget),
      board_(board),
      tell_(std::move(tell)),
      busy_deadline_(std::make_shared<datastore::database::shared_deadline>(0)),
      bad_(options.bad_directory),
      unsaved_(options.unsaved_directory) {
  options_.store.busy_deadline = busy_deadline_;
  options_.store.on_commit_end = [&queue] { queue.wake(); };
}

store_writer::~store_writer() {
  queue_.close();
  if (thread_.joinable()) thread_.join();
}

std::string store_writer::start() {
  std::promise<std::string> started;
  std::future<std::string> problem = started.get_future();
  thread_ = std::thread([this, promise = std::move(started)]() mutable {
    work(std::move(promise));
  });
  return problem.get();
}

void store_writer::give_up_at(clock::time_point deadline) {
  {
    const std::lock_guard guard(lock_);
    deadline_ = deadline;
  }
  busy_deadline_->store(deadline.time_since_epoch().count());
  changed_.notify_all();
}

void store_writer::describe_run(const std::string& label,
                                const std::string& note,
                                const std::string& command_line) {
  if (!label.empty()) options_.run.label = label;
  if (!note.empty()) options_.run.note = note;
  if (!command_line.empty()) options_.run.command_line = command_line;
}

void store_writer::expect(std::vector<missing_result> results) {
  {
    const std::lock_guard guard(lock_);
    expected_.push_back(std::move(results));
  }
  queue_.wake();
}

std::size_t store_writer::expecting() const {
  const std::lock_guard guard(lock_);
  return expected_.size();
}

void store_writer::begin_finish(const run_ending& ending) {
  {
    const std::lock_guard guard(lock_);
    ending_ = ending;
  }
  queue_.close();
}

run_report store_writer::report() {
  thread_.join();
  return std::move(report_);
}

std::string store_writer::trouble() const {
  const std::lock_guard guard(lock_);
  return trouble_;
}

void store_writer::set_trouble(const std::string& reason) {
  const std::lock_guard guard(lock_);
  trouble_ = reason;
}

void store_writer::work(std::promise<std::string> started) {
  try {
    open();
  } catch (const datastore::store_error& error) {
    store_.reset();
    return started.set_value(error.what());
  }
  report_.number = run_number_;
  started.set_value("");
  store_all();
  close_run_now();
  store_.reset();
  finished_ = true;
  tell_();
}

// Opens the datastore and the run. Throws datastore::store_error.
void store_writer::open() {
  store_ = std::make_unique<result_store>(options_.store);
  store_->on_outcome(
      [this](const row_outcome& decided) { settle_one(decided); });
  close_abandoned_runs(store_->database());
  run_number_ = open_run(store_->database(), options_.run);
  crash_point("opened");
  store_->use_run(run_number_);
  look_for_completion();
}

void store_writer::store_all() {
  std::optional<clock::time_point> idle_at;  // nothing: the log is cut down
  while (!queue_.finished()) {
    hand_over::records some = queue_.take(idle_at);
    for (std::unique_ptr<arrival>& record : some)
      store(std::move(record));
    if (!some.empty()) idle_at = clock::now() + idle_time;
    if (queue_.empty()) start_commit();
    expect_all();
    if (!idle_at || clock::now() < *idle_at) continue;
    idle_at.reset();
    commit();
    if (!given_up_) store_->checkpoint();
  }
  commit();
  expect_all();
}

// Collects what is waiting. Returns how many calls of expect() that was.
std::size_t store_writer::gather_expected(
    std::vector<missing_result>& results) const {
  const std::lock_guard guard(lock_);
  for (const std::vector<missing_result>& some : expected_)
    results.insert(results.end(), some.begin(), some.end());
  return expected_.size();
}

void store_writer::expect_all() {
  std::vector<missing_result> results;
  const std::size_t calls = gather_expected(results);
  if (calls == 0) return;
  commit();
  if (!given_up_) expect_now(results);
  const std::lock_guard guard(lock_);
  expected_.erase(expected_.begin(),
                  expected_.begin() + static_cast<std::ptrdiff_t>(calls));
}

void store_writer::expect_now(const std::vector<missing_result>& results) {
  for (const missing_result& one : results) {
    options_.run.expected.push_back(one.what);
    if (!one.reason.empty()) reasons_.push_back(one);
  }
  while (!given_up_ && !write_expected(results))
    recover();
  complete_ = false;
  look_at_ = 0;
  if (!given_up_) look_for_completion();
  tell_();
}

// Requires: nothing is in flight.
bool store_writer::write_expected(const std::vector<missing_result>& results) {
  std::vector<expectation> expected;
  expected.reserve(results.size());
  for (const missing_result& one : results)
    expected.push_back(one.what);
  try {
    datastore::database& base = store_->database();
    expect_results(base, run_number_, expected);
    set_missing_reasons(base, run_number_, reasons_of(results));
    return true;
  } catch (const datastore::store_error& error) {
    if (std::exchange(last_problem_, error.what()) != error.what())
      say(log::level_error, error.what());
    return false;
  }
}

void store_writer::store(std::unique_ptr<arrival> record) {
  in_flight_.push_back(std::move(record));
  crash_point("handed over");
  if (given_up_) return give_up();
  submit(*in_flight_.back());
}

// Requires: `record` is the last one in flight.
void store_writer::submit(arrival& record) {
  for (;;) {
    switch (store_->take(record.record)) {
      case result_store::answer::done:
        return settle();
      case result_store::answer::rejected: {
        const std::unique_ptr<arrival> refused = std::move(in_flight_.back());
        in_flight_.pop_back();
        constexpr char reason[] = "its header contradicts its content";
        if (told_) told_(refused->record, {0, outcome::rejected, 0, 0, reason});
        keep_aside(refused->record, reason);
        freed_ += refused->charge;
        return settle();
      }
      case result_store::answer::later:
        if (!pause()) return give_up();
        break;
      case result_store::answer::failed:
        return recover();
    }
  }
}

// What waits is on its way to the disk, and what is there is told. Nobody waits
// here but for a store in trouble, and once or twice a run for what it says of
// its completion: we are woken when a commit has ended.
void store_writer::start_commit() {
  if (given_up_) return;
  if (!in_flight_.empty() &&
      store_->start_flush() != result_store::answer::done)
    return commit();
  settle();
  look_for_completion();
  // It may have met the end of the next commit.
  settle();
}

void store_writer::commit() {
  while (!given_up_ && !in_flight_.empty()) {
    const result_store::answer answer = store_->flush();
    if (answer == result_store::answer::done) break;
    if (answer == result_store::answer::failed)
      recover();
    else if (!pause())
      give_up();
  }
  settle();
  if (!given_up_) look_for_completion();
}

// Tells the others what has been decided.
void store_writer::settle() {
  if (change_.pending == 0) return;
  crash_point("committed");
  change_.pending_bytes -= freed_;
  board_.add(std::exchange(change_, {}));
  budget_.places().give_back(done_);
  budget_.release(std::exchange(freed_, 0));
  tell_();
  pause_.reset();
  last_problem_.clear();
  set_trouble("");
}

void store_writer::settle_one(const row_outcome& decided) {
  const arrival& record = *in_flight_.front();
  if (told_) told_(record.record, decided);
  switch (decided.result) {
    case outcome::conflict:
      ++change_.conflicts;
      [[fallthrough]];
    case outcome::stored:
      tell_stored(record.record);
      ++change_.stored;
      change_.stored_bytes += record.charge;
      ++came_;
      break;
    case outcome::duplicate:
      ++change_.duplicates;
      ++came_;
      break;
    case outcome::rejected:
      keep_aside(record.record, decided.reason);
      return release_front();
  }
  --change_.pending;
  release_front();
}

void store_writer::release_front() {
  freed_ += in_flight_.front()->charge;
  done_.push_back(std::move(in_flight_.front()));
  in_flight_.pop_front();
}

void store_writer::keep_aside(const provider_result& record,
                              const std::string& reason) {
  const std::string path = bad_.write(record, reason);
  ++(path.empty() ? change_.lost : change_.kept_aside);
  --change_.pending;
  if (!path.empty())
    say(log::level_warning,
        "A record that the datastore refuses is kept in '" + path + "'");
}

// Waits a while before the next attempt. Returns false when there is to be
// none.
bool store_writer::pause() {
  set_trouble(store_->trouble());
  std::unique_lock guard(lock_);
  const clock::time_point until = clock::now() + pause_.next();
  while (clock::now() < until) {
    if (deadline_ && clock::now() >= *deadline_) return false;
    changed_.wait_until(guard, deadline_ ? std::min(*deadline_, until) : until);
  }
  return true;
}

void store_writer::recover() {
  do {
    if (!pause()) return give_up();
  } while (!reopen() || !resubmit());
}

bool store_writer::reopen() {
  try {
    store_->reopen();
    try {
      store_->use_run(run_number_);
    } catch (const datastore::store_error& error) {
      if (error.failure() != datastore::store_failure::row) throw;
      // Another file lies there now: what it is to hold goes into a new run.
      run_request again = options_.run;
      again.run = "new";
      run_number_ = report_.number = open_run(store_->database(), again);
      set_missing_reasons(store_->database(), run_number_, reasons_);
      store_->use_run(run_number_);
      say(log::level_warning, "Datastore '" + options_.store.path +
                                  "' is another one than before; results go "
                                  "into run " +
                                  std::to_string(run_number_) + " of it");
    }
    return true;
  } catch (const datastore::store_error& error) {
    if (std::exchange(last_problem_, error.what()) != error.what())
      say(log::level_error, error.what());
    set_trouble(error.what());
    return false;
  }
}

// Hands in everything in flight again. Outcomes may come meanwhile, of the
// records in front.
bool store_writer::resubmit() {
  std::size_t left = in_flight_.size();
  while (left > 0) {
    const std::size_t index = in_flight_.size() - left;
    const result_store::answer answer = store_->take(in_flight_[index]->record);
    if (answer == result_store::answer::failed) return false;
    if (answer == result_store::answer::later) {
      if (pause()) continue;
      give_up();
      return true;
    }
    --left;
  }
  return true;
}

void store_writer::look_for_completion() {
  const bool expects =
      !options_.run.expected.empty() || options_.run.results_expected > 0;
  if (complete_ || !expects || came_ < look_at_) return;
  try {
    datastore::database& base = store_->database();
    const std::vector<missing_result> missing =
        missing_results(base, run_number_);
    const std::optional<run> now = find_run(base, run_number_);
    const std::int64_t few =
        now ? now->results_expected - now->results : std::int64_t{1};
    complete_ = missing.empty() && few <= 0;
    // No result is of two nodes, so it cannot be complete before.
    look_at_ = came_ + static_cast<std::uint64_t>(
                           std::max(few, number_of_nodes(missing)));
  } catch (const datastore::store_error&) {
    // It is looked again when more has come; a store in trouble says so itself.
    look_at_ = came_ + 1;
  }
  if (complete_) tell_();
}

// Requires: the deadline has passed.
void store_writer::give_up() {
  if (!std::exchange(given_up_, true))
    say(log::level_error,
        "The datastore takes nothing; results that are not stored are written "
        "to files");
  while (!in_flight_.empty()) {
    ++(save_to_file(*in_flight_.front()) ? change_.unsaved : change_.lost);
    --change_.pending;
    release_front();
  }
  settle();
}

bool store_writer::save_to_file(const arrival& record) {
  if (!unsaved_.write(record.record, "").empty()) return true;
  say(log::level_error,
      "Lost: a result of " +
          printable(field_text(record.record.header.hostname)) + ", provider " +
          printable(field_text(record.record.header.name)));
  return false;
}

// The run's state depends on how the end came about.
std::optional<run_state> store_writer::wanted_state() {
  const std::lock_guard guard(lock_);
  if (!ending_.state && ending_.cut_short && !report_.missing.empty())
    return run_state::interrupted;
  return ending_.state;
}

void store_writer::close_run_now() {
  if (given_up_) return;
  try {
    datastore::database& base = store_->database();
    report_.missing = missing_results(base, run_number_);
    close_run(base, run_number_, wanted_state());
    crash_point("closed");
    report_.ended = find_run(base, run_number_);
    store_->checkpoint();
  } catch (const datastore::store_error& error) {
    say(log::level_error, error.what());
  }
}

}  // namespace zelk::accumulate
