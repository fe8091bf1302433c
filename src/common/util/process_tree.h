// Ends the processes that a command leaves behind, however they hide.
//
// All that this process starts, directly or through others, counts as the
// command's; see process_tree.cpp for how it is found, and for the exceptions:
// strangers, which were there first, and given-up processes, which nothing can
// end. Everything here may run inside a signal handler that does not return.

#pragma once

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstddef>

#include "src/common/util/proc_scan.h"

namespace zelk::util {

using steady_clock = std::chrono::steady_clock;

// Makes this process the parent of every orphan below it. May be called again.
// Returns 0, or errno where the kernel is too old for it.
int become_subreaper();

// Takes the children that are there now, and all that is below them, for
// strangers: they are never signalled and never reaped by what follows.
void spare_present_processes();

// Whether a child is left, ended or not, that is neither a stranger nor given
// up. When false, no process below this one is left either, but for theirs.
bool any_process_left();

// Reaps what has ended, given-up processes included, by pid and without
// waiting. `kept` is left for its owner to reap; 0: none. Returns whether one
// was reaped.
bool reap_ended(pid_t kept);

// The processes to be asked to end, parents before their children.
class tree_snapshot {
 public:
  // Replaces the content by all processes that there are now. `child` is one
  // that the caller started itself and has not reaped yet, or 0: where /proc
  // cannot be read it is all that is known.
  void take(pid_t child);
  // How many of them had not ended.
  std::size_t living() const;
  // Sends each SIGTERM and then SIGCONT, for what is stopped keeps the first.
  // Members of the process group `asked_group` have got their SIGTERM already.
  void ask_to_end(pid_t asked_group = 0) const;
  // Asks, and takes in, the orphans that have come since: they were being born
  // when the snapshot was taken.
  void ask_orphans();

  struct entry {
    process_facts facts;
    bool own_child;
  };
  const entry* begin() const { return entries_.data(); }
  const entry* end() const { return entries_.data() + size_; }

 private:
  bool has(pid_t pid) const;
  bool add(pid_t pid, pid_t found_below);
  void walk_down();
  void search_all();

  std::array<entry, 4096> entries_;  // what is beyond is killed, not asked
  std::size_t size_ = 0;
};

struct ending_times {
  std::chrono::nanoseconds grace;     // from being asked to being killed
  std::chrono::nanoseconds patience;  // from being killed to being given up
};

// Sees to the end of all processes after they were asked, one step at a time,
// so that the caller can read pipes or wait for signals between the steps.
//
//   asked --grace is over, or hurry()--> killing --patience is over--> over
//     \------------------ nothing is left ---------------------------> over
class tree_ending {
 public:
  // `asked` must live on until the end.
  void begin(tree_snapshot& asked, ending_times times,
             steady_clock::time_point now);
  // Does what is due. Returns how long the caller may wait until the next step;
  // when over() has become true it means nothing.
  // `child` as for tree_snapshot; reaping it is left to the caller.
  std::chrono::nanoseconds step(pid_t child, steady_clock::time_point now);
  // Ends the grace.
  void hurry() {
    if (state_ == state::asked) next_state_at_ = {};
  }
  bool over() const { return state_ == state::over; }

 private:
  enum class state { asked, killing, over };
  std::chrono::nanoseconds pause(bool progress, steady_clock::time_point now);

  state state_ = state::over;
  tree_snapshot* asked_ = nullptr;
  std::chrono::nanoseconds patience_{};
  std::chrono::nanoseconds pause_{};
  steady_clock::time_point next_state_at_;
  steady_clock::time_point killing_since_;
};

// A process that outlived SIGKILL, or may not be signalled.
struct survivor {
  process_facts facts;
  int error = 0;  // errno of sending it SIGKILL
};

struct survivor_list {
  std::array<survivor, 16> first;  // as many as a message can name
  std::size_t count = 0;           // all of them; may exceed first.size()
};

// Gives up all that is left: it no longer counts, and is reaped when it ends.
// `child` as for tree_snapshot.
void give_up_survivors(pid_t child, survivor_list& list);

namespace testing {
// kill(2); a test puts one here that lets a process live.
extern int (*send_signal)(pid_t pid, int signal);
// pidfd_open(2); a test puts one here that fails as old kernels do.
extern int (*open_pidfd)(pid_t pid);
}  // namespace testing

}  // namespace zelk::util
