// What a large result costs on its way through ZeroMQ.
//
//   message_bench [MEBIBYTES]
//
// Time: a result from the sender's record into the receiver's, against two
// floors of the same run: a bare ZeroMQ message that is filled by one memcpy
// and thrown away on arrival, and one whose bytes the receiver copies out as
// well. Both sockets belong to this thread, so that the figures do not depend
// on when another one runs; over TCP the library's own thread does the
// transfer.
//
// Memory: how far the peak rises above what was held before a send and before a
// receive, in sizes of the output. Status 1 when that is more than one copy.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>

#include <czmq.h>

#include "src/collect/src/provider/message.h"

namespace {

using clock = std::chrono::steady_clock;

constexpr int rounds = 7;             // the best one counts
constexpr double most_copies = 1.05;  // one, and what is not the output

struct socket_pair {
  zsock_t* pull = zsock_new(ZMQ_PULL);
  zsock_t* push = zsock_new(ZMQ_PUSH);

  explicit socket_pair(const char* endpoint) {
    if (zsock_bind(pull, "%s", endpoint) < 0) std::abort();
    if (zsock_connect(push, "%s", zsock_endpoint(pull)) != 0) std::abort();
  }
  ~socket_pair() {
    zsock_destroy(&push);
    zsock_destroy(&pull);
  }
  socket_pair(const socket_pair&) = delete;
  socket_pair& operator=(const socket_pair&) = delete;
};

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "message_bench: %s failed\n", what);
  std::exit(2);
}

zelk::provider_result record_of(std::size_t size) {
  zelk::provider_result record;
  std::memset(record.stdout.free_tail(size), 'x', size);
  record.stdout.grown_by(size);
  record.header.api = zelk::result_api;
  record.header.stdout_size = static_cast<std::int64_t>(size);
  return record;
}

void send_bare(const socket_pair& sockets, std::string_view bytes) {
  zframe_t* frame = zframe_new(bytes.data(), bytes.size());
  require(zframe_send(&frame, sockets.push, 0) == 0, "zframe_send");
}

void receive_bare(const socket_pair& sockets, bool copy_out) {
  zframe_t* frame = zframe_recv(sockets.pull);
  require(frame != nullptr, "zframe_recv");
  zelk::util::byte_buffer copy;
  if (copy_out) {
    copy.append({reinterpret_cast<const char*>(zframe_data(frame)),
                 zframe_size(frame)});
  }
  zframe_destroy(&frame);
}

void receive_record(const socket_pair& sockets, std::size_t size) {
  zelk::provider_result received;
  require(zelk::receive_provider_result(received, sockets.pull) &&
              received.stdout.size() == size,
          "receive_provider_result");
}

double best_ms(const std::function<void()>& work) {
  double best = 1e9;
  for (int i = 0; i < rounds; ++i) {
    const clock::time_point start = clock::now();
    work();
    const std::chrono::duration<double, std::milli> spent =
        clock::now() - start;
    best = std::min(best, spent.count());
  }
  return best;
}

void measure_time(const char* endpoint, const zelk::provider_result& record) {
  const socket_pair sockets(endpoint);
  const auto bare = [&](bool copy_out) {
    send_bare(sockets, record.stdout.view());
    receive_bare(sockets, copy_out);
  };
  const double thrown_away = best_ms([&] { bare(false); });
  const double copied_out = best_ms([&] { bare(true); });
  const double result = best_ms([&] {
    require(zelk::send_provider_result(record, sockets.push),
            "send_provider_result");
    receive_record(sockets, record.stdout.size());
  });
  std::printf(
      "%-16s result %7.1f ms   bare %7.1f ms: %.2f times   bare, copied out "
      "%7.1f ms: %.2f times\n",
      endpoint, result, thrown_away, result / thrown_away, copied_out,
      result / copied_out);
}

// Returns a line of /proc/self/status, which are in KiB, in bytes.
double memory(const std::string& key) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(key + ":"))
      return 1024.0 * std::atof(line.c_str() + key.size() + 1);
  }
  return 0;
}

// Runs `work` and returns how far it raised the peak, in sizes of the output.
double peak_rise(std::size_t size, const std::function<void()>& work) {
  std::ofstream("/proc/self/clear_refs") << 5;  // the peak starts anew
  const double before = memory("VmRSS");
  work();
  return (memory("VmHWM") - before) / static_cast<double>(size);
}

bool measure_memory(const zelk::provider_result& record) {
  const std::size_t size = record.stdout.size();
  const socket_pair sockets("inproc://memory");
  const double sending = peak_rise(size, [&] {
    require(zelk::send_provider_result(record, sockets.push),
            "send_provider_result");
  });
  const double receiving =
      peak_rise(size, [&] { receive_record(sockets, size); });
  std::printf("peak memory      send +%.2f copies   receive +%.2f copies\n",
              sending, receiving);
  return std::max(sending, receiving) <= most_copies;
}

}  // namespace

int main(int argc, char* argv[]) {
  const long mebibytes = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 64;
  if (mebibytes < 1 || mebibytes > 4096) {
    std::fprintf(stderr, "usage: message_bench [MEBIBYTES]\n");
    return 2;
  }
  const zelk::provider_result record =
      record_of(static_cast<std::size_t>(mebibytes) << 20);
  std::printf("message_bench: %ld MiB, best of %d\n", mebibytes, rounds);
  const bool lean = measure_memory(record);
  measure_time("inproc://time", record);
  measure_time("tcp://127.0.0.1:*", record);
  return lean ? 0 : 1;
}
