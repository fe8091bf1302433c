// The one line on a terminal that tells how it goes, rewritten in place.
//
// Shown on standard error when that is a terminal. Log lines that come
// meanwhile take its place and it appears again below them. While it lives,
// std::cerr writes through it; both may be used from several threads.

#pragma once

#include <chrono>
#include <mutex>
#include <streambuf>
#include <string>

namespace zelk::accumulate {

// What --progress asks for.
enum class progress_style { automatic, bar, lines, none };

class meter : private std::streambuf {
 public:
  explicit meter(progress_style style);
  ~meter() override;
  meter(const meter&) = delete;
  meter& operator=(const meter&) = delete;

  bool shown() const { return shown_; }
  // Shows `text`; at most five times a second, so that a slow terminal is not
  // kept busy.
  void show(const std::string& text);
  // Takes the line away.
  void clear();

 private:
  int overflow(int character) override;
  std::streamsize xsputn(const char* text, std::streamsize size) override;
  int sync() override;

  const bool shown_;
  std::mutex lock_;
  std::streambuf* standard_error_ = nullptr;
  bool visible_ = false;
  std::chrono::steady_clock::time_point shown_at_;
};

}  // namespace zelk::accumulate
