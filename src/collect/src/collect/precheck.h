// What is asked of every node before anything is launched there: whether it
// can be reached, which worker it has, what time it is there, and whether the
// shared directory is there and is the same one as here.
//
// A token proves the sharing: a file that is written here and read there, and
// one that each node writes and that is found here. Numbers of inodes do not:
// see extension_output.cpp.

#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "src/collect/src/collect/event_loop.h"
#include "src/collect/src/collect/launcher.h"

namespace zelk::collect {

struct precheck_request {
  std::vector<std::string> nodes;
  launcher_settings way;
  std::string worker;     // its path on the nodes
  std::string version;    // that it should have
  std::string directory;  // the shared one; "": not asked about
  std::chrono::milliseconds limit{30'000};  // for the questions, on each node
};

// What is known of a node; what is not is empty.
struct node_facts {
  launch_outcome outcome;
  bool answered = false;  // at least the first questions
  std::string host_name;
  std::string architecture;
  std::string worker;    // "found", "missing", "not executable"
  std::string version;   // of the worker; "unknown": it carries no mark
  std::string checksum;  // of the worker, as cksum(1) prints it
  // How far the node's clock is from ours at least, in seconds: more than the
  // time that asking took. 0: not told apart.
  std::optional<double> clock_offset_s;
  std::string state;        // one of the words ZELK_PRECHECK_*
  std::string inode;        // of the directory, in decimal
  std::string token;        // "read", "absent", "other"
  bool reply_seen = false;  // what the node wrote was found here
};

struct precheck_report {
  std::map<std::string, node_facts> nodes;
  std::string directory;
  bool directory_usable = false;  // on every node, and the same one
  // One line each, with the nodes folded, and with what to do about it.
  std::vector<std::string> errors;    // collecting will not work there
  std::vector<std::string> warnings;  // it will, but
  bool stopped = false;               // `stop` became true
};

// Asks all nodes and waits for the answers. Everything about the shared
// directory that process_extension_output() finds goes to the log as well.
// `stop` is looked at now and then.
precheck_report run_precheck(const precheck_request& request,
                             const std::function<bool()>& stop = {});

// Distances below this are no finding: nobody's results suffer from them.
constexpr double most_clock_offset_s = 1.0;

}  // namespace zelk::collect
