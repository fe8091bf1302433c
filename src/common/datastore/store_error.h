// What went wrong with a store, and whether trying again can help.

#pragma once

#include <stdexcept>
#include <string>

namespace zelk::datastore {

enum class store_failure {
  transient,  // disk full, input or output error, held by another process
  row,        // what was to be stored is not acceptable; the store is fine
  fatal,      // damaged, read-only, not ours, removed: not as it is open now
};

// what() is a sentence for the user that names the file; nothing is logged by
// whoever throws it.
class store_error : public std::runtime_error {
 public:
  store_error(store_failure failure, const std::string& text, int code = 0)
      : std::runtime_error(text), failure_(failure), code_(code) {}

  store_failure failure() const { return failure_; }
  int code() const { return code_; }  // SQLite's extended result code, or 0

  // Whether the system failed to read or write (SQLITE_IOERR and its kinds). A
  // database that has met this is to be closed and opened again.
  bool input_output() const { return (code_ & 0xFF) == 10; }

 private:
  store_failure failure_;
  int code_;
};

}  // namespace zelk::datastore
