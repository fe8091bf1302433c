#include "src/common/datastore/sqlite_failure.h"

#include <cerrno>
#include <system_error>

#include <sqlite3.h>

namespace zelk::datastore {

namespace {

std::string errno_words(int code) {
  return std::system_category().message(code);
}

store_failure failure_of(int code) {
  switch (code) {
    case SQLITE_IOERR_SHORT_READ:  // the file is shorter than it says
    case SQLITE_IOERR_CORRUPTFS:
    case SQLITE_IOERR_DATA:
      return store_failure::fatal;
    default:
      break;
  }
  switch (code & 0xFF) {
    case SQLITE_FULL:
    case SQLITE_IOERR:
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
    case SQLITE_INTERRUPT:
    case SQLITE_NOMEM:
      return store_failure::transient;
    case SQLITE_TOOBIG:
    case SQLITE_CONSTRAINT:
    case SQLITE_MISMATCH:
      return store_failure::row;
    default:
      return store_failure::fatal;
  }
}

// What SQLite says is made for programmers; the four that administrators meet
// are put into their words.
std::string failure_words(sqlite3* handle, int code) {
  switch (code & 0xFF) {
    case SQLITE_FULL:
      return "the disk is full";
    case SQLITE_BUSY:
      return "another process is writing to it and does not end";
    case SQLITE_NOTADB:
      return "the file is not a datastore";
    case SQLITE_READONLY:
      return "the file or its directory cannot be written to";
    default:
      break;
  }
  std::string words =
      handle ? ::sqlite3_errmsg(handle) : ::sqlite3_errstr(code);
  const int system = handle ? ::sqlite3_system_errno(handle) : 0;
  const bool of_the_system =
      (code & 0xFF) == SQLITE_IOERR || (code & 0xFF) == SQLITE_CANTOPEN;
  if (of_the_system && system != 0) words += " (" + errno_words(system) + ")";
  return words;
}

}  // namespace

std::string quoted(const std::string& path) {
  return "'" + path + "'";
}

store_error failed(const std::string& path, sqlite3* handle, int code) {
  return {failure_of(code),
          "Datastore " + quoted(path) + ": " + failure_words(handle, code),
          code};
}

store_error failed(sqlite3* handle, int code) {
  const char* path = ::sqlite3_db_filename(handle, "main");
  return failed(path ? path : "", handle, code);
}

store_error refused(const std::string& path, int code) {
  const bool passing = code == ENOSPC || code == EDQUOT || code == EIO ||
                       code == EMFILE || code == ENFILE;
  return {passing ? store_failure::transient : store_failure::fatal,
          "Datastore " + quoted(path) + ": " + errno_words(code)};
}

}  // namespace zelk::datastore
