// Rows of a query as text, in one of four forms.
//
//   table   for people: one line a row, everything visible (visible_text.h)
//   csv     RFC 4180 with plain newlines, a head line; bytes as they are,
//   unless
//           they would go to a terminal; NULL is nothing, an empty text is ""
//   json    one array of objects; in ASCII, blobs as {"base64": "..."}
//   jsonl   one object a line

#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "src/common/datastore/sqlite.h"

namespace zelk::db {

class row_printer {
 public:
  virtual ~row_printer() = default;
  // Requires: `row` has the columns that the printer was made for.
  virtual void row(const datastore::statement& row) = 0;
  // Behind the last row.
  virtual void end() {}
};

// The forms' names, for messages.
const std::vector<std::string>& row_forms();

// `terminal`: whether `out` is one. Requires: `form` is one of row_forms().
std::unique_ptr<row_printer> make_row_printer(const std::string& form,
                                              const datastore::statement& row,
                                              std::ostream& out, bool terminal);

}  // namespace zelk::db
