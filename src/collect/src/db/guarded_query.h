// One SELECT of a stranger, over the documented views and nothing else.
//
// What it may do is decided before it runs (guarded_query.cpp); how long it may
// take, while it does. The database may be used for other
// things again when the object has ended; one object at a time.

#pragma once

#include <chrono>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "src/common/datastore/sqlite.h"

namespace zelk::db {

struct query_limits {
  std::chrono::milliseconds time{60'000};  // 0: none
  // Of one value, made or read. What a query holds besides (sorted rows, tables
  // of its own) goes to temporary files when it becomes large.
  int longest_value = 256 << 20;  // bytes
};

class guarded_query {
 public:
  // Throws refusal when `sql` is not one statement that only reads `views`, and
  // says which part of it is the reason. `base` must be open to read only.
  guarded_query(datastore::database& base, std::span<const char* const> views,
                std::string_view sql, const query_limits& limits);
  ~guarded_query();
  guarded_query(const guarded_query&) = delete;
  guarded_query& operator=(const guarded_query&) = delete;

  // As statement::step(); throws failure when a limit is reached.
  bool step();
  const datastore::statement& row() const;

 private:
  class guard;
  std::unique_ptr<guard> guard_;
  std::unique_ptr<datastore::statement> statement_;
};

}  // namespace zelk::db
