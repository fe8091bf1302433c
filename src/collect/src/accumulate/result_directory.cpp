#include "src/collect/src/accumulate/result_directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <utility>

#include "src/collect/src/accumulate/printable.h"
#include "src/collect/src/accumulate/result_file.h"
#include "src/common/str/str.h"

namespace zelk::accumulate {

result_directory::result_directory(std::string path) : path_(std::move(path)) {}

bool result_directory::open() {
  fd_.reset(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return static_cast<bool>(fd_);
}

bool result_directory::for_each_result(
    const std::function<bool(const std::string&)>& visit) {
  // A descriptor of its own: reading moves the position.
  const int fd = ::openat(fd_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return false;
  const std::unique_ptr<DIR, int (*)(DIR*)> names(::fdopendir(fd), ::closedir);
  if (!names) {
    const int code = errno;
    ::close(fd);
    errno = code;
    return false;
  }
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(names.get());
    if (entry == nullptr) return errno == 0;
    if (!is_result_name(entry->d_name)) continue;
    if (!visit(entry->d_name)) return true;
  }
}

void result_directory::sync() const {
  ::fsync(fd_.get());
}

std::string result_directory::label() const {
  const util::unique_fd file(::openat(
      fd_.get(), "label", O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file) return "";
  std::array<char, 256> text = {};
  const ssize_t got = ::read(file.get(), text.data(), text.size());
  if (got <= 0) return "";
  const std::string_view all(text.data(), static_cast<std::size_t>(got));
  return str::strip(printable(all.substr(0, all.find('\n')), text.size()));
}

}  // namespace zelk::accumulate
