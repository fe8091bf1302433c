// What a collection is going to do: which nodes run which providers, in which
// order, and which results are to come of it.
//
// A plan is complete before anything is started, so that whatever does not come
// can be named. Making one starts nothing on any node.

#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

struct option_set {
  std::string id;                   // "None" for a provider without option sets
  std::chrono::seconds timeout{0};  // scaled to the nodes of a group
  std::string text;  // NAME='value' assignments, each with a blank behind it
  std::int64_t timeout_sec = 0;  // as written; 0: the description's
  std::string scale;             // of timeout_sec; "" without one
};

struct planned_provider {
  std::string stem;  // the description file's name without its extension
  std::string path;  // of the description, on this machine
  std::string name;  // under which results are stored
  int version = 1;
  bool cluster = false;  // runs once for a group of nodes
  unsigned min_nodes = 1;
  unsigned max_nodes = 1;
  std::string architecture = "any";
  std::vector<option_set> options;  // at least one
  std::string description;
  std::string command;            // with the auxiliary path not filled in
  std::string auxiliary_path;     // on this machine
  std::int64_t timeout_sec = 60;  // as written, not scaled
  std::string scale = "constant";
  bool plugin = false;  // its exit status is a state: 1 and 2 are answers
};

struct selected_node {
  std::string name;
  std::string role;        // as in the node file, several with commas; or ""
  std::string subcluster;  // or ""
};

struct expected_result {
  std::string node;
  std::string provider;  // planned_provider::name
  std::string option;    // option_set::id

  friend bool operator==(const expected_result&,
                         const expected_result&) = default;
};

// One worker on one node.
struct task {
  std::string node;
  std::vector<std::string> descriptions;  // paths on this machine
  std::vector<std::string> group;  // names for its node file; empty: no file
  std::vector<expected_result> expected;
  std::chrono::seconds limit{0};  // the sum of all time-outs, and a margin
};

// What is left out although it was asked for. It is stored with the run.
struct not_required {
  std::string node;
  std::string provider;  // "": all of them
  std::string reason;
};

struct plan {
  std::vector<selected_node> nodes;         // in the order of the selection
  std::vector<planned_provider> providers;  // by stem, as a worker runs them
  // One behind the other. The first, which may be empty, has the providers of
  // single nodes; each other one a provider of clusters, whose groups have no
  // node in common.
  std::vector<std::vector<task>> phases;
  std::vector<collect::not_required> not_required;
  std::optional<std::uint64_t> seed;  // there when chance had a part in it
  // What people should know about how the nodes were found, for stderr.
  std::vector<std::string> remarks;
};

// What a worker needs beside the time-outs of its providers: to start, to send
// what it has, to end.
constexpr std::chrono::seconds task_margin{10};

}  // namespace zelk::collect
