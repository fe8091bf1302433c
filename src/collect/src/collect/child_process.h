// A launching program (ssh, srun, mpirun, sh) as a child of ours.
//
// It has a session of its own: no terminal from which it could ask for a
// password, and no Ctrl-C but ours. Its standard input stays open behind what
// is written to it, until it is closed by hand or by our own death: that is the
// lifeline by which the other side knows us to be there.
//
// SIGPIPE is ignored in this process from the first start on.

#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "src/collect/src/collect/event_loop.h"
#include "src/common/util/unique_fd.h"

namespace zelk::collect {

struct child_command {
  std::vector<std::string>
      argv;  // a name without a slash is looked for in PATH
  std::vector<std::pair<std::string, std::string>> environment;  // besides ours
  std::string input;
  // The kernel sends it SIGTERM when we are gone, however we went.
  bool ends_with_us = false;
};

class child_process {
 public:
  // None of them may destroy the child_process, on_end excepted.
  struct events {
    std::function<void(std::string_view)> on_output;
    std::function<void(std::string_view)> on_errors;
    // Called once, after all that was read: waitpid(2)'s status.
    std::function<void(int)> on_end;
  };

  child_process(event_loop& loop, events on);
  // Kills the child, with all of its process group, if it has not ended.
  ~child_process();
  child_process(const child_process&) = delete;
  child_process& operator=(const child_process&) = delete;

  // Starts the command, once. Returns 0 or errno; when not 0, nothing was
  // started and no event comes.
  int start(child_command command);
  // What has not been written yet is not written any more.
  void close_input();
  // Sends a signal to the child's process group.
  void signal(int number) const;
  // Leaves the child to itself, with the end of its input: no more events come,
  // and nothing kills it. For a child that is known to end by that.
  void let_go();

 private:
  struct stream {
    util::unique_fd fd;
    std::function<void(std::string_view)> on_bytes;
  };

  void watch_everything();
  void write_input();
  // Returns whether bytes came.
  bool read_stream(stream& from);
  void look_for_end();
  void child_has_ended(int status);
  void deliver_end();
  void forget_everything();

  event_loop& loop_;
  events on_;
  pid_t pid_ = 0;  // 0: not started, or reaped
  util::unique_fd pidfd_;
  util::unique_fd input_;
  std::string unwritten_;
  stream output_;
  stream errors_;
  bool ended_ = false;
  int status_ = 0;
  event_loop::timer_id timer_ = 0;
};

}  // namespace zelk::collect
