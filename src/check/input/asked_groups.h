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
  // By the programs of this machine, which have `all` from now on for all their
  // answers, and 15 s each: a batch system that is down makes its clients wait
  // for it.
  explicit asked_groups(std::chrono::seconds all);

  // Like a node::group_source.
  const node::expansion& of(std::string_view group);

 private:
  program_runner run_;
  std::map<std::string, node::expansion, std::less<>> known_;
};

// How long programs may take, when this one may take `timeout` (0: any time):
// there must be time left to say that nobody answered.
std::chrono::seconds limit_of_questions(std::chrono::seconds timeout);

}  // namespace zelk::check
