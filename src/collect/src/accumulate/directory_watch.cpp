#include "src/collect/src/accumulate/directory_watch.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "src/common/datastore/file_system.h"
#include "src/common/log/error_log.h"
#include "src/common/util/errno_text.h"

namespace zelk::accumulate {

namespace {

constexpr char source[] = "src/collect/src/accumulate/directory_watch";

// Files appear, are written, are unlocked by closing, or are moved in; and the
// directory itself may be replaced.
constexpr std::uint32_t changes = IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE |
                                  IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

// Also where changes are announced it is looked now and then: files that were
// young have grown old, and an announcement may have been lost.
constexpr std::chrono::seconds look_anyway{10};

// Many files come at once: they are waited for together.
constexpr std::chrono::milliseconds settle_time{20};

}  // namespace

directory_watch::directory_watch(std::vector<std::string> directories,
                                 std::chrono::milliseconds poll_interval)
    : directories_(std::move(directories)), poll_interval_(poll_interval) {
  for (const std::string& path : directories_) {
    const std::string name = datastore::network_file_system(path);
    if (name.empty()) continue;
    start_polling(fmt::format("'{}' lies on {}, which does not tell of changes",
                              path, name));
    return;
  }
  watch_all();
}

void directory_watch::watch_all() {
  inotify_.reset(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  for (const std::string& path : directories_) {
    if (::inotify_add_watch(inotify_.get(), path.c_str(), changes) >= 0)
      continue;
    const int code = errno;
    // One that comes later is found by looking.
    return start_polling("'" + path + "' cannot be watched " +
                         util::errno_text(code));
  }
}

void directory_watch::start_polling(const std::string& why) {
  polling_ = true;
  inotify_.reset();
  log::ErrorLog(source, __func__, __LINE__, log::level_notice).stream()
      << why << "; looking every "
      << static_cast<double>(poll_interval_.count()) / 1000 << " s";
}

bool directory_watch::wait(int stop_fd, std::chrono::milliseconds limit) {
  const auto interval =
      polling_
          ? poll_interval_
          : std::chrono::duration_cast<std::chrono::milliseconds>(look_anyway);
  const auto now = std::chrono::steady_clock::now();
  const auto due = looked_at_ + interval;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(
      std::max(due - now, std::chrono::steady_clock::duration::zero()));
  std::array<pollfd, 2> wanted = {pollfd{stop_fd, POLLIN, 0},
                                  pollfd{inotify_.get(), POLLIN, 0}};
  ::poll(wanted.data(), wanted.size(),
         static_cast<int>(std::min(left, limit).count()));
  if ((wanted[0].revents & POLLIN) != 0) return false;
  if (take_events()) {
    ::poll(wanted.data(), 1, settle_time.count());
    take_events();
  }
  if (!announced_ && std::chrono::steady_clock::now() < due) return false;
  looked_at_ = std::chrono::steady_clock::now();
  looked_for_that_ = std::exchange(announced_, false);
  return true;
}

bool directory_watch::take_events() {
  if (!inotify_) return false;
  constexpr std::size_t buffer_size = std::size_t{16} * 1024;
  alignas(inotify_event) std::array<char, buffer_size> buffer;
  bool any = false;
  while (::read(inotify_.get(), buffer.data(), buffer.size()) > 0)
    any = true;
  announced_ = announced_ || any;
  return any;
}

void directory_watch::found_new_files() {
  if (polling_) return;
  // One that came while we looked is announced by now.
  take_events();
  if (!announced_ && !looked_for_that_)
    start_polling("A file came without an announcement");
}

}  // namespace zelk::accumulate
