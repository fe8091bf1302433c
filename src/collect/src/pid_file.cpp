#include "src/collect/src/pid_file.h"

#include <fcntl.h>
#include <unistd.h>

#include "src/common/log/error_log.h"
#include "src/common/util/unique_fd.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/zelk_run_provider";

}  // namespace

// Without O_NONBLOCK a pipe of that name would hold the worker until somebody
// reads it.
void write_pid_file(const std::string& path) {
  constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY;
  const util::unique_fd file(::open(path.c_str(), flags | O_CLOEXEC, 0666));
  if (!file) {
    log::ErrorLog(source, __func__, __LINE__, log::level_debug).stream()
        << "Error opening pid file " << path << '.';
    return;
  }
  const std::string text = std::to_string(::getpgid(::getpid())) + "\n";
  const ssize_t written = ::write(file.get(), text.data(), text.size());
  if (written != static_cast<ssize_t>(text.size())) {
    log::ErrorLog(source, __func__, __LINE__, log::level_debug).stream()
        << "Error writing pid file " << path << '.';
  }
}

}  // namespace zelk
