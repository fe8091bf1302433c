// Which nodes Slurm would run something on now.
//
// srun fails as a whole for one unknown name, and waits without end for one
// node that is down: such nodes are left out before it is asked. Pure text.

#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/collect/ssh_failure.h"

namespace zelk::collect {

class slurm_nodes {
 public:
  // The program that is asked, and its arguments.
  static std::vector<std::string> question();

  // `answer` is what it printed: a name and a state on each line. Nodes that
  // are in no line are unknown to Slurm.
  explicit slurm_nodes(std::string_view answer);

  // From now on only `names` can be used: an allocation has no others.
  // `job` is its number, for messages.
  void restrict_to(const std::vector<std::string>& names, std::string job);

  // Returns why nothing can be run on `node`.
  std::optional<failure> problem(const std::string& node) const;

 private:
  std::map<std::string, std::string> states_;
  std::optional<std::map<std::string, bool>> allowed_;
  std::string job_;
};

}  // namespace zelk::collect
