// One program of ours (srun, mpirun) that runs the launches of many nodes.
//
// The program's own exit status says little: it is one number for all nodes.
// What counts is what each node told about itself (remote_script.h).

#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/collect/bounded_text.h"
#include "src/collect/src/collect/child_process.h"
#include "src/collect/src/collect/event_loop.h"
#include "src/collect/src/collect/labelled_lines.h"
#include "src/collect/src/collect/launcher.h"
#include "src/collect/src/collect/node_run.h"

namespace zelk::collect {

struct group_setup {
  std::string program;  // for messages
  child_command command;
  label_reader label = nullptr;
  std::string nonce;
  std::chrono::seconds longest_delay{0};  // before a node's program
  // Whether the end of its input reaches all nodes; otherwise a signal must.
  bool input_reaches_nodes = false;
};

class group_run {
 public:
  struct events {
    // A node is done with: it told its end, or nothing was heard of it for too
    // long. Nodes that are not done with at the end are rest().
    std::function<void(launch_outcome)> on_outcome;
    // The program has ended: waitpid(2)'s status. The last event.
    std::function<void(int)> on_end;
  };

  group_run(event_loop& loop, group_setup setup, std::vector<launch> launches,
            events on);
  ~group_run();  // as let_go()
  group_run(const group_run&) = delete;
  group_run& operator=(const group_run&) = delete;

  // Returns 0 or errno; when not 0, no event comes.
  int start();
  // Asks for the end; nodes may still tell theirs.
  void stop();
  // Ends it for us, now: the nodes are asked to end, and the program is left to
  // itself. No event comes.
  void let_go();
  // SIGTERM for the program itself, and SIGKILL a moment later.
  void end_program();

  bool asked() const { return asked_; }
  // Whether any node has begun.
  bool begun() const { return !by_rank_.empty(); }
  std::list<node_run>& rest() { return nodes_; }
  // What the program itself had to say.
  std::string said() const { return said_.text(); }

 private:
  void take_line(std::size_t rank, std::string_view text, bool error);
  node_run* node_of(std::size_t rank, std::string_view text);
  void set_timer(const node_run& node, std::chrono::milliseconds delay,
                 void (group_run::*on_time)(node_run&));
  void has_begun(const node_run& node);
  void has_told(node_run& node);
  void no_last_word(node_run& node);
  void ask();
  void conclude(node_run& node, launch_outcome outcome);

  event_loop& loop_;
  group_setup setup_;
  events on_;
  std::string begin_mark_;
  std::list<node_run> nodes_;  // that are not done with
  std::map<std::string, node_run*, std::less<>> by_name_;
  std::map<std::size_t, std::string> by_rank_;  // names, of all that began
  std::map<std::string, event_loop::timer_id> timers_;
  labelled_lines output_;
  labelled_lines errors_;
  bounded_text said_{std::size_t{32} << 10};
  child_process child_;
  event_loop::timer_id timer_ = 0;
  bool asked_ = false;
  bool ended_ = false;
};

}  // namespace zelk::collect
