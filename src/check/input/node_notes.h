// What is known of a run's nodes besides their facts: roles, subclusters and
// classes of the node file and of the command line, and the groups that they
// make.
//
// What cannot be used is a refusal that says what was expected.

#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "src/check/input/asked_groups.h"
#include "src/check/judgement.h"
#include "src/check/run_data.h"
#include "src/common/node/node_set.h"
#include "src/common/node/nodelist.h"

namespace zelk::check {

// Reads a node file with the notes in it.
node::Nodelist read_nodefile(const std::string& path);

// Gives each node of the run the notes of the list.
void give_notes(run_data& to, const node::Nodelist& list);

// "NAME=NODESET": nodes of a class of their own, whatever their facts say.
struct class_override {
  std::string name;
  std::string nodes;
};

// Reads the text of an option --class.
class_override read_class_override(const std::string& text);

// Gives the classes, over those of notes. A node in two of them is a refusal.
// Returns the nodes that the run does not know, in natural order.
std::vector<std::string> give_classes(
    run_data& to, const std::vector<class_override>& classes,
    asked_groups& others);

// Groups by their names without "@": "role:login", "subcluster:gpu", "class:A"
// and "*" for all.
using node_groups = std::map<std::string, std::vector<std::string>>;

// The groups of the notes.
node_groups groups_of(const run_data& run);
// Puts the classes that were found in the place of those that were given.
void add_classes(node_groups& to, const std::vector<class_view>& classes);

// For node::parse_node_set(): what is no role, subcluster or class is asked of
// `others`. Both must outlive it.
node::group_source source_of(const node_groups& groups, asked_groups& others);

// The names of the sets, which an option `option` gave; "-" is standard input.
std::vector<std::string> names_of(const std::string& option,
                                  const std::vector<std::string>& sets,
                                  const node_groups& groups,
                                  asked_groups& others);

}  // namespace zelk::check
