// What a datastore is and how it is, without reading it whole.

#pragma once

#include "src/collect/src/reading/opening.h"

namespace zelk::db {

struct info_options {
  bool json = false;
};

// Returns the exit status: 1 when something needs looking after.
int show_info(const reading::place& where, const info_options& options);

}  // namespace zelk::db
