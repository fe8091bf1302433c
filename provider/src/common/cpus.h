// The processors this process may use, where they sit, and their caches.
//
// "May use" is the affinity mask the program was started with, which is what a
// batch system's cpuset leaves: no thread is ever bound outside it. A kernel
// that does not tell sockets or caches has one socket, cores of one thread and
// no last-level cache (0 bytes).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zelk::perf {

struct cpu {
  int number = 0;
  int package = 0;        // the socket, by the kernel's number
  int first_sibling = 0;  // the lowest numbered thread of the same core
};

// "0-3,8" -> 0 1 2 3 8; what is no such list gives nothing.
std::vector<int> read_cpu_list(const std::string& text);

// In the order of their numbers. Throws std::system_error.
std::vector<int> allowed_cpus();

std::vector<cpu> place_cpus(const std::string& root,
                            const std::vector<int>& numbers);

// The first usable thread of each core: a second one shares its arithmetic
// units and would only add noise.
std::vector<cpu> one_per_core(const std::vector<cpu>& cpus);

std::vector<int> packages_of(const std::vector<cpu>& cpus);

std::vector<cpu> cpus_of_package(const std::vector<cpu>& cpus, int package);

std::vector<int> numbers_of(const std::vector<cpu>& cpus);

struct cache_sizes {
  std::uint64_t first_data = 0;  // bytes, of one processor
  std::uint64_t second = 0;      // bytes, of one processor
  std::uint64_t last_sum = 0;    // bytes, of all the last-level caches in reach
};

cache_sizes read_caches(const std::string& root, const std::vector<cpu>& cpus);

// Bytes that can be taken without pushing anything out: the machine's, or the
// control group's where that is less. 0 when the kernel does not tell.
std::uint64_t available_memory(const std::string& root);

// Binds the calling thread. False when the processor has gone offline or out of
// the cpuset meanwhile.
bool bind_to_cpu(int number);

// The first line of a file, or nothing.
std::string first_line(const std::string& path);

}  // namespace zelk::perf
