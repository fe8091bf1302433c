// Whether a datastore, which may be of an older version, has a view.

#pragma once

#include <string_view>

#include "src/common/datastore/sqlite.h"

namespace zelk::reading {

inline bool view_exists(const datastore::database& base,
                        std::string_view name) {
  datastore::statement query(base,
                             "SELECT 1 FROM sqlite_schema WHERE type = 'view' "
                             "AND name = ?1");
  query.bind_text(1, name);
  return query.step();
}

}  // namespace zelk::reading
