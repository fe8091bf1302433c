// The command line of zelk-accumulate as three records of options.

#pragma once

#include <optional>
#include <string>

#include "src/collect/src/accumulate/listen.h"
#include "src/collect/src/accumulate/replay.h"
#include "src/collect/src/accumulate/scan.h"

namespace zelk::accumulate {

struct command_line {
  enum class command { listen, scan, replay } what = command::listen;
  listen_options listen;
  scan_options scan;
  replay_options replay;

  std::string config_file;  // -c; empty: the installed one
  std::string datastore;    // --db; empty: see find_datastore()
  int log_level = 0;
};

// Reads the command line. Returns the exit status when it is all that there is
// to do: help was asked for, or a mistake was told on standard error.
std::optional<int> read_command_line(int argc, const char* const* argv,
                                     command_line& result);

}  // namespace zelk::accumulate
