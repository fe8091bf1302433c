// Copies the write-ahead log back into the database beside the one who writes.
//
// A writer who does it himself stores nothing meanwhile, a third of the time
// under load. Here a second connection does it, on a thread of its own, each
// time the log has grown by a piece. The log begins anew only when all of it is
// copied while nobody writes; so the writer copies the last piece himself when
// the log has become long. Belongs to the writer's thread.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "src/collect/src/accumulate/job_thread.h"
#include "src/common/datastore/sqlite.h"

namespace zelk::accumulate {

class log_copier {
 public:
  // For a datastore that `writer` writes, which stays where it is and whose
  // commits copy nothing from now on.
  explicit log_copier(datastore::database& writer);

  // Behind each commit of the writer. A failure is a debug record: what was not
  // copied is as safe where it lies. But see check().
  void committed();
  // In front of each transaction. Throws store_error, once, when the disk has
  // failed to take what was copied: it may say next time that all is well, so
  // both connections are to be given up, and the log is needed from its
  // beginning: see keep_log().
  void check();
  // Neither closing copies the log.
  void keep_log();
  // Waits for the copying that is going on.
  void wait() { thread_.wait(); }

 private:
  void copy_beside();
  void copy(datastore::database& through);

  datastore::database& writer_;
  std::optional<datastore::database> reader_;  // of the log; the thread's
  std::int64_t copied_ = 0;                    // pages of the log
  std::optional<datastore::store_error> disk_failure_;
  job_thread thread_;  // ends first
};

}  // namespace zelk::accumulate
