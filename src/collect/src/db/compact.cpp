#include "src/collect/src/db/compact.h"

#include <stdlib.h>

#include <sqlite3.h>

#include "src/common/str/str.h"

namespace zelk::db {

void compact(datastore::database& base) {
  // SQLite attaches the copy that it makes, and a datastore is opened in a way
  // that allows no attaching, and keeps temporary tables in memory.
  ::sqlite3_limit(base.handle(), SQLITE_LIMIT_ATTACHED, 1);
  base.execute("PRAGMA temp_store = FILE");
  // The disk that holds the datastore has to have the room anyway; the usual
  // place is often small, or memory.
  ::setenv("SQLITE_TMPDIR", str::dirname(base.path()).c_str(), 0);
  base.execute("VACUUM");
}

}  // namespace zelk::db
