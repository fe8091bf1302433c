// Owners of a SQLite database and what belongs to it: statements, transactions,
// savepoints.
//
// They hold handles and turn results into store_error; they know no table. A
// database and all that was made from it belong to one thread (interrupt() is
// the exception), statements end before their database, and a failure is
// thrown, never logged: the caller knows what it was doing.

#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "src/common/datastore/store_error.h"

typedef struct sqlite3 sqlite3;            // sqlite3.h, which stays in
typedef struct sqlite3_stmt sqlite3_stmt;  // .cpp files

namespace zelk::datastore {

enum class open_mode {
  read_only,   // never writes, whatever the statements say
  read_write,  // the file must exist
  create,      // made, with mode 0600, when it does not exist
};

enum class value_type { integer, real, text, blob, null };

// How long a lock that another process holds is waited for, and after how much
// of it that is said.
struct patience {
  std::chrono::milliseconds limit{30'000};
  std::chrono::milliseconds notice{1'000};
};

class database {
 public:
  // Opens `path` and reads its first page, so that what is no database is known
  // at once. To read, a file beside which nothing can be written is opened as
  // one that nobody changes, unless a log lies beside it. Waits as `waiting`
  // says, now and later: see set_busy_limit(). Throws store_error.
  database(const std::string& path, open_mode mode,
           const patience& waiting = {});
  database(database&& other) noexcept;
  database& operator=(database&& other) noexcept;
  ~database();

  const std::string& path() const { return path_; }
  sqlite3* handle() const { return handle_; }

  // Waits at most `limit` for a lock that another process holds, then the
  // statement throws a transient failure. After `notice` of waiting one warning
  // is logged.
  void set_busy_limit(std::chrono::milliseconds limit,
                      std::chrono::milliseconds notice);

  // A moment, in ticks of the steady clock, after which a wait ends almost at
  // once; 0: there is none yet. Another thread may set it while this one waits.
  using shared_deadline = std::atomic<std::chrono::steady_clock::rep>;
  void set_busy_deadline(std::shared_ptr<const shared_deadline> deadline);

  // Runs every statement in `sql`; results are dropped.
  void execute(const std::string& sql);
  // Runs `sql` and returns the first column of its first row; 0 or "" without
  // one.
  std::int64_t integer(std::string_view sql);
  std::string text(std::string_view sql);

  // Rows changed by the last INSERT, UPDATE or DELETE.
  std::int64_t changes() const;
  // The rowid of the last row that was inserted.
  std::int64_t last_id() const;
  bool in_transaction() const;

  // Copies the content, as of one moment, into the new file `path` (mode 0600).
  void copy_to(const std::string& path);

  // Copies the write-ahead log into the database and cuts it to nothing.
  // Returns false when a reader prevents that, which is no failure.
  bool checkpoint();

  // From now on no commit of this connection copies the log, and the log grows
  // until copy_log() or checkpoint() is called; whoever calls this sees to it.
  void leave_log_alone();
  // Pages in the log behind this connection's last commit.
  // Requires: leave_log_alone() was called.
  std::int64_t log_pages() const;

  struct log_extent {
    std::int64_t pages = 0;   // in the log
    std::int64_t copied = 0;  // of these: when all are, the log begins anew
  };
  // Copies what it can of the log into the database while others read and
  // write. Returns nothing when somebody else is copying.
  std::optional<log_extent> copy_log();
  // Closing will not copy the log. For a disk that has failed: asked again it
  // says that all is well, and a log that is needed is removed.
  void keep_log_when_closed();

  // Ends the statement that is running with a transient failure. From any
  // thread and from signal handlers' threads.
  void interrupt();

 private:
  struct connection_state;

  void open(const std::string& name, int flags);
  void open_unchanging();
  void close();

  std::string path_;
  sqlite3* handle_ = nullptr;
  std::unique_ptr<connection_state> state_;
};

// A prepared statement. Text and blobs are bound without a copy: the bytes must
// stay until reset(), run(), or the next bind of that parameter.
class statement {
 public:
  statement(const database& base, std::string_view sql);
  statement(statement&& other) noexcept;
  statement& operator=(statement&& other) noexcept;
  ~statement();

  // Parameters are numbered from 1.
  statement& bind(int index, std::int64_t value);
  statement& bind(int index, double value);  // not a number becomes NULL
  statement& bind_null(int index);
  statement& bind_text(int index, std::string_view bytes);
  statement& bind_blob(int index, std::string_view bytes);
  // As text where is_text(bytes) (utf8.h), else as a blob.
  statement& bind_bytes(int index, std::string_view bytes);

  // Returns whether there is a row. A failure resets the statement and throws.
  bool step();
  // Steps to the end and resets.
  void run();
  void reset();

  // Columns are numbered from 0; values are of the row of the last step() and
  // live until the next.
  int columns() const;
  std::string_view column_name(int column) const;
  value_type type(int column) const;
  std::int64_t integer(int column) const;
  double real(int column) const;
  std::string_view bytes(int column) const;  // of text and blobs

  // Whether it leaves the database's content alone.
  bool read_only() const;
  // What is behind the first statement of the text it was made from.
  std::string_view rest() const { return rest_; }

 private:
  void check(int code) const;

  sqlite3_stmt* handle_ = nullptr;
  std::string_view rest_;
};

// A write transaction, begun at once (BEGIN IMMEDIATE): waiting for another
// writer happens here and not in the middle. Rolled back unless committed.
class transaction {
 public:
  explicit transaction(database& base);
  transaction(const transaction&) = delete;
  transaction& operator=(const transaction&) = delete;
  ~transaction();

  // Throws with the transaction rolled back. After an input or output error
  // nobody knows whether it was committed: open the database again and look.
  void commit();

 private:
  database& base_;
  bool open_ = true;
};

// A part of a transaction that can be taken back alone. Taken back unless kept.
class savepoint {
 public:
  explicit savepoint(database& base);
  savepoint(const savepoint&) = delete;
  savepoint& operator=(const savepoint&) = delete;
  ~savepoint();

  void keep();

 private:
  database& base_;
  bool open_ = true;
};

}  // namespace zelk::datastore
