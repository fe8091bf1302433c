// What a result of SQLite means to those who store: the class of the failure,
// and words for an administrator.

#pragma once

#include <string>

#include "src/common/datastore/store_error.h"

typedef struct sqlite3 sqlite3;  // sqlite3.h, which stays in .cpp files

namespace zelk::datastore {

// `path` as messages have it.
std::string quoted(const std::string& path);

// Of the result `code` (sqlite3.h), extended or not, of a call on `handle`,
// which may be null.
store_error failed(const std::string& path, sqlite3* handle, int code);
// The same, for the path that `handle` was opened with.
store_error failed(sqlite3* handle, int code);

// Of a call of the system on `path` that failed with errno `code`.
store_error refused(const std::string& path, int code);

}  // namespace zelk::datastore
