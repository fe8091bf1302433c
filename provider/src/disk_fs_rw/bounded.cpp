#include "provider/src/disk_fs_rw/bounded.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "provider/src/common/clock_rate.h"

namespace zelk::perf::disk {
namespace {

volatile sig_atomic_t caught_signal = 0;

void remember(int number) {
  caught_signal = number;
}

constexpr double reap_seconds = 1;  // SIGKILL takes effect far sooner, or never

struct running {
  pid_t child = -1;
  int output = -1;
  double deadline = 0;
  answer result;
  bool open() const { return output >= 0; }
};

running start(const job& wanted) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0)
    throw std::system_error(errno, std::generic_category(), "pipe");
  const pid_t parent = ::getpid();
  const pid_t child = ::fork();
  const int code = errno;
  if (child == 0) {
    ::close(ends[0]);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) ::_exit(1);
    ::_exit(wanted.work(ends[1]));
  }
  ::close(ends[1]);
  if (child < 0) {
    ::close(ends[0]);
    throw std::system_error(code, std::generic_category(), "fork");
  }
  running made;
  made.child = child;
  made.output = ends[0];
  made.deadline = now() + wanted.seconds;
  return made;
}

void close_output(running& one) {
  ::close(one.output);
  one.output = -1;
}

void read_some(running& one) {
  char buffer[4096];
  const ssize_t count = ::read(one.output, buffer, sizeof buffer);
  if (count > 0) {
    one.result.lines.append(buffer, static_cast<std::size_t>(count));
  } else if (count == 0 || errno != EINTR) {
    close_output(one);
  }
}

// False when the child has not ended after `seconds`.
bool reap(pid_t child, double seconds, int& status) {
  const double end = now() + seconds;
  while (true) {
    const pid_t ended = ::waitpid(child, &status, WNOHANG);
    if (ended == child) return true;
    if (ended < 0 && errno != EINTR) return true;
    if (now() > end) return false;
    ::poll(nullptr, 0, 2);
  }
}

void finish(running& one) {
  int status = 1;
  const bool late = one.open();
  if (late) {
    one.result.how = ending::too_slow;
    ::kill(one.child, SIGKILL);
    close_output(one);
    reap(one.child, reap_seconds, status);
  } else if (reap(one.child, reap_seconds, status)) {
    const bool well = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    one.result.how = well ? ending::done : ending::failed;
  }
  // A line cut off in the middle would tell a wrong number.
  const std::size_t end = one.result.lines.rfind('\n');
  one.result.lines.resize(end == std::string::npos ? 0 : end + 1);
}

// They tidy up after themselves, if they can.
void pass_on_end(std::vector<running>& all) {
  for (running& one : all) {
    if (!one.open()) continue;
    ::kill(one.child, SIGTERM);
    one.deadline = std::min(one.deadline, now() + reap_seconds);
  }
}

// Reads what comes until the next deadline at the latest.
void wait_for_output(std::vector<running>& all) {
  std::vector<pollfd> waiting;
  std::vector<running*> owners;
  double deadline = now() + 3600;
  for (running& one : all) {
    if (!one.open()) continue;
    waiting.push_back({one.output, POLLIN, 0});
    owners.push_back(&one);
    deadline = std::min(deadline, one.deadline);
  }
  const double left = std::max(deadline - now(), 0.0);
  // In short waits: a signal may come just before one begins.
  const double wait = std::min(left, 0.2);
  ::poll(waiting.data(), waiting.size(), static_cast<int>(wait * 1000) + 1);
  for (std::size_t index = 0; index < waiting.size(); ++index) {
    if (waiting[index].revents != 0) read_some(*owners[index]);
  }
}

}  // namespace

void watch_for_end() {
  struct sigaction action = {};
  action.sa_handler = remember;
  for (const int number : {SIGTERM, SIGINT, SIGHUP})
    ::sigaction(number, &action, nullptr);
}

bool end_was_asked() {
  return caught_signal != 0;
}

void end_as_asked() {
  const int number = caught_signal;
  ::signal(number, SIG_DFL);
  ::raise(number);
  ::_exit(128 + number);
}

std::vector<answer> run_bounded(const std::vector<job>& jobs) {
  std::vector<running> all;
  all.reserve(jobs.size());
  for (const job& wanted : jobs)
    all.push_back(start(wanted));
  bool passed_on = false;
  const auto is_open = [](const running& one) { return one.open(); };
  while (std::any_of(all.begin(), all.end(), is_open)) {
    wait_for_output(all);
    if (end_was_asked() && !passed_on) pass_on_end(all);
    passed_on = end_was_asked();
    for (running& one : all) {
      if (!one.open() || now() < one.deadline) continue;
      finish(one);
      one.child = -1;
    }
  }
  std::vector<answer> answers;
  answers.reserve(all.size());
  for (running& one : all) {
    if (one.child > 0) finish(one);
    if (passed_on) one.result.how = ending::terminated;
    answers.push_back(one.result);
  }
  return answers;
}

}  // namespace zelk::perf::disk
