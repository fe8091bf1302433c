// From the words on the command line to the providers that are meant.
//
// A word is the name of a provider or "@" and the name of a suite. Suites are
// the configuration's; two there are always:
//
//   @default   every provider of a single node, those of @performance excepted
//   @all       every installed provider
//
// A configuration may have suites of these names, which then replace them.

#pragma once

#include <string>
#include <vector>

#include "src/collect/src/collect/catalogue.h"

namespace zelk::collect {

struct chosen_providers {
  std::vector<planned_provider> providers;  // by stem, each once
  std::string problem;                      // empty: they are to be used
};

// Returns the providers of settings.wanted and settings.provider_files less
// settings.skipped; @default when nothing is wanted. What is wrong with a
// description has been told, what is wrong with the choice is the problem.
chosen_providers choose_providers(const collect_settings& settings,
                                  catalogue& descriptions);

// Returns the names of the providers of a suite, its suites resolved, or the
// problem with it.
struct suite_content {
  std::vector<std::string> names;
  std::string problem;
};
suite_content content_of_suite(const std::string& name,
                               const collect_settings& settings,
                               catalogue& descriptions);

// The names of all suites, with "@".
std::vector<std::string> suite_names(const collect_settings& settings);

}  // namespace zelk::collect
