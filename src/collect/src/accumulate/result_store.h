// The datastore as those use it who take records in.
//
// Makes the process's datastore controller, registers the table of results with
// it, and writes through it. What it knows beyond the table is how a record
// that was not taken is to be treated. Belongs to the thread that made it.

#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "src/collect/src/accumulate/result_table.h"
#include "src/collect/src/provider/result.h"

namespace zelk {
struct Config;
namespace datastore {
class DataStoreController;
}
}  // namespace zelk

namespace zelk::accumulate {

struct store_options {
  std::string path;  // of the datastore
  std::size_t batch_rows = 200;
  // While a batch is being committed the next one grows to so many times that.
  std::size_t growth = 5;
  std::chrono::milliseconds batch_time{500};
  // As result_table_options has them.
  std::function<void()> on_commit_end = {};
  std::shared_ptr<const datastore::database::shared_deadline> busy_deadline =
      nullptr;
  const Config* settings = nullptr;  // what deliveries are given; not null
};

class result_store {
 public:
  enum class answer {
    done,      // taken, or everything flushed
    rejected,  // this record is not acceptable
    later,     // the store cannot now; the record is the caller's still
    failed,    // not as it is open: reopen(), and hand in again what has no
               // outcome yet
  };

  // Opens or makes the datastore. Throws datastore::store_error.
  explicit result_store(const store_options& options);
  ~result_store();
  result_store(const result_store&) = delete;
  result_store& operator=(const result_store&) = delete;

  // Copies `record` into the batch.
  answer take(provider_result& record);
  answer flush();
  // Waits for nothing: as result_table::start_flush().
  answer start_flush();

  void use_run(std::int64_t number);
  void on_outcome(std::function<void(const row_outcome&)> listener);
  // When flush() is due; nothing while nothing is pending.
  std::optional<std::chrono::steady_clock::time_point> due() const;
  // Why it is not good, or "".
  std::string trouble() const;
  // Throws datastore::store_error. The run is to be set again.
  void reopen();
  void checkpoint();
  datastore::database& database();

 private:
  static answer answer_for(int status);
  answer answer_now() const;

  const Config& settings_;
  std::shared_ptr<datastore::DataStoreController> controller_;
  std::shared_ptr<result_table> table_;
  struct destination;
  std::unique_ptr<destination> destination_;
};

// The pauses between attempts at something that may work again soon: short at
// first, and never so long that somebody waits for it.
class backoff {
 public:
  std::chrono::milliseconds next() {
    const std::chrono::milliseconds now = pause_;
    pause_ = std::min(2 * pause_, longest);
    total_ += now;
    return now;
  }
  // What the pauses add up to since the last reset.
  std::chrono::milliseconds total() const { return total_; }
  void reset() { *this = {}; }

 private:
  static constexpr std::chrono::milliseconds shortest{100};
  static constexpr std::chrono::milliseconds longest{5000};
  std::chrono::milliseconds pause_ = shortest;
  std::chrono::milliseconds total_{0};
};

}  // namespace zelk::accumulate
