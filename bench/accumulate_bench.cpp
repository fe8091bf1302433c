// What zelk-accumulate costs from the socket, or the file, to the disk.
//
//   accumulate_bench PROGRAM [DIRECTORY [ROUNDS]]
//
// PROGRAM is zelk-accumulate; it runs as users run it. The floors are bare
// loops of this process: prepared inserts of the same records in batches, and
// for files open, lock, read, insert, unlink. Times end when everything is on
// disk and the log copied back. Rounds alternate with their floors and medians
// are compared. Status 1 when a bar is missed.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <czmq.h>

#include "bench/bare_table.h"
#include "bench/bench.h"
#include "bench/records.h"
#include "src/collect/src/provider/message.h"
#include "src/collect/src/provider/output_file.h"

namespace {

using zelk::provider_result;
using zelk::bench::median;
using zelk::bench::seconds_of;

// As `zelk-accumulate --batch`'s default.
constexpr std::size_t batch_rows = 200;
constexpr int senders = 4;  // processes
constexpr double most_memory_mib = 300;

void demand(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "accumulate_bench: %s failed\n", what);
  std::exit(2);
}

std::vector<provider_result> records_of(std::size_t first, std::size_t count,
                                        std::size_t size) {
  std::vector<provider_result> records;
  records.reserve(count);
  for (std::size_t i = first; i < first + count; ++i)
    records.push_back(
        zelk::bench::record_of(i, 1000, zelk::bench::text_of(size, i)));
  return records;
}

// Runs `body` in a child, so that its memory and threads are not ours.
pid_t in_child(const std::function<void()>& body) {
  const pid_t child = ::fork();
  if (child != 0) return child;
  body();
  std::_Exit(0);
}

void wait_for(pid_t child) {
  int status = 0;
  demand(::waitpid(child, &status, 0) == child && status == 0, "a child");
}

// A pipe that holds children back until it is closed.
struct starting_gun {
  int ends[2] = {-1, -1};
  starting_gun() { demand(::pipe(ends) == 0, "pipe"); }
  void wait() const {
    char none = 0;
    ::close(ends[1]);
    while (::read(ends[0], &none, 1) > 0) {
    }
  }
  void fire() const {
    ::close(ends[1]);
    ::close(ends[0]);
  }
};

struct accumulator {
  pid_t pid = -1;
  std::string endpoint;
};

void raise_descriptor_limit() {
  rlimit limit = {};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

// Starts the program so that it ends by itself after `count` records.
accumulator start_listening(const std::string& program, const std::string& base,
                            std::size_t count) {
  int ends[2];
  demand(::pipe(ends) == 0, "pipe");
  accumulator started;
  const std::string number = std::to_string(count);
  started.pid = ::fork();
  if (started.pid == 0) {
    ::dup2(ends[1], 9);
    ::close(ends[0]);
    ::close(ends[1]);
    ::execl(program.c_str(), program.c_str(), "listen", "--db", base.c_str(),
            "--bind", "tcp://127.0.0.1:*", "--expect", number.c_str(),
            "--until-complete", "--ready-fd", "9", "-q", nullptr);
    std::_Exit(127);
  }
  ::close(ends[1]);
  char line[256] = "";
  const ssize_t got = ::read(ends[0], line, sizeof line - 1);
  ::close(ends[0]);
  demand(got > 7, "the accumulator");
  started.endpoint = std::string(line + 6, static_cast<std::size_t>(got - 7));
  return started;
}

// Sends through `connections` sockets, in turn, as a worker sends.
void push(const std::string& endpoint, std::vector<provider_result>& records,
          std::size_t connections) {
  zsys_handler_set(nullptr);
  zsys_set_linger(static_cast<std::size_t>(-1));
  zsys_set_max_sockets(connections + 64);
  std::vector<zsock_t*> sockets;
  for (std::size_t i = 0; i < connections; ++i) {
    sockets.push_back(zsock_new(ZMQ_PUSH));
    demand(zsock_connect(sockets.back(), "%s", endpoint.c_str()) == 0,
           "connect");
  }
  for (std::size_t i = 0; i < records.size(); ++i)
    demand(zelk::send_provider_result(records[i], sockets[i % connections]),
           "send");
  for (zsock_t*& socket : sockets)
    zsock_destroy(&socket);
  zsys_shutdown();
}

struct figures {
  double seconds = 0;
  double peak_mib = 0;
};

// From the first byte sent to the end of the accumulator, which stores
// everything before.
figures socket_round(const std::string& program, const std::string& directory,
                     std::size_t count, std::size_t size, int processes,
                     std::size_t connections) {
  const std::string base = directory + "/socket.db";
  for (const char* end : {"", "-wal", "-shm"})
    std::filesystem::remove(base + end);
  const accumulator server = start_listening(program, base, count);
  const starting_gun gun;
  std::vector<pid_t> children;
  children.reserve(static_cast<std::size_t>(processes));
  const std::size_t share = count / static_cast<std::size_t>(processes);
  for (int i = 0; i < processes; ++i)
    children.push_back(in_child([&, i] {
      std::vector<provider_result> records =
          records_of(static_cast<std::size_t>(i) * share, share, size);
      gun.wait();
      push(server.endpoint, records, connections);
    }));
  ::sleep(2);  // for the children to make their records
  figures result;
  rusage usage = {};
  result.seconds = seconds_of([&] {
    gun.fire();
    int status = 0;
    demand(::wait4(server.pid, &status, 0, &usage) == server.pid && status == 0,
           "the accumulator");
  });
  result.peak_mib = static_cast<double>(usage.ru_maxrss) / 1024;
  for (const pid_t child : children)
    wait_for(child);
  return result;
}

// Runs `body` in a child and returns the seconds that it says it took.
double timed_child(const std::function<double()>& body) {
  int ends[2];
  demand(::pipe(ends) == 0, "pipe");
  const pid_t child = in_child([&] {
    const double took = body();
    demand(::write(ends[1], &took, sizeof took) == sizeof took, "write");
  });
  ::close(ends[1]);
  double took = 0;
  demand(::read(ends[0], &took, sizeof took) == sizeof took, "read");
  ::close(ends[0]);
  wait_for(child);
  return took;
}

double insert_round(const std::string& directory, std::size_t count,
                    std::size_t size) {
  return timed_child([&] {
    const std::vector<provider_result> records = records_of(0, count, size);
    zelk::bench::bare_table table(directory + "/bare.db", batch_rows);
    return seconds_of([&] {
      for (const provider_result& record : records)
        table.insert(record);
      table.finish();
    });
  });
}

void write_files(const std::string& spool, std::size_t count,
                 std::size_t size) {
  std::filesystem::create_directory(spool);
  for (const provider_result& record : records_of(0, count, size)) {
    std::string path = spool + "/ZELK_MEMORY_node1_1760000000__XXXXXX";
    demand(zelk::write_provider_result_file(record, spool.c_str(), path.data()),
           "write_provider_result_file");
  }
  ::sync();
}

provider_result read_file(int fd) {
  std::string content;
  char buffer[65536];
  for (ssize_t got = 0; (got = ::read(fd, buffer, sizeof buffer)) > 0;)
    content.append(buffer, static_cast<std::size_t>(got));
  provider_result record;
  demand(zelk::parse_result_file(content, record).empty(), "parse");
  return record;
}

// open, lock, read, insert, unlink
double bare_scan_round(const std::string& directory, std::size_t count,
                       std::size_t size) {
  const std::string spool = directory + "/spool";
  write_files(spool, count, size);
  return timed_child([&] {
    zelk::bench::bare_table table(directory + "/bare.db", batch_rows);
    return seconds_of([&] {
      for (const auto& entry : std::filesystem::directory_iterator(spool)) {
        const int fd = ::open(entry.path().c_str(), O_RDWR | O_CLOEXEC);
        demand(fd >= 0 && ::flock(fd, LOCK_EX) == 0, "lock");
        table.insert(read_file(fd));
        ::unlink(entry.path().c_str());
        ::close(fd);
      }
      table.finish();
    });
  });
}

double scan_round(const std::string& program, const std::string& directory,
                  std::size_t count, std::size_t size) {
  const std::string spool = directory + "/spool";
  const std::string base = directory + "/scan.db";
  for (const char* end : {"", "-wal", "-shm"})
    std::filesystem::remove(base + end);
  write_files(spool, count, size);
  return seconds_of([&] {
    const pid_t child = ::fork();
    if (child == 0) {
      ::execl(program.c_str(), program.c_str(), "scan", spool.c_str(), "--db",
              base.c_str(), "-q", nullptr);
      std::_Exit(127);
    }
    wait_for(child);
  });
}

struct comparison {
  std::vector<double> ours;
  std::vector<double> floor;
};

// Prints records a second; a ratio below `bar` is a miss.
bool compare(const char* name, std::size_t count, const comparison& seconds,
             double bar) {
  const auto number = static_cast<double>(count);
  const double ours = number / median(seconds.ours);
  const double floor = number / median(seconds.floor);
  const bool met = ours / floor >= bar;
  std::printf("%-44s %10.0f/s %10.0f/s %7.2f %7.2f%s\n", name, ours, floor,
              ours / floor, bar, met ? "" : "  MISSED");
  std::fflush(stdout);
  return met;
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 2) {
    std::fprintf(stderr,
                 "usage: accumulate_bench PROGRAM [DIRECTORY [ROUNDS]]\n");
    return 2;
  }
  const std::string program = argv[1];
  const std::string directory = argc > 2 ? argv[2] : ".";
  const int rounds = argc > 3 ? std::atoi(argv[3]) : 5;
  raise_descriptor_limit();
  std::printf("%-44s %12s %12s %7s %7s\n", "name", "ours", "floor", "ratio",
              "bar");

  constexpr std::size_t many = 100'000, large = 4'000, files = 10'000;
  constexpr std::size_t kib = 1024;
  comparison small, big, scanned, connected;
  double peak = 0;
  for (int i = 0; i < rounds; ++i) {
    small.floor.push_back(insert_round(directory, many, kib));
    small.ours.push_back(
        socket_round(program, directory, many, kib, 1, 1).seconds);
    big.floor.push_back(insert_round(directory, large, 64 * kib));
    big.ours.push_back(
        socket_round(program, directory, large, 64 * kib, 1, 1).seconds);
    scanned.floor.push_back(bare_scan_round(directory, files, kib));
    scanned.ours.push_back(scan_round(program, directory, files, kib));
    const figures crowd =
        socket_round(program, directory, many, kib, senders, 10'000 / senders);
    connected.ours.push_back(crowd.seconds);
    peak = std::max(peak, crowd.peak_mib);
  }
  connected.floor = small.ours;
  bool met = compare("1 KiB records, socket to disk", many, small, 0.7);
  met &= compare("64 KiB records, socket to disk", large, big, 0.7);
  met &= compare("10,000 connections of 10 records each", many, connected, 0.5);
  met &= compare("10,000 files scanned", files, scanned, 0.7);
  std::printf("%-44s %9.0f MiB %8.0f MiB%s\n", "memory at 10,000 connections",
              peak, most_memory_mib, peak < most_memory_mib ? "" : "  MISSED");
  return met && peak < most_memory_mib ? 0 : 1;
}
