// The settings that can be made in more than one place: in the configuration,
// in the environment and on the command line.
//
// One table says what each is called where, how its text is read and how it is
// shown, so that a value means the same wherever it was written.

#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

struct setting_rule {
  const char* name;         // also the element of the configuration
  const char* option;       // "--fanout"
  const char* variable;     // of the environment; "": none
  const char* description;  // for the help
  const char* type;         // what the help calls its value
  // Takes `text` over; returns what was expected when it is not understood. A
  // list grows by it.
  std::string (*apply)(collect_settings& settings, const std::string& text);
  std::string (*show)(const collect_settings& settings);
};

const std::vector<setting_rule>& setting_rules();

// The rule of that name, or null.
const setting_rule* find_rule(std::string_view name);

// Applies a rule and notes where the value came from. Returns "" or
// "expected ...; found '...'".
std::string apply_setting(collect_settings& settings, const setting_rule& rule,
                          const std::string& text, const std::string& where);

// Takes over the variables of the environment that the rules name; an empty one
// counts as none. Returns the first complaint, or "".
std::string apply_environment(collect_settings& settings,
                              std::string (*variable)(const char* name));

// Returns what `value` is of one of `known`, "" when it is one of them:
// "expected one of a b c; found 'x'; did you mean ...".
std::string none_of(const std::string& value,
                    const std::vector<std::string>& known);

}  // namespace zelk::collect
