// What was typed, and what it means.

#pragma once

#include <map>
#include <string>
#include <vector>

#include "src/check/command/settings.h"

namespace zelk::check {

// The options whose values have to be looked at; others are settings already.
struct typed_options {
  // Of those that may stand once, by the long name: "--run". Only those typed.
  std::map<std::string, std::string> values;
  std::vector<std::string> operands;
  std::vector<std::string> outputs, html, classes, redacted;
  int verbose = 0;
  bool no_pager = false;  // there is none; people type it all the same
  bool no_color = false, json = false, no_script = false;
  bool list = false, local = false, drain = false;
};

// Throws usage_mistake, or reading::refusal.
void interpret(const typed_options& typed, check_settings& settings);

}  // namespace zelk::check
