// A program of this product as a child, with pipes to and from it.
//
// It has a process group of its own, so that a Ctrl-C at the terminal reaches
// the collector alone, which then ends things in their order. Everything
// happens inside the event loop; nothing here waits, the destructor aside.
// SIGPIPE is ignored in this process from the first start on.

#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "src/collect/src/collect/event_loop.h"
#include "src/common/util/unique_fd.h"

namespace zelk::collect {

struct helper_setup {
  struct reader {
    int child_fd = -1;  // where the child writes
    // Called for each line, without its end, and for a last one without an end.
    std::function<void(std::string_view line)> on_line;
  };

  std::vector<std::string> argv;  // the first one is the path of the program
  std::vector<reader> readers;
  int input_fd = -1;  // where the child reads what we send; -1: nowhere
  // Called once, after the last line; `status` is waitpid(2)'s.
  std::function<void(int status)> on_end;
};

class helper_process {
 public:
  explicit helper_process(event_loop& loop) : loop_(loop) {}
  // Ends the child with SIGKILL unless it has ended or was let go.
  ~helper_process();
  helper_process(const helper_process&) = delete;
  helper_process& operator=(const helper_process&) = delete;

  // Starts the child; once only. Standard input and output are /dev/null where
  // `setup` does not name them, standard error is ours. Returns "", or why it
  // could not be started.
  std::string start(helper_setup setup);
  bool running() const { return pid_ > 0; }
  // Sends `text`, now or when the child takes it. Text for a child that reads
  // no more goes nowhere: its end is what is told.
  void send(std::string_view text);
  // Ends the input behind what was sent.
  void end_input();
  void signal(int number) const;
  // Leaves the child alone: it is neither watched nor ended any more.
  void let_go();

 private:
  struct incoming {
    util::unique_fd fd;
    std::function<void(std::string_view)> on_line;
    std::string part;  // of a line
  };
  using descriptor_pairs = std::vector<std::pair<int, int>>;

  std::string spawn(const std::vector<std::string>& argv,
                    const descriptor_pairs& child_fds);
  void watch_all();
  void flush();
  // Reads what is there. Returns whether more may come.
  bool read_some(incoming& from);
  static void take(incoming& from, std::string_view bytes);
  void finish();
  void forget_all();

  event_loop& loop_;
  helper_setup setup_;
  std::list<incoming> incoming_;
  util::unique_fd input_;
  std::string unsent_;
  bool input_ended_ = false;
  util::unique_fd pid_fd_;
  pid_t pid_ = 0;
};

// "exit status 3", "signal 9 (Killed)".
std::string end_text(int wait_status);

}  // namespace zelk::collect
