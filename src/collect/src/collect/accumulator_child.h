// The accumulator that stores what a collection gets: zelk-accumulate as a
// child.
//
// Three pipes lead to it and from it: it says when it is ready and where, it is
// told what to expect and what is missing, and it tells what it has stored. It
// outlives a collector that dies, just long enough to store what it has and to
// close the run as interrupted: the end of the control pipe tells it so.

#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/collect/control_lines.h"
#include "src/collect/src/collect/event_loop.h"
#include "src/collect/src/collect/helper_process.h"

namespace zelk::collect {

struct accumulator_options {
  std::string program;    // path of zelk-accumulate
  std::string bind;       // "tcp://10.1.0.1:*"
  std::string run;        // "new", or a run that is there
  std::string datastore;  // "": its own choice
};

struct accumulator_listener {
  std::function<void(const std::string& endpoint)> ready;
  std::function<void(const accumulator_event&)> event;
  // A line on its standard error.
  std::function<void(std::string_view)> message;
  // It has ended, as waitpid(2) gives it. Nothing is called afterwards.
  std::function<void(int status)> end;
};

class accumulator_child {
 public:
  explicit accumulator_child(event_loop& loop) : process_(loop) {}

  // Starts it and sends `first_line` as its first order. Returns "", or why it
  // could not be started.
  std::string start(const accumulator_options& options,
                    accumulator_listener listener, std::string_view first_line);
  // Sends lines of control_lines.h.
  void tell(std::string_view lines) { process_.send(lines); }
  // The last order.
  void close(std::string_view state);
  bool running() const { return process_.running(); }
  void signal(int number) const { process_.signal(number); }
  // Leaves it alone with what it has: it ends by itself.
  void let_go() { process_.let_go(); }

 private:
  helper_process process_;
};

// The command line that start() uses.
std::vector<std::string> accumulator_command(
    const accumulator_options& options);

}  // namespace zelk::collect
