// Writes batches of records into a datastore, each in one transaction.
//
// A connection with its prepared statements and what it remembers of the
// tables. Belongs to one thread. Throws datastore::store_error; the batch is
// then not in the file, unless the failure came out of the commit itself (see
// commit_failed()): then it may be.

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "src/collect/src/accumulate/content_table.h"
#include "src/collect/src/accumulate/file_identity.h"
#include "src/collect/src/accumulate/host_table.h"
#include "src/collect/src/accumulate/log_copier.h"
#include "src/collect/src/accumulate/name_table.h"
#include "src/collect/src/accumulate/pending_batch.h"
#include "src/collect/src/accumulate/result_table.h"
#include "src/collect/src/accumulate/stored_header.h"
#include "src/common/datastore/sqlite.h"

namespace zelk::accumulate {

class batch_writer {
 public:
  explicit batch_writer(datastore::database base);

  datastore::database& base() { return base_; }

  // Stores what is new of `batch` and returns what became of each record, in
  // order, once that is on disk. A record that the database refuses is left
  // out alone.
  std::vector<row_outcome> write(std::span<const pending_record> batch);

  // Whether the last write() failed in COMMIT or behind it, and the id that its
  // first new row had.
  bool commit_failed() const { return commit_failed_; }
  std::int64_t first_id() const { return first_id_; }

  // Makes the next opening quick and the log short.
  void tidy();
  // For a disk that has failed: the end of this object leaves the log as it is.
  void keep_log() { log_.keep_log(); }

 private:
  struct record_key {
    std::int64_t unique_timestamp;
    std::int64_t hostname;
    std::int64_t provider;
    std::int64_t option_id;
  };

  struct run_growth {
    std::int64_t results = 0;
    std::int64_t nodes = 0;
  };

  std::vector<row_outcome> write_all(std::span<const pending_record> batch,
                                     bool isolated);
  void announce(const pending_record& record) const;
  void check_identity();
  void begin();
  void commit(datastore::transaction& batch);
  void forget();
  row_outcome store_isolated(const pending_record& record);
  row_outcome store(const pending_record& record);
  bool insert(std::int64_t twin);
  static datastore::statement& bind_key(datastore::statement& query,
                                        const record_key& key,
                                        const digest& whole);
  bool is_duplicate(const record_key& key, const digest& whole,
                    row_outcome& found);
  std::int64_t store_block(const named_block& block);
  void bind_columns(const pending_record& record, const header_columns& columns,
                    const record_key& key, std::int64_t host);
  void grow_runs();

  datastore::database base_;
  log_copier log_;
  file_identity identity_;
  name_table names_;
  host_table hosts_;
  content_table contents_;
  datastore::statement next_id_;
  datastore::statement insert_;
  datastore::statement find_first_;
  datastore::statement find_twin_;
  datastore::statement insert_twin_;
  datastore::statement run_of_;
  datastore::statement update_next_id_;
  datastore::statement grow_run_;

  std::unordered_map<std::int64_t, run_growth> growth_;
  std::int64_t first_id_ = 0;
  std::int64_t next_ = 0;
  bool commit_failed_ = false;
};

}  // namespace zelk::accumulate
