#include "src/common/log/output_log.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <utility>

namespace zelk::log {
namespace {

OutputLogSingleton& shared_state() {
  if (!OutputLog::singleton_obj)
    OutputLog::singleton_obj = std::make_unique<OutputLogSingleton>();
  return *OutputLog::singleton_obj;
}

void deliver(const std::string& text, const OutputLogSingleton& shared,
             const OutputStream& destination) {
  if (text.empty()) return;
  std::ostream& out = *destination.stream;
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (shared.current_color >= 0 && destination.use_color)
    out << shared.reset_color;
  out.flush();
}

}  // namespace

std::unique_ptr<OutputLogSingleton> OutputLog::singleton_obj;

OutputLog::OutputLog() {
  shared_state();
}

OutputLog::~OutputLog() {
  if (!singleton_obj) return;
  try {
    const std::string text = buffer_.str();
    for (const OutputStream& destination : singleton_obj->streams) {
      deliver(text, *singleton_obj, destination);
      // Inside the loop: from here on no destination gets the ending code.
      singleton_obj->current_color = no_color;
    }
  } catch (...) {  // NOLINT(bugprone-empty-catch): output that nobody can take
  }
}

std::iostream& OutputLog::select_color(color which) {
  OutputLogSingleton& shared = shared_state();
  const auto index = static_cast<std::size_t>(which);
  if (index >= shared.colors.size()) return buffer_;
  shared.current_color = static_cast<int>(which);
  if (std::all_of(shared.streams.begin(), shared.streams.end(),
                  [](const OutputStream& s) { return s.use_color; }))
    buffer_ << shared.colors[index];
  return buffer_;
}

void add_stream(std::ostream& stream, bool use_color) {
  shared_state().streams.push_back({&stream, use_color});
}

std::error_code add_file(const std::string& path) {
  auto owner = std::make_shared<StreamFileType>();
  errno = 0;
  owner->file.open(path, std::ios::out | std::ios::app | std::ios::binary);
  if (!owner->file.is_open()) {
    const int code = errno == 0 ? EIO : errno;
    return {code, std::generic_category()};
  }
  OutputLogSingleton& shared = shared_state();
  shared.streams.push_back({&owner->file, false});
  shared.file_types.push_back(std::move(owner));
  return {};
}

}  // namespace zelk::log
