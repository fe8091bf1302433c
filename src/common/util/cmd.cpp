// When is a shell command over?
//
// A command is a shell, whatever it starts, and two pipes that all of them
// write to. Three things end, in any order: the shell, the streams, and the
// last of the processes. Taking one for another is how command runners hang or
// lose output:
//
// - Waiting for the end of the streams waits for everyone who holds them. A
//   daemon that was started with its output in our pipe, an ssh connection kept
//   open for later, holds it for days.
// - Stopping at the shell's end loses what comes after it. In
//   "exec > >(tee log)" the shell ends first and its output arrives later.
// - Ending the shell at the time-out leaves what it had started. That goes on
//   using the node, and holds the pipe.
//
// So the shell's end gives the status and the duration. Then all that is in the
// pipes is read, and their end is waited for while bytes keep coming: through
// at most `silence` without any, and `linger` in all. What is left of the
// processes then, holding a pipe or not, is asked to end and, `farewell` later,
// killed. The asking is for the sake of daemons with files to remove, and
// short, for they should not be there. When nothing is left, which is the rule,
// no time is spent on any of this: the end of both streams and one waitid(2)
// tell.
//
// At the time-out everything is asked to end (SIGTERM, parents first), and
// after `grace` killed, whether the shell still lives or not. The pipes are
// read all the while: what a trap prints is output as well, and a process that
// is blocked in a write would not get to its end. After `patience` what cannot
// be killed is given up and named in an error record. Nothing here blocks; each
// turn of the loop reads a bounded amount and looks at the clock, so neither a
// flood nor a stuck process can keep a run beyond its bounds.
//
// A command that ended before we came to look at the clock has not timed out.
//
// Running out of memory for the output ends a command like a time-out does, its
// output thrown away, since a part of it could pass for the whole.

#include "src/common/util/cmd.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <thread>
#include <utility>

#include "src/common/log/error_log.h"
#include "src/common/util/captured_stream.h"
#include "src/common/util/errno_text.h"
#include "src/common/util/process_tree.h"
#include "src/common/util/shell.h"

namespace zelk::util {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using time_point = steady_clock::time_point;

constexpr char source[] = "src/common/util/cmd";

constexpr std::int32_t exit_status_of_a_time_out = 124;  // as timeout(1) has it
constexpr std::int32_t exit_status_unknown = 125;        // so does env(1)
constexpr std::int32_t status_unknown = -1;

// A hundred years: more would overflow the clock's nanoseconds.
constexpr std::int64_t most_timeout_sec = 100LL * 366 * 86400;

// Read from each stream in one turn: four pipes of the largest usual size.
constexpr std::size_t most_bytes_a_turn = std::size_t{4} << 20;

// Orphans of a long command that have ended are reaped this often.
constexpr seconds reaping_interval{1};

// Without a pidfd the shell's end is looked for at such intervals.
constexpr nanoseconds least_look_interval = std::chrono::microseconds(100);
constexpr nanoseconds most_look_interval = milliseconds(20);

// A process closes its outputs a moment before it has ended. Who is about to
// end is neither asked to nor counted as left over.
constexpr milliseconds settling{20};
constexpr nanoseconds settling_interval = std::chrono::microseconds(500);

// Characters of a command line that are shown in a message.
constexpr std::size_t shown_of_command = 200;

// running --shell has ended--> lingering --nothing is left--> done
//    |                             | streams at end, silence or linger over
//    \--time-out, no memory--------+--> ending --tree_ending is over--> done
enum class run_state { running, lingering, ending, done };

class command_run {
 public:
  command_run(cmd& record, running_shell shell, time_point start);

  // Returns 0 with the record filled, or ENOMEM.
  int run();

 private:
  bool shell_ended() const { return pid_ == 0; }
  bool streams_ended() const { return output_.at_end() && error_.at_end(); }
  nanoseconds time_to_wait(time_point now);
  void wait_for_event(nanoseconds longest);
  void look_at_shell();
  void read_streams();
  void read_stream(captured_stream& stream);
  void advance(time_point now);
  void advance_running(time_point now);
  void advance_lingering(time_point now);
  time_point lingering_until() const;
  void begin_ending(nanoseconds grace, time_point now);
  void fill_record();
  void report_survivors();

  cmd& record_;
  const time_point start_;
  const time_point deadline_;
  pid_t pid_;  // 0 when reaped
  unique_fd pidfd_;
  captured_stream output_;
  captured_stream error_;
  run_state state_ = run_state::running;
  tree_ending ending_;
  nanoseconds ending_pause_{};
  nanoseconds look_interval_ = least_look_interval;
  time_point next_reaping_;
  time_point last_byte_;
  time_point streams_end_;  // of the one that ended last
  time_point shell_end_;
  std::int32_t status_ = status_unknown;
  bool error_first_ = false;
  bool out_of_memory_ = false;
};

seconds bounded_timeout(std::int64_t timeout_sec) {
  return seconds(std::clamp<std::int64_t>(timeout_sec, 0, most_timeout_sec));
}

command_run::command_run(cmd& record, running_shell shell, time_point start)
    : record_(record),
      start_(start),
      deadline_(start + bounded_timeout(record.timeout)),
      pid_(shell.pid),
      pidfd_(std::move(shell.pidfd)),
      output_(std::move(shell.standard_output)),
      error_(std::move(shell.standard_error)),
      next_reaping_(start + reaping_interval) {}

int command_run::run() {
  while (state_ != run_state::done) {
    wait_for_event(time_to_wait(steady_clock::now()));
    // In this order: what was written by what has ended is in the pipes.
    look_at_shell();
    read_streams();
    advance(steady_clock::now());
  }
  read_streams();
  look_at_shell();
  report_survivors();
  if (out_of_memory_) return ENOMEM;
  fill_record();
  return 0;
}

nanoseconds command_run::time_to_wait(time_point now) {
  nanoseconds wait = ending_pause_;
  if (state_ == run_state::running) {
    wait = std::min(deadline_, next_reaping_) - now;
  } else if (state_ == run_state::lingering) {
    wait = streams_ended() ? settling_interval
                           : std::min(lingering_until(), next_reaping_) - now;
  }
  if (!pidfd_ && !shell_ended()) {
    wait = std::min(wait, look_interval_);
    look_interval_ = std::min(2 * look_interval_, most_look_interval);
  }
  return std::max(wait, nanoseconds::zero());
}

void command_run::wait_for_event(nanoseconds longest) {
  std::array<pollfd, 3> events{{{output_.fd(), POLLIN, 0},
                                {error_.fd(), POLLIN, 0},
                                {pidfd_.get(), POLLIN, 0}}};
  const seconds whole = std::chrono::duration_cast<seconds>(longest);
  const timespec wait{whole.count(), (longest - whole).count()};
  const int ready = ::ppoll(events.data(), events.size(), &wait, nullptr);
  if (ready < 0 && errno != EINTR) {  // no memory for it: take turns slowly
    std::this_thread::sleep_for(
        std::min<nanoseconds>(longest, milliseconds(1)));
  }
}

void command_run::look_at_shell() {
  if (shell_ended()) return;
  int status = status_unknown;
  const pid_t ended = ::waitpid(pid_, &status, WNOHANG);
  // Not our child: a library that reaps what is not its own has been quicker.
  const bool taken = ended < 0 && errno == ECHILD;
  if (ended != pid_ && !taken) return;
  shell_end_ = steady_clock::now();
  status_ = taken ? status_unknown : status;
  pid_ = 0;
  pidfd_.reset();
}

void command_run::read_stream(captured_stream& stream) {
  if (stream.at_end()) return;
  if (stream.read_available(most_bytes_a_turn) > 0) {
    last_byte_ = steady_clock::now();
  }
  if (!stream.at_end()) return;
  streams_end_ = steady_clock::now();
  look_interval_ = least_look_interval;
}

void command_run::read_streams() {
  error_first_ = !error_first_;
  try {
    read_stream(error_first_ ? error_ : output_);
    read_stream(error_first_ ? output_ : error_);
  } catch (const std::bad_alloc&) {
    out_of_memory_ = true;
    output_.discard();
    error_.discard();
  }
}

void command_run::advance(time_point now) {
  if (now >= next_reaping_) {
    reap_ended(pid_);
    next_reaping_ = now + reaping_interval;
  }
  if (state_ == run_state::running) advance_running(now);
  if (state_ == run_state::lingering) advance_lingering(now);
  if (state_ == run_state::ending) {
    ending_pause_ = ending_.step(pid_, now);
    if (ending_.over()) state_ = run_state::done;
  }
}

void command_run::advance_running(time_point now) {
  if (out_of_memory_) return begin_ending(record_.times.grace, now);
  if (!shell_ended() && now >= deadline_) look_at_shell();
  if (shell_ended()) {
    last_byte_ = shell_end_;
    state_ = run_state::lingering;
  } else if (now >= deadline_) {
    record_.timed_out = true;
    begin_ending(record_.times.grace, now);
  }
}

time_point command_run::lingering_until() const {
  if (out_of_memory_) return shell_end_;
  const cmd::limits& times = record_.times;
  if (streams_ended()) return std::max(shell_end_, streams_end_) + settling;
  return std::min({last_byte_ + times.silence, shell_end_ + times.linger,
                   std::max(shell_end_, deadline_) + times.silence});
}

void command_run::advance_lingering(time_point now) {
  if (!streams_ended() && now < lingering_until()) return;
  reap_ended(0);
  if (!any_process_left()) {
    state_ = run_state::done;
  } else if (now >= lingering_until()) {
    begin_ending(record_.times.farewell, now);
  }
}

void command_run::begin_ending(nanoseconds grace, time_point now) {
  static tree_snapshot processes;  // big, and only one run at a time
  processes.take(pid_);
  if (shell_ended()) {
    record_.left_over = static_cast<std::int32_t>(processes.living());
  }
  processes.ask_to_end();
  ending_.begin(processes, {grace, record_.times.patience}, now);
  state_ = run_state::ending;
}

std::int32_t exit_status_of(std::int32_t status) {
  if (status == status_unknown) return exit_status_unknown;
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  return 128 + WTERMSIG(status);
}

void command_run::fill_record() {
  const time_point end = shell_ended() ? shell_end_ : steady_clock::now();
  record_.duration = std::chrono::duration<double>(end - start_).count();
  record_.status = status_;
  record_.exit_status =
      record_.timed_out ? exit_status_of_a_time_out : exit_status_of(status_);
  record_.standard_output = std::move(output_.bytes());
  record_.standard_error = std::move(error_.bytes());
}

void list_survivors(std::ostream& out, const survivor_list& list) {
  const std::size_t named = std::min(list.count, list.first.size());
  for (std::size_t i = 0; i < named; ++i) {
    const survivor& one = list.first[i];
    out << (i == 0 ? ": " : ", ") << one.facts.pid << " ("
        << one.facts.name.data() << ", state " << one.facts.state << ")";
    if (one.error != 0) out << " " << errno_text(one.error);
  }
  if (named < list.count) out << " and " << list.count - named << " more";
}

void command_run::report_survivors() {
  if (!any_process_left()) return;
  survivor_list list;
  give_up_survivors(pid_, list);
  record_.not_ended = static_cast<std::int32_t>(list.count);
  const bool blind = !proc_is_usable();
  if (list.count == 0 && !blind) return;  // they have just ended
  log::ErrorLog record(source, __func__, __LINE__, log::level_error);
  record.stream() << "Unable to end "
                  << (blind ? "all" : std::to_string(list.count))
                  << (list.count == 1 && !blind ? " process" : " processes")
                  << " of the command '"
                  << record_.command.substr(0, shown_of_command) << "'";
  if (blind) {
    record.stream() << ": /proc does not show them";
  } else {
    list_survivors(record.stream(), list);
  }
}

// Where SIGCHLD is ignored (some launchers leave it so), the kernel reaps
// children by itself and their status is lost.
class sigchld_not_ignored {
 public:
  sigchld_not_ignored() {
    ::sigaction(SIGCHLD, nullptr, &before_);
    changed_ =
        before_.sa_handler == SIG_IGN || (before_.sa_flags & SA_NOCLDWAIT) != 0;
    if (!changed_) return;
    struct sigaction now {};
    now.sa_handler = SIG_DFL;
    ::sigaction(SIGCHLD, &now, nullptr);
  }
  sigchld_not_ignored(const sigchld_not_ignored&) = delete;
  sigchld_not_ignored& operator=(const sigchld_not_ignored&) = delete;
  ~sigchld_not_ignored() {
    if (changed_) ::sigaction(SIGCHLD, &before_, nullptr);
  }

 private:
  struct sigaction before_ {};
  bool changed_ = false;
};

int run_command(cmd& record) {
  if (record.command.find('\0') != std::string::npos) return EINVAL;
  const sigchld_not_ignored guard;
  if (const int code = become_subreaper(); code != 0) return code;
  spare_present_processes();
  reap_ended(0);
  const time_point start = steady_clock::now();
  running_shell shell;
  if (const int code = start_shell(record.command, shell); code != 0) {
    return code;
  }
  return command_run(record, std::move(shell), start).run();
}

void clear_results(cmd& record) {
  record.standard_error = byte_buffer();
  record.standard_output = byte_buffer();
  record.duration = 0;
  record.status = -2;
  record.exit_status = -2;
  record.timed_out = false;
  record.left_over = 0;
  record.not_ended = 0;
}

}  // namespace

std::int32_t cmd::popen3() {
  clear_results(*this);
  int code = ENOMEM;
  try {
    code = run_command(*this);
  } catch (const std::bad_alloc&) {
    // Thrown by the message of report_survivors(): nothing runs any more.
  }
  if (code == 0) return 0;
  clear_results(*this);
  errno = code;
  return -1;
}

}  // namespace zelk::util
