// Reading a datastore beside which nothing can be written.
//
// With a log, readers tell each other by a file beside the database what they
// read. Where that file can neither be made nor used, a database that has no
// log is whole as it is, and can be opened as one that nobody changes. One that
// has a log cannot: what is in the log would be left out.

#pragma once

#include <string>

namespace zelk::datastore {

// Whether this process may write to the file `path` and to its directory.
bool can_write_beside(const std::string& path);

// Returns SQLite's name for `path` as a file that nobody changes. Throws
// store_error when a log lies beside it, or it cannot be read at all.
std::string unchanging_name(const std::string& path);

}  // namespace zelk::datastore
