// A file that appears under its name whole and on disk, or not at all: who
// reads it meanwhile, a web server or a collector of metrics, has the old one.
//
// Written beside it as ".NAME.XXXXXX", which such readers pass over; its mode
// is that of any new file. A name that is a link keeps being one. What is no
// file (/dev/null, a pipe) is written as it is. Whoever interrupts the program
// leaves no part of it. One at a time in a process. Throws reading::refusal.

#pragma once

#include <signal.h>

#include <array>
#include <fstream>
#include <ostream>
#include <string>

namespace zelk::check {

class output_file {
 public:
  explicit output_file(std::string path);
  // Removes what was not kept.
  ~output_file();
  output_file(const output_file&) = delete;
  output_file& operator=(const output_file&) = delete;

  std::ostream& stream() { return stream_; }

  // Gives it its name.
  void keep();

 private:
  void make();
  void abandon();
  [[noreturn]] void refuse(int code) const;
  void sync() const;

  std::string path_;       // as it was given, for complaints
  std::string target_;     // without links
  std::string temporary_;  // "": written in its place
  std::ofstream stream_;
  std::array<struct sigaction, 3> before_ = {};  // of the signals
};

// Removes the file that is being written. May be called in a signal handler.
void remove_unfinished_output();

}  // namespace zelk::check
