// The process runner against the least that the system allows.
//
//   runner_bench [ROUNDS]      default 300
//
// Every pair is measured in turns, so that what else the machine does hits both
// alike. Exit status 1 when a bar is missed.

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/bare_spawn.h"
#include "bench/bench.h"
#include "src/common/util/cmd.h"

namespace zelk {
namespace {

using bench::bare_child;
using bench::bare_spawn;
using bench::bare_true;
using bench::median;
using bench::require;
using bench::seconds_of;

constexpr std::size_t mib = std::size_t{1} << 20;

void our_true() {
  util::cmd command("true", 60);
  require(command.popen3() == 0, "popen3");
}

bool bench_spawn(int rounds) {
  std::vector<double> ours;
  std::vector<double> floor;
  for (int i = 0; i < rounds; ++i) {
    ours.push_back(seconds_of(our_true) * 1e6);
    floor.push_back(seconds_of(bare_true) * 1e6);
  }
  return bench::print_row("run of true, to a bare spawn (us)", median(ours),
                          median(floor), 1.25);
}

bool bench_ballast(int rounds) {
  constexpr int turns = 4;
  constexpr std::size_t size = 1024 * mib;
  std::vector<double> large;
  std::vector<double> small;
  for (int turn = 0; turn < turns; ++turn) {
    for (int i = 0; i < rounds / turns; ++i) {
      small.push_back(seconds_of(our_true) * 1e6);
    }
    void* const ballast = ::mmap(nullptr, size, PROT_READ | PROT_WRITE,
                                 MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    require(ballast != MAP_FAILED, "mmap");
    ::madvise(ballast, size, MADV_NOHUGEPAGE);
    for (std::size_t at = 0; at < size; at += 4096) {
      static_cast<char*>(ballast)[at] = 1;
    }
    for (int i = 0; i < rounds / turns; ++i) {
      large.push_back(seconds_of(our_true) * 1e6);
    }
    ::munmap(ballast, size);
  }
  return bench::print_row("the same holding 1 GiB, to without (us)",
                          median(large), median(small), 1.3);
}

// ---- capture: each measurement in a process of its own ----

struct capture_figures {
  double seconds = 0;
  double peak_kib = 0;
};

template <typename Body>
capture_figures measure(const Body& capture) {
  std::array<int, 2> fds{};
  require(::pipe(fds.data()) == 0, "pipe");
  const pid_t child = ::fork();
  if (child == 0) {
    const capture_figures result{seconds_of(capture), bench::peak_kib()};
    ::_exit(::write(fds[1], &result, sizeof(result)) == sizeof(result) ? 0 : 1);
  }
  ::close(fds[1]);
  capture_figures result;
  require(::read(fds[0], &result, sizeof(result)) == sizeof(result), "capture");
  ::close(fds[0]);
  ::waitpid(child, nullptr, 0);
  return result;
}

std::string printing(std::size_t bytes) {
  return "head -c " + std::to_string(bytes) + " /dev/zero";
}

void our_capture(std::size_t bytes) {
  util::cmd command(printing(bytes), 600);
  require(command.popen3() == 0, "popen3");
  require(command.standard_output.size() == bytes, "bytes");
}

void least_capture(std::size_t bytes) {
  const bare_child child = bare_spawn(printing(bytes));
  ::fcntl(child.fds[0], F_SETPIPE_SZ, static_cast<int>(mib));
  ::fcntl(child.fds[0], F_SETFL, O_NONBLOCK);
  std::size_t size = 0;
  std::size_t capacity = mib;
  auto* data = static_cast<char*>(std::malloc(capacity));
  for (ssize_t got = 1; got != 0;) {
    pollfd event{child.fds[0], POLLIN, 0};
    ::poll(&event, 1, -1);
    if (capacity - size < mib) {
      capacity *= 2;
      data = static_cast<char*>(std::realloc(data, capacity));
    }
    got = ::read(child.fds[0], data + size, mib);
    if (got > 0) size += static_cast<std::size_t>(got);
  }
  ::waitpid(child.pid, nullptr, 0);
  require(size == bytes, "bytes");
  std::free(data);
}

bool bench_capture_time() {
  constexpr std::size_t bytes = 1024 * mib;
  std::vector<double> ours;
  std::vector<double> floor;
  for (int i = 0; i < 9; ++i) {
    ours.push_back(measure([] { our_capture(bytes); }).seconds);
    floor.push_back(measure([] { least_capture(bytes); }).seconds);
  }
  return bench::print_row("capture of 1 GiB, to a bare loop (s)", median(ours),
                          median(floor), 1.2);
}

bool bench_capture_memory(const char* name, std::size_t bytes) {
  const double size_kib = static_cast<double>(bytes) / 1024;
  const double peak = measure([bytes] { our_capture(bytes); }).peak_kib;
  const double allowed = 1.05 * size_kib + 16 * 1024;
  return bench::print_row(name, peak, size_kib, allowed / size_kib);
}

int run(int rounds) {
  bench::print_head();
  bool good = bench_spawn(rounds);
  good = bench_capture_time() && good;
  good = bench_capture_memory("peak memory for 1024 MiB, to the size (KiB)",
                              1024 * mib) &&
         good;
  good = bench_capture_memory("peak memory for 1100 MiB, to the size (KiB)",
                              1100 * mib) &&
         good;
  good = bench_ballast(rounds) && good;
  return good ? 0 : 1;
}

}  // namespace
}  // namespace zelk

int main(int argc, char** argv) {
  return zelk::run(argc > 1 ? std::atoi(argv[1]) : 300);
}
