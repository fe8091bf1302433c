// The life of a batch, and what a failure means for it.
//
//   filling --full, flush()--> committing --> told      each has its outcome
//                               |   ^
//                               |   |  delayed   rolled back, kept, tried again
//                               |---+
//                               |      refused   one record: left out alone
//                               +----> failed    kept until reopen()
//
// There are two batches, so that the thread that takes records can hash the
// next ones while another one waits for the disk. Outcomes are told by the
// first one, when it comes by.
//
// After an input or output error the connection is given up and a new one
// opened: SQLite and the kernel may disagree about what a failed fsync(2) left
// behind, and asking the same descriptor again gets a wrong "yes". If the error
// came out of COMMIT itself the batch may be on disk. It is written again all
// the same, because storing is exactly once: what is found there with an id
// from the uncertain commit was stored by us and is told as stored.

#include "src/collect/src/accumulate/result_table.h"

#include <algorithm>
#include <new>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

#include "src/collect/src/accumulate/batch_writer.h"
#include "src/collect/src/accumulate/job_thread.h"
#include "src/collect/src/accumulate/pending_batch.h"
#include "src/collect/src/accumulate/printable.h"
#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/accumulate/stored_header.h"
#include "src/common/log/error_log.h"

namespace zelk::accumulate {

namespace {

constexpr char source[] = "src/collect/src/accumulate/result_table";

using datastore::store_error;
using datastore::store_failure;
using std::chrono::steady_clock;

// Between two attempts to commit what could not be committed.
constexpr std::chrono::seconds retry_pause{1};

// How soon the owner should come by for the outcomes of a running commit.
constexpr std::chrono::milliseconds collect_pause{5};

void log_refusal(const datastore_row& row, const std::string& fault) {
  log::ErrorLog(source, __func__, __LINE__, log::level_notice).stream()
      << "Result of '" << printable(field_text(row.header.name)) << "' from '"
      << printable(field_text(row.header.hostname)) << "' refused: " << fault;
}

std::string replaced(const std::string& path) {
  return "Datastore '" + path +
         "': the file was removed or replaced while it was in use";
}

}  // namespace

class result_table::implementation {
 public:
  implementation(std::string path, const result_table_options& options);

  void use_run(std::int64_t number);
  int write(datastore_row& row);
  int flush();
  int start_flush();
  std::optional<steady_clock::time_point> due() const;
  void checkpoint();
  void reopen();
  result_table_health health() const;
  datastore::database& database();

  std::function<void(const row_outcome&)> listener;
  result_counters counters;
  std::uint64_t sequence = 0;

 private:
  using health_state = decltype(result_table_health::state);

  void open();
  void connect(datastore::database base);
  datastore::patience waiting() const {
    return {options_.busy_limit, options_.busy_notice};
  }
  batch_writer& writer();
  bool full() const;
  bool crowded() const;
  void take(datastore_row& row);

  void hand_over();
  void start_commit();
  void commit();
  int collect();
  int finish_commit();

  int refuse(const store_error& error);
  void give_up_writer();
  int delay(const store_error& error);
  int fail(const store_error& error);
  void settle();
  bool ours(const row_outcome& decided) const;
  void count(const row_outcome& decided, const pending_record& record);
  void recovered();

  std::string path_;
  result_table_options options_;
  std::unique_ptr<batch_writer> writer_;
  std::optional<file_identity> identity_;  // of the file opened first
  std::set<std::int64_t> known_runs_;
  std::int64_t run_ = 0;

  sha256 hash_;
  pending_batch filling_;
  pending_batch committing_;
  steady_clock::time_point oldest_;  // record in filling_
  steady_clock::time_point next_try_;
  std::int64_t uncertain_from_ = 0;  // ids of a commit that failed; 0: none

  health_state state_ = health_state::good;
  std::string reason_;

  // A commit runs or has run on thread_ and was not collected; until it is,
  // writer_, committing_ and these two results are the thread's.
  bool in_flight_ = false;
  std::vector<row_outcome> outcomes_;
  std::optional<store_error> error_;
  job_thread thread_;  // ends first
};

result_table::implementation::implementation(
    std::string path, const result_table_options& options)
    : path_(std::move(path)),
      options_(options),
      thread_(options.on_commit_end) {
  open();
}

void result_table::implementation::open() {
  connect(open_datastore(path_, waiting()));
  identity_.emplace(path_);
}

void result_table::implementation::connect(datastore::database base) {
  base.set_busy_deadline(options_.busy_deadline);
  try {
    writer_ = std::make_unique<batch_writer>(std::move(base));
  } catch (const std::system_error& error) {
    // It starts a thread.
    throw store_error(store_failure::transient,
                      "Datastore '" + path_ + "': " + error.what());
  }
}

// After an input or output error the file must still be the one there was: a
// new one would be empty, without the run that the records belong to.
batch_writer& result_table::implementation::writer() {
  if (writer_) return *writer_;
  if (!identity_->same_database())
    throw store_error(store_failure::fatal, replaced(path_));
  connect(open_datastore(path_, waiting()));
  return *writer_;
}

void result_table::implementation::use_run(std::int64_t number) {
  if (known_runs_.count(number) == 0) {
    datastore::statement query(database(),
                               "SELECT 1 FROM run WHERE number = ?1");
    if (!query.bind(1, number).step())
      throw store_error(store_failure::row, "Datastore '" + path_ +
                                                "': there is no run " +
                                                std::to_string(number));
    known_runs_.insert(number);
  }
  run_ = number;
}

bool result_table::implementation::full() const {
  return filling_.size() >= options_.batch_rows ||
         filling_.bytes() >= options_.batch_bytes;
}

// No room for another row, however long the commit takes that is running.
bool result_table::implementation::crowded() const {
  return filling_.size() >= std::max(options_.batch_rows, options_.most_rows) ||
         filling_.bytes() >= options_.batch_bytes;
}

int result_table::implementation::write(datastore_row& row) {
  const std::string fault = header_fault(
      row.header, row.stdout.size(), row.stderr.size(), row.nodes_csv.size());
  if (!fault.empty()) {
    log_refusal(row, fault);
    return OPERATION_REJECTED;
  }
  if (state_ == health_state::failed) return OPERATION_FAILED;
  if (crowded()) {
    const int status = finish_commit();
    if (status != OPERATION_SUCCESSFULL) return status;
    hand_over();
  }
  take(row);
  if (full()) start_flush();
  return OPERATION_SUCCESSFULL;
}

void result_table::implementation::take(datastore_row& row) {
  if (filling_.empty()) oldest_ = steady_clock::now();
  filling_.take(hash_, row, sequence + 1, run_);
  ++sequence;
  ++counters.taken;
}

int result_table::implementation::flush() {
  if (state_ == health_state::failed) return OPERATION_FAILED;
  const int status = finish_commit();
  if (status != OPERATION_SUCCESSFULL || filling_.empty()) return status;
  hand_over();
  return collect();
}

int result_table::implementation::start_flush() {
  if (in_flight_ && thread_.busy()) return OPERATION_SUCCESSFULL;
  if (in_flight_) collect();
  if (state_ == health_state::failed) return OPERATION_FAILED;
  if (committing_.empty()) {
    if (!filling_.empty()) hand_over();
    return OPERATION_SUCCESSFULL;
  }
  if (steady_clock::now() >= next_try_) start_commit();
  return OPERATION_DELAYED;
}

// Requires: committing_ is empty and filling_ is not.
void result_table::implementation::hand_over() {
  std::swap(filling_, committing_);
  start_commit();
}

void result_table::implementation::start_commit() {
  in_flight_ = true;
  thread_.start([this] { commit(); });
}

// On thread_.
void result_table::implementation::commit() {
  error_.reset();
  try {
    outcomes_ = writer().write(committing_.records());
  } catch (const store_error& error) {
    error_ = error;
  } catch (const std::bad_alloc&) {
    error_.emplace(store_failure::transient,
                   "Datastore '" + path_ + "': no memory is left");
  } catch (const std::exception& error) {
    error_.emplace(store_failure::fatal,
                   "Datastore '" + path_ + "': " + error.what());
  }
}

// Waits for the commit that was started last.
int result_table::implementation::collect() {
  if (!in_flight_) return OPERATION_SUCCESSFULL;
  thread_.wait();
  in_flight_ = false;
  if (error_) return refuse(*error_);
  settle();
  return OPERATION_SUCCESSFULL;
}

// Leaves committing_ empty, or says why not.
int result_table::implementation::finish_commit() {
  if (!in_flight_ && !committing_.empty()) start_commit();
  return collect();
}

int result_table::implementation::refuse(const store_error& error) {
  reason_ = error.what();
  if (writer_ && writer_->commit_failed())
    uncertain_from_ = writer_->first_id();
  if (error.input_output()) give_up_writer();
  return error.failure() == store_failure::transient ? delay(error)
                                                     : fail(error);
}

void result_table::implementation::give_up_writer() {
  if (writer_) writer_->keep_log();
  writer_.reset();
}

int result_table::implementation::delay(const store_error& error) {
  ++counters.delays;
  next_try_ = steady_clock::now() + retry_pause;
  if (std::exchange(state_, health_state::delayed) == health_state::good)
    log::ErrorLog(source, __func__, __LINE__, log::level_warning).stream()
        << error.what() << "; " << health().pending
        << " results are kept and tried again";
  return OPERATION_DELAYED;
}

int result_table::implementation::fail(const store_error& error) {
  state_ = health_state::failed;
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
      << error.what() << "; " << health().pending << " results are not stored";
  return OPERATION_FAILED;
}

void result_table::implementation::recovered() {
  if (std::exchange(state_, health_state::good) == health_state::good) return;
  reason_.clear();
  log::ErrorLog(source, __func__, __LINE__, log::level_notice).stream()
      << "Datastore '" << path_ << "': results are stored again";
}

void result_table::implementation::settle() {
  ++counters.commits;
  const std::span<const pending_record> records = committing_.records();
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (ours(outcomes_[i])) outcomes_[i].result = outcome::stored;
    count(outcomes_[i], records[i]);
  }
  committing_.clear();
  uncertain_from_ = 0;
  recovered();
  if (!listener) return;
  for (const row_outcome& each : outcomes_)
    listener(each);
}

// Whether a "duplicate" is what the commit of unknown outcome had stored.
bool result_table::implementation::ours(const row_outcome& decided) const {
  return uncertain_from_ != 0 && decided.result == outcome::duplicate &&
         decided.id >= uncertain_from_ && decided.id < writer_->first_id();
}

void result_table::implementation::count(const row_outcome& decided,
                                         const pending_record& record) {
  switch (decided.result) {
    case outcome::duplicate:
      ++counters.duplicates;
      return;
    case outcome::rejected:
      ++counters.rejected;
      return;
    case outcome::conflict:
      ++counters.conflicts;
      break;
    case outcome::stored:
      break;
  }
  ++counters.stored;
  counters.bytes += block_bytes(record);
}

std::optional<steady_clock::time_point> result_table::implementation::due()
    const {
  if (in_flight_) return steady_clock::now() + collect_pause;
  if (state_ == health_state::failed) return {};
  if (state_ == health_state::delayed) return next_try_;
  if (filling_.empty()) return {};
  return oldest_ + options_.batch_time;
}

datastore::database& result_table::implementation::database() {
  collect();
  return writer().base();
}

void result_table::implementation::checkpoint() {
  collect();
  if (state_ != health_state::good) return;
  try {
    writer().tidy();
  } catch (const store_error& error) {
    log::ErrorLog(source, __func__, __LINE__, log::level_debug).stream()
        << "No checkpoint: " << error.what();
    if (error.input_output()) give_up_writer();
  }
}

void result_table::implementation::reopen() {
  thread_.wait();
  in_flight_ = false;
  writer_.reset();
  filling_.clear();
  committing_.clear();
  known_runs_.clear();
  uncertain_from_ = 0;
  run_ = 0;
  open();
  state_ = health_state::good;
  reason_.clear();
}

result_table_health result_table::implementation::health() const {
  return {state_, reason_, filling_.size() + committing_.size(),
          filling_.bytes() + committing_.bytes()};
}

result_table::result_table(const std::string& path,
                           const result_table_options& options)
    : self_(std::make_unique<implementation>(path, options)) {}

result_table::~result_table() = default;

void result_table::use_run(std::int64_t number) {
  self_->use_run(number);
}

int result_table::write(datastore_row& row) {
  return self_->write(row);
}

std::uint64_t result_table::sequence() const {
  return self_->sequence;
}

int result_table::flush() {
  return self_->flush();
}

int result_table::start_flush() {
  return self_->start_flush();
}

std::optional<steady_clock::time_point> result_table::due() const {
  return self_->due();
}

void result_table::on_outcome(
    std::function<void(const row_outcome&)> listener) {
  self_->listener = std::move(listener);
}

void result_table::checkpoint() {
  self_->checkpoint();
}

void result_table::reopen() {
  self_->reopen();
}

const result_counters& result_table::counters() const {
  return self_->counters;
}

result_table_health result_table::health() const {
  return self_->health();
}

datastore::database& result_table::database() {
  return self_->database();
}

int result_table::control(unsigned short operation, const void* /*input*/,
                          void* output, void* /*extra*/) {
  switch (operation) {
    case datastore::operation_open:
      reopen();
      return OPERATION_SUCCESSFULL;
    case datastore::operation_close: {
      const int status = flush();
      checkpoint();
      return status;
    }
    case datastore::operation_write:
      return write(*static_cast<datastore_row*>(output));
    case datastore::operation_flush:
      return flush();
    case datastore::operation_health:
      *static_cast<result_table_health*>(output) = health();
      return OPERATION_SUCCESSFULL;
    default:
      return UNSUPPORTED_OPERATION;
  }
}

}  // namespace zelk::accumulate
