// What a node runs for one task of a plan.
//
// Pure: nothing is started and no file is read.

#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "src/collect/src/collect/launcher.h"
#include "src/collect/src/collect/plan.h"

namespace zelk::collect {

// What the workers of a collection have in common.
struct worker_setup {
  std::string program;        // path of the worker on the nodes
  std::string root_here;      // install root of this machine
  std::string root_there;     // and of the nodes; "": the same
  std::string configuration;  // text of one that the nodes have not; "": theirs
  std::string endpoint;       // of the accumulator; "": asynchronous delivery
  std::string version;        // that the worker must have; "": any
};

// How long a worker keeps trying, after its last provider, to deliver what it
// has to an accumulator that does not take it.
constexpr std::chrono::milliseconds worker_linger{8000};

launch make_launch(const task& what, const worker_setup& setup);

// A configuration with the option sets of the plan, and with the directory for
// files. It is what the nodes are given when theirs may be another one. With
// `only`, it has just the option sets of that task.
std::string worker_configuration(const collect_settings& settings,
                                 const plan& made, const task* only = nullptr);

// Where files go in asynchronous delivery.
std::string output_directory(const collect_settings& settings);

// Whether `what` leaves out some option sets of the providers that it runs.
bool is_partial(const plan& made, const task& what);

// NAME='value' assignments, as option_set::text has them, taken apart.
std::vector<std::pair<std::string, std::string>> assignments_of(
    std::string_view text);

}  // namespace zelk::collect
