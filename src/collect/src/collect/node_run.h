// One launch under way: what its node has said so far, and what that means.

#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "src/collect/src/collect/launcher.h"
#include "src/collect/src/collect/marked_stream.h"
#include "src/collect/src/collect/ssh_failure.h"

namespace zelk::collect {

class node_run {
 public:
  // `nonce` is that of the text that runs on the node (remote_script.h).
  node_run(launch what, std::string_view nonce);
  node_run(const node_run&) = delete;  // its streams call it back
  node_run& operator=(const node_run&) = delete;

  void take_output(std::string_view bytes) { output_.append(bytes); }
  void take_errors(std::string_view bytes) { errors_.append(bytes); }

  const launch& what() const { return what_; }
  // The login is done and the node does as it was told.
  bool begun() const { return output_.begun(); }
  // The node has said how it ended.
  bool told() const { return !told_.empty(); }
  // What was printed around the program: the words of ssh, and of a login.
  std::string noise() const;

  // What is left of a line counts from now on. Call it before outcome().
  void finish();
  // As the node told it. Requires: told(). `asked` is whether we asked the run
  // to end.
  launch_outcome outcome(bool asked) const;
  // For a node that told nothing.
  launch_outcome outcome(const failure& why) const;

 private:
  launch_outcome stopped(int status, bool asked) const;
  bool at_limit(int status) const;
  launch_outcome exited(int status) const;
  launch_outcome with(ending how, int status, const std::string& reason) const;
  std::string program() const;

  launch what_;
  const event_loop::clock::time_point start_ = event_loop::clock::now();
  event_loop::clock::time_point told_at_;
  std::string told_;
  marked_stream output_;
  marked_stream errors_;
};

// The outcome of a launch that never got to its node.
launch_outcome not_started(const launch& what, const failure& why);

// For what was asked to stop.
failure stopped_failure();

}  // namespace zelk::collect
