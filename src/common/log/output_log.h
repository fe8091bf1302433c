// The user-facing channel: records that go to every registered destination.
//
//   add_stream(std::cout, isatty(STDOUT_FILENO));
//   OutputLog().stream() << "12 of 12 nodes answered\n";
//   OutputLog().select_color(color::red) << "node7 is silent\n";
//
// A record is delivered when it ends, to the destinations in the order in which
// they were registered, and each is flushed. Without destinations it goes
// nowhere. Writing is not tested for errors. One thread only.

#pragma once

#include <fstream>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace zelk::log {

// Places in OutputLogSingleton::colors.
enum class color : int { red = 0, yellow = 1, green = 2 };

constexpr int no_color = -1;

// A destination. The stream must live as long as it is registered.
struct OutputStream {
  std::ostream* stream;
  bool use_color;  // colour codes may be written to it: a terminal
};

// The file behind a destination; closed when the last owner lets go.
struct StreamFileType {
  std::ofstream file;
};

// What all records share.
struct OutputLogSingleton {
  std::vector<std::string> colors = {"\033[0;31m", "\033[0;33m", "\033[0;32m"};
  std::string reset_color = "\033[0m";
  std::vector<OutputStream> streams;
  std::vector<std::shared_ptr<StreamFileType>> file_types;
  int current_color = no_color;  // of the record being built
};

class OutputLog {
 public:
  // Makes the singleton if there is none.
  OutputLog();
  // Delivers the record. Only the first destination gets the code that ends a
  // colour, and only when it takes colours.
  ~OutputLog();

  OutputLog(const OutputLog&) = delete;
  OutputLog& operator=(const OutputLog&) = delete;

  std::iostream& stream() { return buffer_; }

  // Colours what is streamed from here on; returns the record's stream. One
  // text goes to all destinations, so the code is put into it only when every
  // one of them takes colours: a file beside a terminal stays readable, and the
  // terminal plain. A colour that the singleton lacks changes nothing.
  std::iostream& select_color(color which);

  // Null until the first record or the first registration. Assigning another
  // one destroys the old one and with it the files that it owns.
  static std::unique_ptr<OutputLogSingleton> singleton_obj;

 private:
  std::stringstream buffer_;
};

// Registers `stream`, which stays the caller's, as the last destination.
void add_stream(std::ostream& stream, bool use_color);

// Opens `path` for appending and registers it, without colours, as the last
// destination. Returns why it could not be opened; then nothing is registered.
std::error_code add_file(const std::string& path);

}  // namespace zelk::log
