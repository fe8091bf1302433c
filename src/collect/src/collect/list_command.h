// --list: the installed providers and the suites.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "src/collect/src/collect/catalogue.h"
#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

struct provider_list {
  std::string text;  // a table, or one JSON document with settings.json
  // What is wrong with a choice or a suite. What is wrong with a description
  // has been told, and is counted.
  std::vector<std::string> problems;
  std::size_t unusable = 0;
};

// Lists what settings.wanted and -f name; everything when they name nothing.
provider_list list_providers(const collect_settings& settings,
                             catalogue& descriptions);

}  // namespace zelk::collect
