// Known states that may be: accepting them, listing them, taking it back.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "src/collect/src/reading/opening.h"

namespace zelk::db {

enum class accept_action { accept, list, revoke };

struct accept_options {
  accept_action what = accept_action::list;
  std::string check;                  // its id
  std::vector<std::string> nodes;     // node sets; none: any node
  std::vector<std::string> excluded;  // node sets
  std::string reason;
  std::string until;  // a duration or a day; "": for good
  std::string run;    // where it was seen: run_selection.h; "": nobody said
  std::string who;    // "": login_name()
  std::vector<std::int64_t> ids;  // revoke
  bool all = false;               // list: revoked ones, too
  bool json = false;
  bool quiet = false;
};

// Returns "", or why `text` cannot be a check's id: lower-case words and
// numbers joined by dashes.
std::string problem_of_check_id(const std::string& text);

// Returns the exit status.
int manage_acceptances(const reading::place& where,
                       const accept_options& options);

}  // namespace zelk::db
