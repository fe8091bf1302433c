// A handler that ends the whole program, and may have interrupted anything.
//
// It may run in the middle of malloc(), of a message to the accumulator, of
// reading a provider's flood. So it calls nothing that locks or allocates, and
// leaves by _exit(): exit() would run what libraries have registered, and
// CZMQ's part of that waits for messages that nobody will take.
//
// SIGTERM to the process group reaches this process, too. It must change
// neither the exit status nor begin all over, so SIGTERM is blocked while it is
// sent and thrown away afterwards: setting a signal to "ignore" does that to a
// pending one. The group is not everything that must go:
//
// - coreutils timeout, setsid and daemons have left it;
// - a shell starts background jobs with SIGINT ignored, others ignore SIGTERM.
//
// What is below us is therefore ended as after a time-out, see process_tree.h.
// Several workers may share a group, and each sends its SIGTERM to all. The
// others are busy ending by then and take it from a member of the group for
// what it is; only a signal from elsewhere means that somebody is in a hurry.

#include "src/collect/src/termination.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <string_view>

#include "src/common/util/process_tree.h"

namespace zelk_run_provider {
namespace {

using zelk::util::ending_times;
using zelk::util::steady_clock;
using zelk::util::tree_ending;
using zelk::util::tree_snapshot;

constexpr std::string_view message =
    "\nzelk_run_provider: caught signal. Cleaning up.\n";

constexpr ending_times times{.grace = std::chrono::seconds(5),
                             .patience = std::chrono::seconds(2)};

// A reader of standard error that has stopped reading must not keep us.
constexpr int longest_wait_for_message_ms = 1000;

// Too big for the stack that a signal finds.
tree_snapshot processes;

sigset_t termination_signals() {
  sigset_t set;
  ::sigemptyset(&set);
  ::sigaddset(&set, SIGINT);
  ::sigaddset(&set, SIGTERM);
  return set;
}

void set_disposition(int number, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_mask = termination_signals();
  ::sigaction(number, &action, nullptr);
}

void write_message() {
  pollfd standard_error{STDERR_FILENO, POLLOUT, 0};
  if (::poll(&standard_error, 1, longest_wait_for_message_ms) != 1) return;
  const ssize_t written =
      ::write(STDERR_FILENO, message.data(), message.size());
  static_cast<void>(written);  // nobody is left to be told
}

// Requires: all signals are blocked.
void signal_group() {
  ::kill(0, SIGTERM);
  set_disposition(SIGINT, SIG_IGN);
  set_disposition(SIGTERM, SIG_IGN);
  // Blocked and not ignored, they can be waited for.
  set_disposition(SIGINT, SIG_DFL);
  set_disposition(SIGTERM, SIG_DFL);
}

bool sent_from_outside(const siginfo_t& info) {
  return info.si_code != SI_USER || ::getpgid(info.si_pid) != ::getpgrp();
}

// Returns whether somebody wants this to be over at once. Ends early, too, when
// a child has ended. Requires: all signals are blocked.
bool wait_for_hurry(std::chrono::nanoseconds longest) {
  sigset_t set = termination_signals();
  ::sigaddset(&set, SIGCHLD);
  const auto whole = std::chrono::duration_cast<std::chrono::seconds>(longest);
  const timespec wait{whole.count(), (longest - whole).count()};
  siginfo_t info{};
  const int number = ::sigtimedwait(&set, &info, &wait);
  return (number == SIGINT || number == SIGTERM) && sent_from_outside(info);
}

void end_providers() {
  static tree_ending ending;
  ending.begin(processes, times, steady_clock::now());
  while (true) {
    const std::chrono::nanoseconds pause = ending.step(0, steady_clock::now());
    if (ending.over()) return;
    if (wait_for_hurry(pause)) ending.hurry();
  }
}

}  // namespace

// All signals are blocked: writing the message could bring SIGPIPE or SIGTTOU.
void terminate_run_provider(int signal) {
  static std::atomic_flag entered;
  sigset_t all;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
  // A second signal, taken by another thread of ours: the first one is at it.
  while (entered.test_and_set())
    ::pause();
  write_message();
  // Who is asked is settled before the first is: what a shell starts in its
  // trap, to clean up, is not to be disturbed.
  processes.take(0);
  signal_group();
  processes.ask_to_end(::getpgrp());
  end_providers();
  ::_exit(signal);
}

void install_termination_handler() {
  static bool first = true;
  // On a kernel too old for it, popen3() is the one to say so.
  zelk::util::become_subreaper();
  if (first) zelk::util::spare_present_processes();
  first = false;
  set_disposition(SIGHUP, SIG_IGN);
  set_disposition(SIGINT, terminate_run_provider);
  set_disposition(SIGTERM, terminate_run_provider);
  const sigset_t unblocked = termination_signals();
  ::pthread_sigmask(SIG_UNBLOCK, &unblocked, nullptr);
}

}  // namespace zelk_run_provider
