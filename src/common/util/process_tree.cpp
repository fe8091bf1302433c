// How to end every process of a command that shares our process group.
//
// A provider command is a shell, and what the shell starts may go anywhere:
// into the background, into a session of its own (setsid), into a process group
// of its own (coreutils timeout does that), or away from its parent by a double
// fork, as daemons do. kill(-group) would miss most of that and hit whatever
// started us, for the command must stay in our group. Walking down from the
// shell's pid misses everything whose parent has ended: it belongs to init
// then.
//
// So this process is a "child subreaper": whoever loses its parent below us
// becomes our own child, wherever it had hidden. That gives the one loop that
// cannot be outrun: kill all own children, reap them, and again, until the
// kernel says ECHILD. A process that forks faster than it is killed is caught
// none the less, since its child falls to us the moment it is dead. And it is
// safe: the pid of a child that we have not reaped cannot be given to anyone
// else, while a signal to any other pid might hit a process that was born a
// microsecond ago. Deeper processes are therefore signalled only through a
// pidfd, and only when the start time behind it is the one that we saw.
//
// Asking comes before killing, and there the order matters: with the leaf ended
// first, a script goes on with its *next* line (rm -rf ...). So the whole tree
// is listed first and asked parents first, and only once: what a script starts
// in its TERM trap, to clean up, must not be asked in turn. That has a parent
// still; what was born too late for the list has lost its own, and is asked as
// an orphan. SIGCONT follows, since a stopped process keeps SIGTERM for later.
// SIGSTOP is never used, though it would hold a forking tree still: a stopped
// member in a process group whose launcher has gone makes the kernel send
// SIGHUP to the whole group, to us too.
//
// Who is not ours: a child that was there before the command (our program may
// have been exec'ed by a shell with background jobs) is a stranger. Who cannot
// be ended: a process in an uninterruptible sleep (a file server that is gone)
// and one that we may not signal (a set-user-id program). After a bounded time
// both are given up: remembered, not counted any more, reaped when they do end.
//
// Rejected: a cgroup for each command (nodes rarely delegate one), a pid
// namespace (changes what providers see), a cookie in the environment (reads
// the memory of every process on the node, and can be unset), and a small
// helper process as subreaper (one more to start, to watch and to lose).

#include "src/common/util/process_tree.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "src/common/util/unique_fd.h"

namespace zelk::util {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

int pidfd_open_by_kernel(pid_t pid) {
  return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0U));
}

}  // namespace

namespace testing {
int (*send_signal)(pid_t pid, int signal) = ::kill;
int (*open_pidfd)(pid_t pid) = pidfd_open_by_kernel;
}  // namespace testing

namespace {

// Below a process that outlives SIGKILL there may be others that would end but
// do not become our children; after this time they are looked for.
constexpr milliseconds deep_after{100};

// How long to wait for processes to end before looking again: a process killed
// is gone in about 0.1 ms, and 50 looks a second cost nothing.
constexpr nanoseconds least_pause = std::chrono::microseconds(200);
constexpr nanoseconds most_pause = milliseconds(20);

// Strangers and given-up processes. A signal handler may look in at any moment:
// an entry is complete before the count takes it in.
class known_processes {
 public:
  bool empty() const { return count_ == 0 && strangers_until_ == 0; }
  void add(const process_facts& facts, bool stranger);
  void remove(pid_t pid);
  bool has(pid_t pid) const { return find(pid) != nobody; }
  bool has_stranger(pid_t pid) const { return find(pid) == stranger; }

 private:
  enum kind { nobody, stranger, given_up };
  struct entry {
    pid_t pid;
    std::uint64_t start;
    kind is;
  };
  kind find(pid_t pid) const;

  std::array<entry, 1024> entries_;
  std::size_t count_ = 0;
  // With more strangers than entries, all that started until then are
  // strangers.
  std::uint64_t strangers_until_ = 0;
};

void known_processes::add(const process_facts& facts, bool is_stranger) {
  if (count_ == entries_.size()) {
    if (is_stranger) strangers_until_ = std::max(strangers_until_, facts.start);
    return;
  }
  entries_[count_] = {facts.pid, facts.start,
                      is_stranger ? stranger : given_up};
  std::atomic_signal_fence(std::memory_order_seq_cst);
  ++count_;
}

void known_processes::remove(pid_t pid) {
  for (std::size_t i = 0; i < count_; ++i) {
    if (entries_[i].pid != pid) continue;
    entries_[i] = entries_[count_ - 1];
    std::atomic_signal_fence(std::memory_order_seq_cst);
    --count_;
    return;
  }
}

known_processes::kind known_processes::find(pid_t pid) const {
  if (empty()) return nobody;
  process_facts facts;
  const auto* const last = entries_.data() + count_;
  const auto* const found =
      std::find_if(entries_.data(), last,
                   [pid](const entry& known) { return known.pid == pid; });
  if (found == last && strangers_until_ == 0) return nobody;
  const bool readable = read_process(pid, facts);
  if (found != last && (!readable || facts.start == found->start)) {
    return found->is;
  }
  return readable && facts.start <= strangers_until_ ? stranger : nobody;
}

// Big, and of no use to more than one call at a time.
known_processes known;
tree_snapshot scratch_snapshot;

// Calls visit(pid) for every own child, ended ones included. Returns false
// where they cannot be told. A visitor that kills must see each one the moment
// it is found: a look at all processes takes long enough for a child to move
// on.
template <typename Visitor>
bool for_each_child(const Visitor& visit) {
  static pid_list all;
  const pid_t self = ::getpid();
  all.clear();
  if (!proc_is_usable()) return false;
  const bool listed = kernel_lists_children();
  if (listed) {
    append_children(self, all);
  } else {
    append_all_processes(all);
  }
  process_facts facts;
  for (const pid_t pid : all) {
    if (listed || (read_process(pid, facts) && facts.parent == self))
      visit(pid);
  }
  return true;
}

// Returns the pid of a child that has ended, not reaped yet; 0: none has; -1:
// there is no child at all.
pid_t peek_ended() {
  siginfo_t info{};
  const int options = WEXITED | WNOHANG | WNOWAIT;
  if (::waitid(P_ALL, 0, &info, options) != 0) return -1;
  return info.si_pid;
}

bool reap(pid_t pid) {
  if (::waitpid(pid, nullptr, WNOHANG) != pid) return false;
  known.remove(pid);
  return true;
}

// Sends `signal` to a process that is not our child, if it is still the one
// that was seen. Returns errno. Without pidfds a moment remains in which its
// pid might change hands.
int signal_verified(const process_facts& seen, int signal) {
  const unique_fd pidfd(testing::open_pidfd(seen.pid));
  if (!pidfd && errno == ESRCH) return ESRCH;
  process_facts facts;
  if (!read_process(seen.pid, facts) || facts.start != seen.start) return ESRCH;
  const auto result =
      pidfd ? ::syscall(SYS_pidfd_send_signal, pidfd.get(), signal, nullptr, 0U)
            : testing::send_signal(seen.pid, signal);
  return result == 0 ? 0 : errno;
}

int signal_entry(const tree_snapshot::entry& entry, int signal) {
  if (!entry.own_child) return signal_verified(entry.facts, signal);
  return testing::send_signal(entry.facts.pid, signal) == 0 ? 0 : errno;
}

void kill_children(pid_t child) {
  const auto kill = [](pid_t pid) {
    if (!known.has(pid)) testing::send_signal(pid, SIGKILL);
  };
  if (!for_each_child(kill) && child != 0) kill(child);
}

void kill_deeper(pid_t child) {
  scratch_snapshot.take(child);
  for (const tree_snapshot::entry& entry : scratch_snapshot) {
    if (!entry.own_child) signal_verified(entry.facts, SIGKILL);
  }
}

}  // namespace

int become_subreaper() {
  return ::prctl(PR_SET_CHILD_SUBREAPER, 1UL, 0UL, 0UL, 0UL) == 0 ? 0 : errno;
}

void spare_present_processes() {
  if (!any_process_left()) return;
  scratch_snapshot.take(0);
  for (const tree_snapshot::entry& entry : scratch_snapshot) {
    known.add(entry.facts, true);
  }
}

bool any_process_left() {
  if (peek_ended() < 0) return false;
  if (known.empty()) return true;
  bool left = false;
  const bool told =
      for_each_child([&left](pid_t pid) { left = left || !known.has(pid); });
  return left || !told;
}

bool reap_ended(pid_t kept) {
  bool reaped = false;
  pid_t pid = peek_ended();
  // The first that ended is shown until it is reaped, so one that must stay
  // hides the others.
  for (; pid > 0 && pid != kept && !known.has_stranger(pid);
       pid = peek_ended()) {
    if (!reap(pid)) return reaped;
    reaped = true;
  }
  if (pid <= 0) return reaped;
  for_each_child([&reaped, kept](pid_t other) {
    if (other == kept || known.has_stranger(other)) return;
    reaped = reap(other) || reaped;
  });
  return reaped;
}

bool tree_snapshot::has(pid_t pid) const {
  return std::any_of(begin(), end(), [pid](const entry& present) {
    return present.facts.pid == pid;
  });
}

// A process that is found in the list of its parent's children may have ended
// since, and its number may be another's: then its parent is another, too.
bool tree_snapshot::add(pid_t pid, pid_t found_below) {
  if (size_ == entries_.size() || has(pid)) return false;
  const pid_t self = ::getpid();
  entry& added = entries_[size_];
  added.facts = process_facts();
  const bool readable = read_process(pid, added.facts);
  added.facts.pid = pid;
  added.own_child = found_below == self;
  const bool certain =
      added.own_child || (readable && (added.facts.parent == found_below ||
                                       added.facts.parent == self));
  if (!certain || (found_below == self && known.has(pid))) return false;
  ++size_;
  return true;
}

void tree_snapshot::walk_down() {
  static pid_list children;
  for_each_child([this](pid_t pid) { add(pid, ::getpid()); });
  for (std::size_t i = 0; i < size_; ++i) {
    const pid_t parent = entries_[i].facts.pid;
    children.clear();
    append_children(parent, children);
    for (const pid_t pid : children)
      add(pid, parent);
  }
}

// Every round finds at least one generation more.
void tree_snapshot::search_all() {
  static pid_list all;
  const pid_t self = ::getpid();
  process_facts facts;
  bool more = true;
  while (more) {
    more = false;
    all.clear();
    append_all_processes(all);
    for (const pid_t pid : all) {
      if (!read_process(pid, facts)) continue;
      if (facts.parent != self && !has(facts.parent)) continue;
      more = add(pid, facts.parent) || more;
    }
  }
}

// The second walk finds what was started, or hidden by an ending, in the first.
void tree_snapshot::take(pid_t child) {
  size_ = 0;
  if (!proc_is_usable()) {
    if (child != 0) add(child, ::getpid());
    return;
  }
  if (!kernel_lists_children()) return search_all();
  walk_down();
  walk_down();
}

std::size_t tree_snapshot::living() const {
  return static_cast<std::size_t>(std::count_if(
      begin(), end(), [](const entry& one) { return one.facts.state != 'Z'; }));
}

void tree_snapshot::ask_to_end(pid_t asked_group) const {
  for (const entry& one : *this) {
    const bool asked = asked_group != 0 && one.facts.group == asked_group;
    if (!asked) signal_entry(one, SIGTERM);
    signal_entry(one, SIGCONT);
  }
}

void tree_snapshot::ask_orphans() {
  for_each_child([this](pid_t pid) {
    if (!add(pid, ::getpid())) return;
    signal_entry(entries_[size_ - 1], SIGTERM);
    signal_entry(entries_[size_ - 1], SIGCONT);
  });
}

void tree_ending::begin(tree_snapshot& asked, ending_times times,
                        steady_clock::time_point now) {
  state_ = state::asked;
  asked_ = &asked;
  next_state_at_ = now + times.grace;
  patience_ = times.patience;
  pause_ = least_pause;
}

nanoseconds tree_ending::step(pid_t child, steady_clock::time_point now) {
  if (over()) return nanoseconds::zero();
  const bool progress = reap_ended(child);
  if (!any_process_left()) {
    state_ = state::over;
    return nanoseconds::zero();
  }
  if (now >= next_state_at_) {
    if (state_ == state::killing) {
      state_ = state::over;
      return nanoseconds::zero();
    }
    state_ = state::killing;
    killing_since_ = now;
    next_state_at_ = now + patience_;
    pause_ = least_pause;
  }
  if (state_ == state::asked) asked_->ask_orphans();
  if (state_ == state::killing) {
    kill_children(child);
    if (now - killing_since_ >= deep_after) kill_deeper(child);
  }
  return pause(progress, now);
}

// While processes end one after the other, the next is not kept waiting.
nanoseconds tree_ending::pause(bool progress, steady_clock::time_point now) {
  const nanoseconds current = pause_;
  pause_ = progress ? least_pause : std::min(2 * pause_, most_pause);
  return std::clamp<nanoseconds>(next_state_at_ - now, nanoseconds::zero(),
                                 current);
}

void give_up_survivors(pid_t child, survivor_list& list) {
  list.count = 0;
  scratch_snapshot.take(child);
  for (const tree_snapshot::entry& entry : scratch_snapshot) {
    known.add(entry.facts, false);
    if (entry.facts.state == 'Z') continue;
    const int error = signal_entry(entry, SIGKILL);
    if (list.count < list.first.size()) {
      list.first[list.count] = {entry.facts, error};
    }
    ++list.count;
  }
}

}  // namespace zelk::util
