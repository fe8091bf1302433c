// The floor of everything that stores: prepared inserts of the same rows into
// one plain table, in batches, as safe as ours.

#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include <sqlite3.h>

#include "src/collect/src/provider/result.h"

namespace zelk::bench {

class bare_table {
 public:
  bare_table(std::string path, std::size_t batch_rows);
  ~bare_table() {
    sqlite3_finalize(insert_);
    sqlite3_close(base_);
    remove();
  }
  bare_table(const bare_table&) = delete;
  bare_table& operator=(const bare_table&) = delete;

  void insert(const provider_result& record);
  void finish() {
    execute("COMMIT");
    sqlite3_wal_checkpoint_v2(base_, nullptr, SQLITE_CHECKPOINT_TRUNCATE,
                              nullptr, nullptr);
  }

 private:
  static void demand(int code, const char* what) {
    if (code == SQLITE_OK) return;
    std::fprintf(stderr, "bare_table: %s failed\n", what);
    std::exit(2);
  }
  void execute(const char* sql) {
    demand(sqlite3_exec(base_, sql, nullptr, nullptr, nullptr), sql);
  }
  void text(int index, std::string_view bytes) {
    sqlite3_bind_text64(insert_, index, bytes.empty() ? "" : bytes.data(),
                        bytes.size(), SQLITE_STATIC, SQLITE_UTF8);
  }
  void remove() const {
    for (const char* end : {"", "-wal", "-shm"})
      std::filesystem::remove(path_ + end);
  }

  std::string path_;
  std::size_t batch_rows_;
  std::size_t rows_ = 0;
  sqlite3* base_ = nullptr;
  sqlite3_stmt* insert_ = nullptr;
};

inline bare_table::bare_table(std::string path, std::size_t batch_rows)
    : path_(std::move(path)), batch_rows_(batch_rows) {
  remove();
  demand(sqlite3_open(path_.c_str(), &base_), "open");
  // SQLite's own page size; write-ahead log; nothing is lost in a power cut.
  execute(
      "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
      "CREATE TABLE result (id INTEGER PRIMARY KEY, provider TEXT, hostname "
      "TEXT, num_nodes INTEGER, node_names TEXT, exit_status INTEGER, "
      "timestamp INTEGER, duration REAL, encoding INTEGER, stdout ANY, "
      "stderr ANY, option_id TEXT, version INTEGER, username TEXT, "
      "unique_timestamp INTEGER) STRICT");
  demand(sqlite3_prepare_v2(base_,
                            "INSERT INTO result VALUES (NULL, ?1, ?2, ?3, "
                            "?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, "
                            "?14)",
                            -1, &insert_, nullptr),
         "prepare");
  execute("BEGIN IMMEDIATE");
}

inline void bare_table::insert(const provider_result& record) {
  const provider_result_header& header = record.header;
  text(1, field_text(header.name));
  text(2, field_text(header.hostname));
  sqlite3_bind_int64(insert_, 3, header.num_nodes);
  text(4, record.nodes_csv);
  sqlite3_bind_int64(insert_, 5, header.exit_status);
  sqlite3_bind_int64(insert_, 6, header.timestamp_sec);
  sqlite3_bind_double(insert_, 7, header.duration);
  sqlite3_bind_int64(insert_, 8, header.encoding);
  text(9, record.stdout.view());
  text(10, record.stderr.view());
  text(11, field_text(header.option_id));
  sqlite3_bind_int64(insert_, 12, header.version);
  text(13, field_text(header.username));
  sqlite3_bind_int64(insert_, 14,
                     header.timestamp_sec * 1000000 + header.timestamp_usec);
  if (sqlite3_step(insert_) != SQLITE_DONE) demand(SQLITE_ERROR, "insert");
  sqlite3_reset(insert_);
  if (++rows_ % batch_rows_ == 0) execute("COMMIT; BEGIN IMMEDIATE");
}

}  // namespace zelk::bench
