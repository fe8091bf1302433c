// Groups of nodes that neither a run nor a node file has: other programs of
// this machine are asked for them (utils/outside_groups.h).
//
// Each group is asked for once, however many runs it is put to.

#pragma once

#include <chrono>
#include <map>
#include <string>
#include <string_view>

#include "src/collect/src/utils/outside_groups.h"
#include "src/common/node/ranges.h"

namespace zelk::check {

class asked_groups {
 public:
  // By `run`.
  explicit asked_groups(program_runner run) : run_(std::move(run)) {}
  // By the programs of this machine, each of which is ended when it takes
  // longer: a batch system that is down makes its clients wait for it.
  explicit asked_groups(std::chrono::seconds limit);

  // Like a node::group_source.
  const node::expansion& of(std::string_view group);

 private:
  program_runner run_;
  std::map<std::string, node::expansion, std::less<>> known_;
};

// How long a program may take, when all may take `timeout` (0: any time).
std::chrono::seconds limit_of_a_question(std::chrono::seconds timeout);

}  // namespace zelk::check
