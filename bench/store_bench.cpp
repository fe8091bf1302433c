// What storing costs, as a ratio to a floor measured in the same minute.
//
//   store_bench [DIRECTORY [ROUNDS [1k | 64k]]]
//
// Floor: a loop of prepared inserts of the same rows into one plain table of
// fifteen columns, without any index, in batches of the same size, as safe
// (write-ahead log, synchronous FULL), with SQLite's own page size. The tuned
// floor has our page size, which is a good part of what storing gains. All end
// with everything on disk and the log copied back. Rounds alternate; medians
// are compared.

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <sqlite3.h>

#include "bench/records.h"
#include "src/collect/src/accumulate/result_table.h"
#include "src/collect/src/accumulate/runs.h"
#include "src/common/datastore/controller.h"
#include "src/common/preproc/config.h"

namespace {

using zelk::field_text;
using zelk::provider_result;
using zelk::storable_result;
using clock_type = std::chrono::steady_clock;

constexpr std::size_t batch_rows = 4000;
constexpr std::size_t batch_bytes = 16 << 20;

double cpu_seconds() {
  timespec now = {};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) +
         static_cast<double>(now.tv_nsec) / 1e9;
}

// What one round took, for each record.
struct cost {
  double wall_us = 0;
  double cpu_us = 0;
};

class stopwatch {
 public:
  cost of(std::size_t count) const {
    const std::chrono::duration<double> wall = clock_type::now() - wall_;
    const auto n = static_cast<double>(count);
    return {wall.count() * 1e6 / n, (cpu_seconds() - cpu_) * 1e6 / n};
  }

 private:
  clock_type::time_point wall_ = clock_type::now();
  double cpu_ = cpu_seconds();
};

void demand(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "store_bench: %s failed\n", what);
  std::exit(2);
}

void execute(sqlite3* base, const char* sql) {
  demand(sqlite3_exec(base, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
}

void remove_files(const std::string& path) {
  for (const char* end : {"", "-wal", "-shm"})
    std::filesystem::remove(path + end);
}

sqlite3* plain_table(const std::string& path, int page_size) {
  sqlite3* base = nullptr;
  demand(sqlite3_open(path.c_str(), &base) == SQLITE_OK, "open");
  execute(base, ("PRAGMA page_size=" + std::to_string(page_size)).c_str());
  execute(
      base,
      "PRAGMA journal_mode=WAL;"
      "PRAGMA synchronous=FULL; PRAGMA wal_autocheckpoint=1000;"
      "CREATE TABLE result (id INTEGER PRIMARY KEY, provider TEXT, hostname "
      "TEXT, num_nodes INTEGER, node_names TEXT, exit_status INTEGER, "
      "timestamp INTEGER, duration REAL, encoding INTEGER, stdout ANY, "
      "stderr ANY, option_id TEXT, version INTEGER, username TEXT, "
      "unique_timestamp INTEGER) STRICT");
  return base;
}

void bind_text(sqlite3_stmt* insert, int index, std::string_view text) {
  sqlite3_bind_text64(insert, index, text.empty() ? "" : text.data(),
                      text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

void insert_row(sqlite3_stmt* insert, const provider_result& record) {
  const auto& header = record.header;
  bind_text(insert, 1, field_text(header.name));
  bind_text(insert, 2, field_text(header.hostname));
  sqlite3_bind_int64(insert, 3, header.num_nodes);
  bind_text(insert, 4, record.nodes_csv);
  sqlite3_bind_int64(insert, 5, header.exit_status);
  sqlite3_bind_int64(insert, 6, header.timestamp_sec);
  sqlite3_bind_double(insert, 7, header.duration);
  sqlite3_bind_int64(insert, 8, header.encoding);
  bind_text(insert, 9, record.stdout.view());
  bind_text(insert, 10, record.stderr.view());
  bind_text(insert, 11, field_text(header.option_id));
  sqlite3_bind_int64(insert, 12, header.version);
  bind_text(insert, 13, field_text(header.username));
  sqlite3_bind_int64(insert, 14,
                     header.timestamp_sec * 1000000 + header.timestamp_usec);
  demand(sqlite3_step(insert) == SQLITE_DONE, "insert");
  sqlite3_reset(insert);
}

cost run_floor(const std::string& path, int page_size,
               std::vector<storable_result>& records) {
  remove_files(path);
  sqlite3* base = plain_table(path, page_size);
  sqlite3_stmt* insert = nullptr;
  demand(sqlite3_prepare_v2(base,
                            "INSERT INTO result VALUES (NULL, ?1, ?2, ?3, ?4, "
                            "?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14)",
                            -1, &insert, nullptr) == SQLITE_OK,
         "prepare");
  const stopwatch watch;
  std::size_t rows = 0;
  std::size_t bytes = 0;
  execute(base, "BEGIN IMMEDIATE");
  for (const storable_result& record : records) {
    insert_row(insert, record.result);
    bytes += record.result.stdout.size();
    if (++rows < batch_rows && bytes < batch_bytes) continue;
    execute(base, "COMMIT; BEGIN IMMEDIATE");
    rows = bytes = 0;
  }
  execute(base, "COMMIT");
  sqlite3_wal_checkpoint_v2(base, nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr,
                            nullptr);
  const cost took = watch.of(records.size());
  sqlite3_finalize(insert);
  sqlite3_close(base);
  return took;
}

cost run_store(const std::string& path, std::vector<storable_result>& records) {
  using namespace zelk;
  remove_files(path);
  accumulate::result_table_options options;
  options.batch_rows = batch_rows;
  options.batch_bytes = batch_bytes;
  auto table = std::make_shared<accumulate::result_table>(path, options);
  table->use_run(accumulate::create_run(table->database(), {}));
  const auto controller = datastore::DataStoreController::start();
  controller->register_extension("results", table);
  const data_source source{"results", table};
  const Config settings;
  const stopwatch watch;
  storable_result record;
  for (storable_result& each : records) {
    std::swap(record.result, each.result);
    demand(write_provider_result_datastore(record, settings, source), "write");
    std::swap(record.result, each.result);
  }
  demand(table->flush() == 0, "flush");
  table->checkpoint();
  const cost took = watch.of(records.size());
  demand(table->counters().stored == records.size(), "count");
  return took;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void compare(const std::string& directory, const char* name, std::size_t size,
             std::size_t count, int rounds) {
  std::vector<storable_result> records(count);
  for (std::size_t i = 0; i < count; ++i)
    records[i].result =
        zelk::bench::record_of(i, 1000, zelk::bench::text_of(size, i));
  std::vector<double> floors;
  std::vector<double> tuned_floors;
  std::vector<double> stores;
  for (int i = 0; i < rounds; ++i) {
    const cost floor = run_floor(directory + "/floor.db", 4096, records);
    const cost tuned = run_floor(directory + "/tuned.db", 16384, records);
    const cost store = run_store(directory + "/store.db", records);
    floors.push_back(floor.wall_us);
    tuned_floors.push_back(tuned.wall_us);
    stores.push_back(store.wall_us);
    std::printf(
        "  %-6s us a record, wall (CPU): floor %.1f (%.1f)  tuned "
        "floor %.1f (%.1f)  store %.1f (%.1f)\n",
        name, floor.wall_us, floor.cpu_us, tuned.wall_us, tuned.cpu_us,
        store.wall_us, store.cpu_us);
    std::fflush(stdout);
  }
  std::printf(
      "%-6s store %.0f/s, ratio to the floor %.2f, to the tuned floor "
      "%.2f\n",
      name, 1e6 / median(stores), median(floors) / median(stores),
      median(tuned_floors) / median(stores));
  for (const char* each : {"floor", "tuned", "store"}) {
    const std::string path = directory + "/" + each + ".db";
    std::printf("       %s file: %.1f MB\n", each,
                static_cast<double>(std::filesystem::file_size(path)) / 1e6);
    remove_files(path);
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  const std::string directory = argc > 1 ? argv[1] : ".";
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
  const std::string only = argc > 3 ? argv[3] : "";
  if (only != "64k") compare(directory, "1 KiB", 1024, 100'000, rounds);
  if (only != "1k") compare(directory, "64 KiB", 1 << 16, 4'000, rounds);
  return 0;
}
