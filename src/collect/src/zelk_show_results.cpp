// A table of provider results, from files or from a socket.
//
//   zelk_show_results FILE...
//   zelk_show_results --listen ENDPOINT --count N
//
// The smallest collector there is: it stores nothing and deletes nothing. With
// --listen it says "READY ENDPOINT" on standard error once a worker may send,
// the endpoint with the port that was bound, and ends after N results.

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include <czmq.h>

#include "src/collect/src/provider/message.h"
#include "src/collect/src/provider/output_file.h"
#include "src/common/util/byte_buffer.h"
#include "src/common/util/unique_fd.h"

namespace zelk {
namespace {

constexpr std::size_t read_size = 1 << 16;   // bytes
constexpr int receive_timeout_ms = 120'000;  // twice the shortest time-out

struct arguments {
  std::string endpoint;
  long count = 0;
  std::vector<std::string> files;
};

void print_head() {
  std::printf("%-22s %-12s %6s %9s %9s  %s\n", "PROVIDER", "OPTION SET",
              "STATUS", "SECONDS", "BYTES", "HOST");
}

void print_row(const provider_result& record) {
  const provider_result_header& header = record.header;
  std::printf("%-22s %-12s %6d %9.3f %9zu  %s\n",
              std::string(field_text(header.name)).c_str(),
              std::string(field_text(header.option_id)).c_str(),
              header.exit_status, header.duration,
              record.stdout.size() + record.stderr.size(),
              std::string(field_text(header.hostname)).c_str());
}

// Reads a file under the writer's lock, so that a result that is still being
// written is waited for.
std::string read_locked(const std::string& path, util::byte_buffer& content) {
  const util::unique_fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd || ::flock(fd.get(), LOCK_SH) != 0) return "cannot be read";
  for (;;) {
    const ssize_t got =
        ::read(fd.get(), content.free_tail(read_size), read_size);
    if (got < 0) return "cannot be read";
    if (got == 0) return {};
    content.grown_by(static_cast<std::size_t>(got));
  }
}

int show_files(const std::vector<std::string>& files) {
  int failures = 0;
  print_head();
  for (const std::string& path : files) {
    util::byte_buffer content;
    provider_result record;
    std::string fault = read_locked(path, content);
    if (fault.empty()) fault = parse_result_file(content.view(), record);
    if (fault.empty()) {
      print_row(record);
    } else {
      ++failures;
      std::cerr << path << ": " << fault << '\n';
    }
  }
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int show_messages(const std::string& endpoint, long count) {
  zsock_t* socket = zsock_new(ZMQ_PULL);
  if (zsock_bind(socket, "%s", endpoint.c_str()) < 0) {
    std::cerr << "cannot bind " << endpoint << '\n';
    zsock_destroy(&socket);
    return EXIT_FAILURE;
  }
  zsock_set_rcvtimeo(socket, receive_timeout_ms);
  std::cerr << "READY " << zsock_endpoint(socket) << std::endl;

  print_head();
  long received = 0;
  for (; received < count; ++received) {
    provider_result record;
    if (!receive_provider_result(record, socket)) break;
    print_row(record);
  }
  zsock_destroy(&socket);
  return received == count ? EXIT_SUCCESS : EXIT_FAILURE;
}

bool read_arguments(int argc, char* argv[], arguments& result) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    const bool has_value = word == "--listen" || word == "--count";
    if (has_value && i + 1 == argc) return false;
    if (word == "--listen") {
      result.endpoint = argv[++i];
    } else if (word == "--count") {
      result.count = std::strtol(argv[++i], nullptr, 10);
    } else {
      result.files.emplace_back(word);
    }
  }
  return !result.files.empty() ||
         (!result.endpoint.empty() && result.count > 0);
}

}  // namespace
}  // namespace zelk

int main(int argc, char* argv[]) {
  zelk::arguments arguments;
  if (!zelk::read_arguments(argc, argv, arguments)) {
    std::cerr << "usage: zelk_show_results FILE...\n"
                 "       zelk_show_results --listen ENDPOINT --count N\n";
    return EXIT_FAILURE;
  }
  if (!arguments.endpoint.empty())
    return zelk::show_messages(arguments.endpoint, arguments.count);
  return zelk::show_files(arguments.files);
}
