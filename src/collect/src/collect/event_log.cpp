#include "src/collect/src/collect/event_log.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <nlohmann/json.hpp>

#include "src/collect/src/collect/run_summary.h"
#include "src/common/log/error_log.h"
#include "src/common/util/errno_text.h"

namespace zelk::collect {

namespace {

constexpr char source[] = "src/collect/src/collect/event_log";

// RFC 3339 with milliseconds: several things happen in one second.
std::string time_text(std::int64_t usec) {
  std::string text = utc_text(usec);
  text.insert(text.size() - 1, fmt::format(".{:03}", usec / 1000 % 1000));
  return text;
}

std::int64_t now_usec() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

bool write_whole(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(fd, text.data(), text.size());
    if (count > 0)
      text.remove_prefix(static_cast<std::size_t>(count));
    else if (errno != EINTR)
      return false;
  }
  return true;
}

}  // namespace

std::string event_log::open(const std::string& path) {
  path_ = path;
  if (path.empty()) return "";
  if (path == "-") {
    fd_ = STDOUT_FILENO;
    return "";
  }
  constexpr int flags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY;
  file_.reset(::open(path.c_str(), flags, 0666));
  if (!file_)
    return "--events: cannot write '" + path + "' " + util::errno_text(errno);
  fd_ = file_.get();
  return "";
}

void event_log::write(std::string_view event, members more) {
  if (fd_ < 0 || write_whole(fd_, event_line(now_usec(), event, more))) return;
  const int code = errno;
  fd_ = -1;
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
      << "--events: no more events are written: '" << path_ << "' "
      << util::errno_text(code);
}

std::string event_line(std::int64_t now_usec, std::string_view event,
                       event_log::members more) {
  nlohmann::ordered_json object;
  object["time"] = time_text(now_usec);
  object["event"] = event;
  for (const auto& [name, content] : more)
    std::visit([&, key = name](const auto& it) { object[key] = it; }, content);
  return object.dump(-1, ' ', false,
                     nlohmann::ordered_json::error_handler_t::replace) +
         "\n";
}

}  // namespace zelk::collect
