// This machine measured here and now, without a collection or a datastore.
//
// Runs, one after the other, the providers of one node whose descriptions
// declare a fact that somebody wants, and reads their outputs. All of them
// together keep to a deadline. Each gets its share of the time first, so that
// one that hangs does not starve the rest; those that were stopped get what is
// left over then. What had no time is an answer that timed out.

#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "src/check/run_data.h"

namespace zelk::check {

struct local_wish {
  // Names or patterns of those wanted. What loads a node, the configuration's
  // suite "performance", is measured only for those asked for by name.
  std::vector<std::string> facts, facts_by_name;
  std::string install_root;
  std::string config_file;   // option sets of providers; "": none
  std::string descriptions;  // the folder
  std::chrono::steady_clock::time_point deadline;
};

// Returns a run of one node. Throws reading::refusal when the configuration or
// the folder cannot be used.
run_data measure_here(const local_wish& wish);

// "net.{1}.mtu", as a description names facts, as a pattern: "net.*.mtu".
std::string pattern_of(std::string_view fact_name);

// Whether a name exists that both patterns stand for.
bool patterns_meet(std::string_view a, std::string_view b);

}  // namespace zelk::check
