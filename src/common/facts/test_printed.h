// Test support: facts as lines of text, for people and for recordings.
//
//   mem.total = 49368200 KiB
//   modules[] = ext4                    one line an element of a list
//   modules[] (none)
//   net.eth1.speed ! unreadable: Invalid argument
//   (not applicable)                    the exit status said so
//
// Control characters are written \xNN. Built into tests and facts_of only.

#pragma once

#include <string>

#include "src/common/facts/fact.h"

namespace zelk::facts {

std::string printed(const extraction& all);

// Returns the whole file. Throws std::runtime_error.
std::string file_content(const std::string& path);

// Returns the exit status that belongs to the recording `path`, NAME.txt: what
// NAME.status holds, 0 without one.
int status_of_recording(const std::string& path);

}  // namespace zelk::facts
