#include "src/common/xml/file_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace zelk::xml {

namespace {

struct open_file {
  explicit open_file(int descriptor) : fd(descriptor) {}
  ~open_file() {
    if (fd >= 0) ::close(fd);
  }
  open_file(const open_file&) = delete;
  open_file& operator=(const open_file&) = delete;

  const int fd;
};

std::string system_fault(int code) {
  return "cannot be read (" + std::to_string(code) +
         "): " + std::strerror(code);
}

const char* kind_of_file(mode_t mode) {
  if (S_ISDIR(mode)) return "a directory";
  if (S_ISFIFO(mode)) return "a pipe";
  if (S_ISSOCK(mode)) return "a socket";
  return "a device";
}

std::string too_large() {
  return "expected a file of at most " + std::to_string(largest_file_bytes) +
         " bytes";
}

// The size is looked at again while reading: a file may grow, and those of
// /proc claim to be empty.
std::string read_all(int fd, std::string& content) {
  char chunk[64 * 1024];
  for (;;) {
    const ssize_t got = ::read(fd, chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return system_fault(errno);
    if (got == 0) return "";
    content.append(chunk, static_cast<std::size_t>(got));
    if (content.size() > largest_file_bytes) return too_large();
  }
}

}  // namespace

std::string read_file_text(const std::string& path, std::string& content) {
  content.clear();
  // Without O_NONBLOCK the opening of a pipe would wait for its writer.
  const open_file file(
      ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (file.fd < 0) return system_fault(errno);

  struct stat status = {};
  if (::fstat(file.fd, &status) != 0) return system_fault(errno);
  if (!S_ISREG(status.st_mode))
    return std::string("expected a regular file, found ") +
           kind_of_file(status.st_mode);
  if (status.st_size > static_cast<off_t>(largest_file_bytes))
    return too_large();
  return read_all(file.fd, content);
}

}  // namespace zelk::xml
