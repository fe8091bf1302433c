// The run that others are compared with: marking it, showing it.

#pragma once

#include <string>

#include "src/collect/src/reading/opening.h"

namespace zelk::db {

enum class baseline_action { set, list, clear };

struct baseline_options {
  baseline_action what = baseline_action::list;
  std::string run;   // set: run_selection.h
  std::string name;  // a word for it; "": none
  std::string who;   // "": login_name()
  bool json = false;
  bool quiet = false;
};

// Returns the exit status.
int manage_baseline(const reading::place& where,
                    const baseline_options& options);

}  // namespace zelk::db
