// Known states that an administrator has accepted (zelk-db accept).

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "src/common/datastore/sqlite.h"

namespace zelk::reading {

struct stored_acceptance {
  std::int64_t id = 0;             // never given a second time
  std::string check;               // a check's id
  std::vector<std::string> nodes;  // natural order; empty: any node
  std::string nodes_text;          // as it was typed, "@gpu"; "" for any
  std::string reason, who;
  std::int64_t made_usec = 0;     // since the Unix epoch
  std::int64_t until_usec = 0;    // from then on it is over; 0: for good
  std::int64_t revoked_usec = 0;  // taken back; 0: it stands
  std::string revoked_by;
  std::int64_t run = 0;  // seen in this run; 0: nobody said

  bool revoked() const { return revoked_usec != 0; }
  bool holds_at(std::int64_t now_usec) const {
    return !revoked() && (until_usec == 0 || now_usec < until_usec);
  }
};

// All of them, those that are over as well, by their id. A datastore of an
// older version has none.
std::vector<stored_acceptance> acceptances(datastore::database& base);

}  // namespace zelk::reading
