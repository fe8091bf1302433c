// The questions of a precheck as a text for a node's shell, and its answers.
// Pure text.

#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "src/collect/src/collect/launcher.h"
#include "src/collect/src/collect/precheck.h"

namespace zelk::collect {

// The files of a token in the shared directory.
struct token_files {
  std::string text;    // what the collector's file holds
  std::string path;    // of that file
  std::string folder;  // with a slash: where nodes write theirs, NODE each
};

launch probe_launch(const std::string& node, const precheck_request& request,
                    const token_files& token);

// What `outcome` says of the node. `now` is when it came, by the wall clock.
node_facts read_probe(const launch_outcome& outcome, const token_files& token,
                      std::chrono::system_clock::time_point now);

// The lines of the answer that are about the directory, as the analysis takes
// them: with the node and a colon in front.
std::string directory_lines(const launch_outcome& outcome);

// Whether the directory may stand in a command without quotes.
bool is_plain_path(std::string_view path);

}  // namespace zelk::collect
