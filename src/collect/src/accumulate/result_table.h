// The datastore extension that keeps provider results in a SQLite file.
//
// Records are taken one by one and committed in batches. Taken is not stored:
// until its batch is committed a record is in this object's memory only, and
// on_outcome tells when it is on disk. A failed commit keeps the batch: nothing
// is lost while the object lives, and nothing new is taken until the batch is
// through. Storing is exactly once: see `outcome`.
//
// The object belongs to the thread that made it, its database too. It commits
// on a thread of its own while the owner goes on taking; the owner never sees
// that thread, and is told everything in its own calls. They wait for nothing
// but the disk and, for a bounded time, another process that is writing. There
// is no timer: the owner calls start_flush() or flush() when there is nothing
// more to take, and at due() at the latest.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "src/collect/src/provider/datastore_row.h"
#include "src/common/datastore/extension.h"
#include "src/common/datastore/sqlite.h"

namespace zelk::accumulate {

struct result_table_options {
  // A batch is committed when it holds this much, whichever comes first. Larger
  // batches gain little and make what a crash can take larger. Two batches are
  // in memory at most.
  std::size_t batch_rows = 4000;
  // Rows that a batch takes, if that is more, while another one is being
  // committed: what came meanwhile is one transaction then, and the busier the
  // disk, the fewer there are.
  std::size_t most_rows = 0;
  std::size_t batch_bytes = 16 << 20;
  std::chrono::milliseconds batch_time{500};  // age of its oldest record
  // Called on another thread when a commit has ended: the owner should call
  // start_flush(). May be empty.
  std::function<void()> on_commit_end = {};
  // How long a commit waits for another process that is writing.
  std::chrono::milliseconds busy_limit{30000};
  std::chrono::milliseconds busy_notice{1000};
  // When set, and once it holds a moment, no wait goes on beyond that.
  std::shared_ptr<const datastore::database::shared_deadline> busy_deadline =
      nullptr;
};

// What became of one record.
enum class outcome {
  stored,     // new
  duplicate,  // this very record was stored before, by whatever way it came
  conflict,   // new, though another record of the same host, provider, option
              // and time stamp is stored: both are kept
  rejected,   // not acceptable; `reason` says why, the caller has the record
};

struct row_outcome {
  std::uint64_t sequence;  // of the record, as sequence() gave it
  outcome result;
  std::int64_t id;     // of the stored row ("rowid"); 0 when rejected
  std::int64_t run;    // that it belongs to: of a duplicate, the first one's
  std::string reason;  // of a rejection
};

struct result_counters {
  std::uint64_t taken = 0;   // = stored + duplicates + rejected + pending()
  std::uint64_t stored = 0;  // conflicts included
  std::uint64_t duplicates = 0;
  std::uint64_t conflicts = 0;
  std::uint64_t rejected = 0;
  std::uint64_t commits = 0;
  std::uint64_t delays = 0;  // commits that failed and are tried again
  std::uint64_t bytes = 0;   // of blocks in records that were stored
};

struct result_table_health {
  enum class state { good, delayed, failed } state = state::good;
  std::string reason;       // the last failure, while it lasts
  std::size_t pending = 0;  // records taken and not yet decided
  std::size_t pending_bytes = 0;
};

class result_table : public datastore::DataStoreExtension {
 public:
  // Opens or makes the datastore (schema.h). Throws datastore::store_error.
  result_table(const std::string& path, const result_table_options& options);
  // Rolls back what is not committed: flush() first, and look at the result.
  ~result_table() override;

  // The run that records belong to from now on, already taken ones not. Throws
  // datastore::store_error when there is none of that number.
  void use_run(std::int64_t number);

  // Takes a record, moving its texts out. Returns OPERATION_SUCCESSFULL;
  // OPERATION_REJECTED (one notice) for a row whose lengths differ from its
  // header's, or that is of another format; OPERATION_DELAYED when both batches
  // are full and cannot be committed now, OPERATION_FAILED when they never will
  // be; the row is untouched in these cases. Starts a commit when a batch is
  // full, and waits for it only when the next one has no room left.
  // Requires: use_run() was called.
  int write(datastore_row& row);

  // The number of the record that was taken last; the first one is 1.
  std::uint64_t sequence() const;

  // Commits what was taken. OPERATION_SUCCESSFULL: everything is on disk and
  // told to on_outcome. OPERATION_DELAYED: all is kept, try again after a pause
  // (one warning when a spell of failures begins, one notice when it ends).
  // OPERATION_FAILED (one error record): the file is damaged, read-only,
  // removed or replaced; records that on_outcome has not been told about are
  // not stored.
  int flush();

  // The same without waiting: what was taken is on its way to disk, outcomes of
  // an earlier commit have been told, and a later call tells the rest.
  // OPERATION_DELAYED: the last commit failed and is tried again.
  int start_flush();

  // When start_flush() or flush() must be called; nothing while nothing is
  // pending.
  std::optional<std::chrono::steady_clock::time_point> due() const;

  // Called for each record, in the order they were taken, once what it says is
  // on disk: inside any of the owner's calls, none of which it may make itself,
  // and it must not throw. A rejection by write() is told by its result alone.
  void on_outcome(std::function<void(const row_outcome&)> listener);

  // Cuts the write-ahead log down; for idle moments. Failures are of no
  // consequence and debug records.
  void checkpoint();

  // Gives up the pending records and opens the file anew, after
  // OPERATION_FAILED. Throws datastore::store_error; the run is to be set
  // again.
  void reopen();

  const result_counters& counters() const;
  result_table_health health() const;

  // For runs.h; never inside on_outcome. Invalid after flush(), write() or
  // reopen(): ask each time.
  datastore::database& database();

  // operation_write: output is a datastore_row. operation_flush: no arguments.
  // operation_health: output is a result_table_health. operation_open:
  // reopen(). operation_close: flush() and checkpoint().
  int control(unsigned short operation, const void* input, void* output,
              void* extra) override;

 private:
  class implementation;
  std::unique_ptr<implementation> self_;
};

}  // namespace zelk::accumulate
