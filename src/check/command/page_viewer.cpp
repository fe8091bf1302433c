#include "src/check/command/page_viewer.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <thread>

#include "src/common/util/errno_text.h"

namespace zelk::check {

namespace {

using std::chrono::milliseconds;

constexpr char viewer[] = "xdg-open";

// How often it is asked whether the viewer has ended.
constexpr milliseconds interval{20};

bool is_set(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

// Descriptors that lead nowhere, so that a browser's chatter stays out of the
// report, and a session of its own, so that closing our terminal does not close
// the page.
class viewer_plan {
 public:
  viewer_plan() {
    note(::posix_spawn_file_actions_init(&actions_));
    note(::posix_spawnattr_init(&attributes_));
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
      note(::posix_spawn_file_actions_addopen(&actions_, fd, "/dev/null",
                                              O_RDWR, 0));
    sigset_t none, all;
    ::sigemptyset(&none);
    ::sigfillset(&all);
    note(::posix_spawnattr_setsigmask(&attributes_, &none));
    note(::posix_spawnattr_setsigdefault(&attributes_, &all));
    note(::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSID |
                                                      POSIX_SPAWN_SETSIGMASK |
                                                      POSIX_SPAWN_SETSIGDEF));
  }
  viewer_plan(const viewer_plan&) = delete;
  viewer_plan& operator=(const viewer_plan&) = delete;
  ~viewer_plan() {
    ::posix_spawnattr_destroy(&attributes_);
    ::posix_spawn_file_actions_destroy(&actions_);
  }

  // Returns 0 or an errno.
  int start(std::string file, pid_t& pid) {
    if (status_ != 0) return status_;
    std::string name = viewer;
    std::array<char*, 3> words = {name.data(), file.data(), nullptr};
    return ::posix_spawnp(&pid, viewer, &actions_, &attributes_, words.data(),
                          environ);
  }

 private:
  void note(int status) {
    if (status_ == 0) status_ = status;
  }

  posix_spawn_file_actions_t actions_ = {};
  posix_spawnattr_t attributes_ = {};
  int status_ = 0;
};

// Nothing while it runs, for as long as anybody waits.
std::optional<int> status_within(pid_t pid, milliseconds patience) {
  for (auto left = patience;; left -= interval) {
    int status = 0;
    const pid_t ended = ::waitpid(pid, &status, WNOHANG);
    if (ended == pid) return status;
    if (ended < 0 || left <= interval) return {};
    std::this_thread::sleep_for(interval);
  }
}

}  // namespace

std::string open_page(const std::string& path, milliseconds patience) {
  if (!is_set("DISPLAY") && !is_set("WAYLAND_DISPLAY"))
    return "there is no display here (DISPLAY, WAYLAND_DISPLAY)";
  // A name with a dash in front would be an option.
  const std::string file = std::filesystem::absolute(path).string();
  pid_t pid = 0;
  const int code = viewer_plan().start(file, pid);
  if (code == ENOENT) return std::string(viewer) + " is not installed";
  if (code != 0)
    return std::string("cannot start ") + viewer + " " + util::errno_text(code);
  const std::optional<int> status = status_within(pid, patience);
  if (!status || *status == 0) return "";
  return std::string(viewer) +
         (WIFSIGNALED(*status)
              ? " was ended by signal " + std::to_string(WTERMSIG(*status))
              : " ended with status " + std::to_string(WEXITSTATUS(*status)));
}

}  // namespace zelk::check
