#include "src/collect/src/db/node_sets.h"

#include <iostream>
#include <set>

#include "src/collect/src/reading/failure.h"
#include "src/common/node/natural_order.h"
#include "src/common/node/ranges.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

std::string standard_input() {
  std::string list;
  for (std::string word; std::cin >> word;)
    list += (list.empty() ? "" : ",") + word;
  return list;
}

std::set<std::string> expanded(const std::vector<std::string>& sets,
                               node::range_budget& budget) {
  std::set<std::string> names;
  for (const std::string& set : sets) {
    const node::expansion found =
        node::expand_list(set == "-" ? standard_input() : set, budget);
    if (!found.problem.empty())
      throw reading::refusal("Node set '" + text::visible_text(set) +
                             "': " + found.problem);
    names.insert(found.names.begin(), found.names.end());
  }
  return names;
}

}  // namespace

std::vector<std::string> names_of_sets(
    const std::vector<std::string>& sets,
    const std::vector<std::string>& excluded) {
  node::range_budget budget;
  std::set<std::string> names = expanded(sets, budget);
  for (const std::string& name : expanded(excluded, budget))
    names.erase(name);
  std::vector<std::string> result(names.begin(), names.end());
  node::sort_naturally(result);
  return result;
}

}  // namespace zelk::db
