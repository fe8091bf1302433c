#include "provider/src/common/cpus.h"

#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace zelk::perf {
namespace {

constexpr std::size_t most_cpus = 1 << 16;

std::string cpu_folder(const std::string& root, int number) {
  return root + "/sys/devices/system/cpu/cpu" + std::to_string(number);
}

int number_in(const std::string& path, int otherwise) {
  const std::string text = first_line(path);
  int number = otherwise;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number < 0 ? otherwise : number;
}

// "1024K" -> bytes.
std::uint64_t size_in(const std::string& path) {
  const std::string text = first_line(path);
  std::uint64_t number = 0;
  const auto end =
      std::from_chars(text.data(), text.data() + text.size(), number).ptr;
  const char unit = end < text.data() + text.size() ? *end : 'B';
  if (unit == 'K') return number << 10;
  if (unit == 'M') return number << 20;
  return number;
}

struct cache {
  int level = 0;
  std::string type, shared_by;
  std::uint64_t bytes = 0;
};

std::vector<cache> caches_of(const std::string& root, int number) {
  std::vector<cache> found;
  for (int index = 0;; ++index) {
    const std::string folder =
        cpu_folder(root, number) + "/cache/index" + std::to_string(index) + "/";
    const std::string type = first_line(folder + "type");
    if (type.empty()) return found;
    found.push_back({number_in(folder + "level", 0), type,
                     first_line(folder + "shared_cpu_list"),
                     size_in(folder + "size")});
  }
}

const std::uint64_t no_limit = std::numeric_limits<std::uint64_t>::max();

// A control group's limit less its use; "max" and what is not there are none.
std::uint64_t group_room(const std::string& limit_path,
                         const std::string& use_path) {
  std::uint64_t limit = no_limit, used = 0;
  const std::string limit_text = first_line(limit_path);
  const std::string use_text = first_line(use_path);
  std::from_chars(limit_text.data(), limit_text.data() + limit_text.size(),
                  limit);
  std::from_chars(use_text.data(), use_text.data() + use_text.size(), used);
  if (limit == no_limit) return no_limit;
  return limit > used ? limit - used : 0;
}

// The least room of a group and of all above it.
std::uint64_t room_up_the_tree(const std::string& mount, std::string group,
                               const char* limit, const char* use) {
  std::uint64_t room = no_limit;
  while (true) {
    const std::string folder = mount + group + "/";
    room = std::min(room, group_room(folder + limit, folder + use));
    const std::size_t slash = group.rfind('/');
    if (slash == std::string::npos) return room;
    group.resize(slash);
  }
}

std::uint64_t control_group_room(const std::string& root) {
  std::ifstream groups(root + "/proc/self/cgroup");
  const std::string mount = root + "/sys/fs/cgroup";
  std::uint64_t room = no_limit;
  for (std::string line; std::getline(groups, line);) {
    const std::size_t path = line.find(":/");
    if (path == std::string::npos) continue;
    const std::string group = line.substr(path + 1);
    if (line.starts_with("0::")) {
      room = std::min(
          room, room_up_the_tree(mount, group, "memory.max", "memory.current"));
    } else if (line.find(":memory:") != std::string::npos) {
      room = std::min(room, room_up_the_tree(mount + "/memory", group,
                                             "memory.limit_in_bytes",
                                             "memory.usage_in_bytes"));
    }
  }
  return room;
}

std::uint64_t machine_room(const std::string& root) {
  std::ifstream memory(root + "/proc/meminfo");
  std::uint64_t kib = 0;
  for (std::string line; std::getline(memory, line);) {
    if (!line.starts_with("MemAvailable:")) continue;
    std::istringstream(line.substr(13)) >> kib;
  }
  return kib << 10;
}

}  // namespace

std::string first_line(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

std::vector<int> read_cpu_list(const std::string& text) {
  std::vector<int> numbers;
  std::istringstream parts(text);
  for (std::string part; std::getline(parts, part, ',');) {
    int first = 0;
    const char* end = part.data() + part.size();
    auto [stopped, error] = std::from_chars(part.data(), end, first);
    if (error != std::errc{} || first < 0) return {};
    int last = first;
    if (stopped != end && *stopped == '-') {
      const auto after = std::from_chars(stopped + 1, end, last);
      stopped = after.ptr;
      error = after.ec;
    }
    if (error != std::errc{} || stopped != end) return {};
    if (last < first || last >= static_cast<int>(most_cpus)) return {};
    for (int number = first; number <= last; ++number)
      numbers.push_back(number);
  }
  return numbers;
}

std::vector<int> allowed_cpus() {
  // The call refuses a mask that is smaller than the kernel's own.
  for (std::size_t count = 1024; count <= most_cpus; count *= 2) {
    cpu_set_t* mask = CPU_ALLOC(count);
    if (mask == nullptr) break;
    const std::size_t bytes = CPU_ALLOC_SIZE(count);
    const int result = ::sched_getaffinity(0, bytes, mask);
    const int code = errno;
    std::vector<int> numbers;
    for (std::size_t number = 0; result == 0 && number < count; ++number) {
      if (CPU_ISSET_S(number, bytes, mask))
        numbers.push_back(static_cast<int>(number));
    }
    CPU_FREE(mask);
    if (result == 0) return numbers;
    if (code != EINVAL)
      throw std::system_error(code, std::generic_category(),
                              "sched_getaffinity");
  }
  throw std::system_error(EINVAL, std::generic_category(), "sched_getaffinity");
}

std::vector<cpu> place_cpus(const std::string& root,
                            const std::vector<int>& numbers) {
  std::vector<cpu> placed;
  placed.reserve(numbers.size());
  for (const int number : numbers) {
    const std::string topology = cpu_folder(root, number) + "/topology/";
    const auto siblings =
        read_cpu_list(first_line(topology + "thread_siblings_list"));
    placed.push_back({number, number_in(topology + "physical_package_id", 0),
                      siblings.empty() ? number : siblings.front()});
  }
  return placed;
}

std::vector<cpu> one_per_core(const std::vector<cpu>& cpus) {
  std::set<int> taken;
  std::vector<cpu> chosen;
  for (const cpu& candidate : cpus) {
    if (taken.insert(candidate.first_sibling).second)
      chosen.push_back(candidate);
  }
  return chosen;
}

std::vector<int> packages_of(const std::vector<cpu>& cpus) {
  std::set<int> packages;
  for (const cpu& one : cpus)
    packages.insert(one.package);
  return {packages.begin(), packages.end()};
}

std::vector<cpu> cpus_of_package(const std::vector<cpu>& cpus, int package) {
  std::vector<cpu> chosen;
  for (const cpu& one : cpus) {
    if (one.package == package) chosen.push_back(one);
  }
  return chosen;
}

std::vector<int> numbers_of(const std::vector<cpu>& cpus) {
  std::vector<int> numbers;
  numbers.reserve(cpus.size());
  for (const cpu& one : cpus)
    numbers.push_back(one.number);
  return numbers;
}

cache_sizes read_caches(const std::string& root, const std::vector<cpu>& cpus) {
  cache_sizes sizes;
  std::set<std::pair<int, std::string>> counted;
  for (const cpu& one : cpus) {
    const std::vector<cache> caches = caches_of(root, one.number);
    const cache* last = nullptr;
    for (const cache& level : caches) {
      if (level.type == "Instruction") continue;
      if (level.level == 1) sizes.first_data = level.bytes;
      if (level.level == 2) sizes.second = level.bytes;
      if (last == nullptr || level.level > last->level) last = &level;
    }
    // A cache without a list of sharers is taken for the processor's own.
    if (last == nullptr) continue;
    const std::string owner = last->shared_by.empty()
                                  ? "cpu" + std::to_string(one.number)
                                  : last->shared_by;
    if (counted.emplace(last->level, owner).second)
      sizes.last_sum += last->bytes;
  }
  return sizes;
}

std::uint64_t available_memory(const std::string& root) {
  return std::min(machine_room(root), control_group_room(root));
}

bool bind_to_cpu(int number) {
  cpu_set_t* mask = CPU_ALLOC(most_cpus);
  if (mask == nullptr) return false;
  const std::size_t bytes = CPU_ALLOC_SIZE(most_cpus);
  CPU_ZERO_S(bytes, mask);
  CPU_SET_S(static_cast<std::size_t>(number), bytes, mask);
  const bool bound = ::sched_setaffinity(0, bytes, mask) == 0;
  CPU_FREE(mask);
  return bound;
}

}  // namespace zelk::perf
