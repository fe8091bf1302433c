#include "src/collect/src/accumulate/descriptor_limit.h"

#include <sys/resource.h>

#include <algorithm>
#include <fstream>

namespace zelk::accumulate {

std::size_t raise_descriptor_limit() {
  rlimit limit = {};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 1;
  if (limit.rlim_cur < limit.rlim_max) {
    rlimit raised = limit;
    raised.rlim_cur = limit.rlim_max;
    if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
  }
  // Tables are indexed by descriptor; no kernel gives out more than this.
  constexpr rlim_t most = 1 << 20;
  const auto usable = static_cast<std::size_t>(std::min(limit.rlim_cur, most));
  return usable > reserved_descriptors ? usable - reserved_descriptors : 1;
}

std::string capacity_problem(std::size_t connections, std::size_t nodes) {
  if (nodes <= connections) return "";
  return "Expecting " + std::to_string(nodes) + " nodes, but only " +
         std::to_string(connections) +
         " can be connected at once: raise the hard limit on open files "
         "(ulimit -Hn, LimitNOFILE=) to " +
         std::to_string(nodes + reserved_descriptors);
}

std::string backlog_problem(int wanted) {
  std::ifstream file("/proc/sys/net/core/somaxconn");
  int allowed = 0;
  if (!(file >> allowed) || allowed >= wanted) return "";
  return "net.core.somaxconn is " + std::to_string(allowed) +
         ": when more peers than that come at once, some are heard seconds "
         "late; set it to " +
         std::to_string(wanted);
}

}  // namespace zelk::accumulate
