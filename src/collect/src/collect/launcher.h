// Starts one program on each of many nodes and tells how each of them ended.
//
// A launcher moves no results: what a worker has to say comes over its own way.
// It goes through an installed program (ssh, srun, mpirun) or starts /bin/sh
// right here. Whatever the way, the node runs the text of remote_script.h: it
// bounds the run by the launch's limit, ends it when the way to the head node
// breaks, and leaves neither a process nor a file.
//
// Not thread-safe; everything happens inside the event loop's run_once().

#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "src/collect/src/collect/event_loop.h"

namespace zelk::collect {

// What one node is to run.
struct launch {
  // The name the user knows; also where it is started.
  std::string node;
  // The program and its arguments as the node must see them, never shell text.
  // A program without a slash is looked for in the node's PATH.
  std::vector<std::string> argv;
  std::vector<std::pair<std::string, std::string>> environment;
  // NAME -> text; NAME has no slash. They are written into a private folder on
  // the node before the program starts and removed after its end. "{files}"
  // anywhere in `argv` is replaced by that folder.
  std::vector<std::pair<std::string, std::string>> files;
  // Counted on the node from the program's start, rounded up to whole seconds.
  // The program then gets SIGTERM and, 10 s later, SIGKILL. 0: no limit.
  std::chrono::milliseconds limit{0};
  // When not empty, the program must carry the mark of this version (see
  // version_mark() in remote_script.h); otherwise it is not started.
  std::string version;
};

enum class ending {
  exited,           // the program ended by itself; `status`: its exit status
  signalled,        // by a signal that was not ours; `status`: its number
  no_route,         // no route to host, network unreachable
  unknown_host,     // the name resolves to nothing
  refused,          // connection refused: nothing listens there
  connect_timeout,  // no answer, or no login completed, in time
  host_key,         // the node's key is not known, or has changed
  login,            // the node lets us not in
  program_missing,  // the program is not there or cannot be executed
  wrong_version,    // it is not the version asked for
  timed_out,        // stopped at its limit
  stopped,          // stopped by us, or never started because of it
  lost,             // the way to the node broke while the program ran
  launcher_failed,  // anything else: `reason` tells
};

// "exited", "no_route" and so on, for machines.
const char* ending_name(ending how);

struct launch_outcome {
  std::string node;
  ending how = ending::launcher_failed;
  int status = 0;
  // What the program wrote, each bounded to 256 KiB: head and tail are kept,
  // and a line between them counts what is left out. What a login prints
  // before the program starts is not part of it.
  std::string output;
  std::string errors;
  // One line for people, as it was said:
  //   "ssh: connect to host node5 port 22: Connection refused"
  // Empty when the program exited with status 0.
  std::string reason;
  // The reason without what differs from node to node, so that nodes that fail
  // alike can be shown on one line: "ssh: connect to host: Connection refused"
  std::string common_reason;
  std::chrono::duration<double> took{0};  // from start() of this node's launch
};

class launcher {
 public:
  virtual ~launcher() = default;  // as abandon(), without outcomes

  // Starts them as soon as the fan-out allows. `done` is called once for each,
  // in the order of their ends, never before start() has returned. May be
  // called again at any time, from `done` too, but not after stop().
  virtual void start(std::vector<launch> launches,
                     std::function<void(launch_outcome)> done) = 0;
  // Asks all remote work to end. What has not been started never is. The
  // outcomes still come (ending::stopped, unless the end was there already),
  // at the latest 20 s later.
  virtual void stop() = 0;
  // Ends the local processes at once; on the nodes the loss of the connection
  // does it. The outcomes come with the next turn of the loop.
  virtual void abandon() = 0;
};

struct launcher_settings {
  std::string kind = "ssh";  // see launcher_kinds()
  int fanout = 64;           // connections at once, at least 1 (ssh and local)
  // Until a host answers; a login may take three times as long in all.
  std::chrono::milliseconds connect_timeout{10'000};
  // Each becomes "-o OPTION" of ssh, before ours: the first one given wins.
  std::vector<std::string> ssh_options;
  std::string user;  // to log in as; empty: as ssh decides
  // The longest random delay on a node before its program, whole seconds.
  std::chrono::milliseconds stagger{0};
};

// Returns null when there is no such kind. `loop` must outlive the launcher.
std::unique_ptr<launcher> make_launcher(const launcher_settings& settings,
                                        event_loop& loop);
// "local", "mpi", "slurm", "ssh"
std::vector<std::string> launcher_kinds();

}  // namespace zelk::collect
