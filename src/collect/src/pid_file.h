// The pid file, by which a collection tool finds the worker's process group.

#pragma once

#include <string>

namespace zelk {

// Writes the process group id, in decimal and with a newline, over whatever
// `path` holds. A worker never removes the file: the next one overwrites it. A
// failure is a debug record and nothing more.
void write_pid_file(const std::string& path);

}  // namespace zelk
