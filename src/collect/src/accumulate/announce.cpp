#include "src/collect/src/accumulate/announce.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "src/common/log/error_log.h"
#include "src/common/util/errno_text.h"
#include "src/common/util/unique_fd.h"

namespace zelk::accumulate {

namespace {

constexpr char source[] = "src/collect/src/accumulate/announce";

void log_failure(const char* what) {
  const int code = errno;
  log::ErrorLog(source, __func__, __LINE__, log::level_debug).stream()
      << what << " " << util::errno_text(code);
}

void write_line(int fd, const std::string& line) {
  const ssize_t written = ::write(fd, line.data(), line.size());
  if (written != static_cast<ssize_t>(line.size()))
    log_failure("Unable to announce readiness");
}

}  // namespace

bool notify_supervisor(const std::string& message) {
  const char* path = std::getenv("NOTIFY_SOCKET");
  if (path == nullptr || (path[0] != '/' && path[0] != '@')) return false;
  sockaddr_un where = {};
  const std::size_t length = std::strlen(path);
  if (length >= sizeof where.sun_path) return false;
  where.sun_family = AF_UNIX;
  std::memcpy(where.sun_path, path, length);
  // A name that starts with @ lies in the abstract space, not in a directory.
  if (path[0] == '@') where.sun_path[0] = '\0';
  const util::unique_fd fd(
      ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const auto size =
      static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
  if (fd && ::sendto(fd.get(), message.data(), message.size(), MSG_NOSIGNAL,
                     reinterpret_cast<const sockaddr*>(&where),
                     size) == static_cast<ssize_t>(message.size()))
    return true;
  log_failure("Unable to notify the supervisor");
  return false;
}

void announce_ready(int ready_fd, const std::vector<std::string>& endpoints) {
  std::string all;
  for (const std::string& endpoint : endpoints) {
    all += " " + endpoint;
    if (ready_fd >= 0) write_line(ready_fd, "READY " + endpoint + "\n");
  }
  // Who reads to its end shall see it.
  if (ready_fd > STDERR_FILENO) ::close(ready_fd);
  notify_supervisor("READY=1\nSTATUS=Receiving on" + all);
}

void announce_status(const std::string& text) {
  notify_supervisor("STATUS=" + text);
}

void announce_stopping() {
  notify_supervisor("STOPPING=1");
}

}  // namespace zelk::accumulate
