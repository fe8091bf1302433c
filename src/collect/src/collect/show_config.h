// --show-config: the values in force and where each of them comes from.

#pragma once

#include <string>

#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

// Returns the settings as a table, or as one JSON document.
std::string shown_settings(const collect_settings& settings);
std::string settings_json(const collect_settings& settings);

}  // namespace zelk::collect
