// SQL of the user over the documented views.

#pragma once

#include <cstdint>
#include <string>

#include "src/collect/src/reading/opening.h"

namespace zelk::db {

struct query_options {
  std::string sql;   // "-": from standard input
  std::string file;  // instead of `sql`
  std::string form = "table";
  std::int64_t max_rows = 100'000;  // 0: any number
  int timeout_sec = 60;             // 0: none
};

// Returns the exit status: 1 when there were more rows than wanted.
int run_query(const reading::place& where, const query_options& options);

}  // namespace zelk::db
