// The file of --events: one JSON object a line, written as things happen.
//
// Every object has "time" (RFC 3339, UTC) and "event". A line is written whole
// at once, so that whoever follows the file never sees half of one. A file that
// takes no more is told once and then left alone: a collection does not end for
// want of its log.

#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "src/common/util/unique_fd.h"

namespace zelk::collect {

class event_log {
 public:
  using value = std::variant<std::string, std::int64_t, double, bool>;
  using members = std::initializer_list<std::pair<const char*, value>>;

  // `path` as --events has it: "" for none, "-" for standard output. Returns
  // "", or why it cannot be written.
  std::string open(const std::string& path);
  bool is_open() const { return fd_ >= 0; }
  void write(std::string_view event, members more = {});

 private:
  util::unique_fd file_;
  int fd_ = -1;
  std::string path_;
};

// The line of an event at a moment in microseconds since the Unix epoch.
std::string event_line(std::int64_t now_usec, std::string_view event,
                       event_log::members more);

}  // namespace zelk::collect
