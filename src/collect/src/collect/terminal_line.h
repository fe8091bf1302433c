// The one line on a terminal that tells how it goes, rewritten in place.
//
// Lines that anybody writes to std::cerr meanwhile take its place, and it
// appears again below them. One thread.

#pragma once

#include <chrono>
#include <streambuf>
#include <string>

#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

class terminal_line : private std::streambuf {
 public:
  // Shown when `style` says so, or when it leaves it to us and standard error
  // is a terminal that can erase a line.
  explicit terminal_line(progress_style style);
  ~terminal_line() override;
  terminal_line(const terminal_line&) = delete;
  terminal_line& operator=(const terminal_line&) = delete;

  bool shown() const { return standard_error_ != nullptr; }
  // Shows `text`, cut to the terminal's width.
  void show(const std::string& text);
  void clear();

 private:
  int overflow(int character) override;
  std::streamsize xsputn(const char* text, std::streamsize size) override;
  int sync() override;

  std::streambuf* standard_error_ = nullptr;
  bool visible_ = false;
};

}  // namespace zelk::collect
