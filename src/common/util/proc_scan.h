// Which processes there are and whose children they are, read from /proc.
//
// Everything here may run inside a signal handler: no memory is allocated and
// no lock is taken. What /proc shows is past when it is read: a pid alone names
// nobody for long, a pid with its start time does.

#pragma once

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace zelk::util {

struct process_facts {
  pid_t pid = 0;
  pid_t parent = 0;
  pid_t group = 0;
  std::uint64_t start = 0;      // clock ticks since boot
  char state = '?';             // R, S, D, Z, T ... as proc(5) names them
  std::array<char, 16> name{};  // ends in a zero byte; longer names are cut
};

// A list of pids in storage of its own; what is beyond the capacity is dropped.
// Children that were dropped are seen when those before them have been ended.
class pid_list {
 public:
  void clear() { size_ = 0; }
  void add(pid_t pid) {
    if (size_ < pids_.size()) pids_[size_++] = pid;
  }
  std::size_t size() const { return size_; }
  const pid_t* begin() const { return pids_.data(); }
  const pid_t* end() const { return pids_.data() + size_; }

 private:
  std::array<pid_t, 32768> pids_;
  std::size_t size_ = 0;
};

// Returns whether there is such a process, a zombie included, and whether its
// facts may be read: /proc can hide the processes of other users.
bool read_process(pid_t pid, process_facts& facts);

// Whether /proc is there and numbers processes as this process does. Under the
// /proc of another pid namespace every pid read would name somebody else.
bool proc_is_usable();

// Whether this kernel lists the children of a process in /proc.
bool kernel_lists_children();

// Adds the children of all threads of `parent`. Some may be missing when others
// end meanwhile. Requires: kernel_lists_children().
void append_children(pid_t parent, pid_list& list);

// Adds every process that /proc shows.
void append_all_processes(pid_list& list);

namespace testing {
// Makes kernel_lists_children() deny it, as older kernels rightly do.
extern bool hide_children_lists;
}  // namespace testing

}  // namespace zelk::util
