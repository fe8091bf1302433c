#include "src/collect/src/accumulate/run_owner.h"

#include <unistd.h>

#include <array>
#include <fstream>
#include <iterator>
#include <sstream>

namespace zelk::accumulate {

namespace {

// Of the fields of /proc/PID/stat, behind the second one.
constexpr int fields_before_start = 19;

std::string host_name() {
  std::array<char, 256> name = {};
  if (::gethostname(name.data(), name.size() - 1) == -1) return "";
  return name.data();
}

// 0 when there is no such process.
std::int64_t start_of(std::int64_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  // The second field is the program's name in brackets and may hold anything.
  const std::size_t bracket = text.rfind(')');
  if (bracket == std::string::npos) return 0;
  std::istringstream fields(text.substr(bracket + 1));
  std::string skipped;
  for (int i = 0; i < fields_before_start; ++i)
    fields >> skipped;
  std::int64_t start = 0;
  fields >> start;
  return start;
}

}  // namespace

run_owner this_process() {
  const std::int64_t pid = ::getpid();
  return {host_name(), pid, start_of(pid)};
}

bool has_ended(const run_owner& owner) {
  return owner.host == host_name() && start_of(owner.pid) != owner.start;
}

}  // namespace zelk::accumulate
