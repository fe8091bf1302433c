// A datastore rewritten without its unused space.

#pragma once

#include "src/common/datastore/sqlite.h"

namespace zelk::db {

// Needs free space for two more copies, beside the datastore unless
// SQLITE_TMPDIR names another place. Waits for whoever writes, as a transaction
// does; readers are not in the way. Throws datastore::store_error with the file
// as it was. Sets SQLITE_TMPDIR: for programs of one thread.
void compact(datastore::database& base);

}  // namespace zelk::db
