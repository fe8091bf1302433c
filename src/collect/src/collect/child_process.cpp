// The end of a child is the end of its process, not of its streams: ssh may
// leave a connection open in the background for later calls (ControlPersist),
// and that keeps our pipes for minutes. So when the process has ended, what is
// in the pipes is read, their end is waited for a moment, and that is that.
//
// The child is started by vfork(2): fork(2) would copy the page tables of a
// collector that holds the output of a thousand nodes, once for each node.
// posix_spawn(3) cannot ask the kernel for a signal at our death.

#include "src/collect/src/collect/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <thread>

namespace zelk::collect {

namespace {

using std::chrono::milliseconds;
using util::unique_fd;

// How long streams may stay open behind the end of the process.
constexpr milliseconds farewell{200};

// Without a pidfd the end is looked for this often.
constexpr milliseconds look_interval{20};

// Half a second for the end of a killed process.
constexpr int most_looks_at_killed = 500;
constexpr milliseconds pause_between_looks{1};

// What is read of each stream behind the end of the process, at most.
constexpr int most_last_chunks = 64;

constexpr std::size_t chunk = std::size_t{64} << 10;  // bytes; a pipe's size

struct pipe_pair {
  unique_fd out;
  unique_fd in;
};

// No end is one of the descriptors 0 to 2, which the child is given anew.
unique_fd above_standard(int fd) {
  unique_fd low(fd);
  if (fd > STDERR_FILENO) return low;
  return unique_fd(::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

int make_pipe(pipe_pair& made) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return errno;
  made.out = above_standard(ends[0]);
  made.in = above_standard(ends[1]);
  return made.out && made.in ? 0 : EMFILE;
}

void do_not_block(int fd) {
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
}

// Everything that the child needs, made before there is one.
struct spawn_plan {
  std::vector<char*> argv;
  std::vector<std::string> environment_text;
  std::vector<char*> environment;
  std::array<int, 3> standard{};
  bool ends_with_us = false;
};

bool is_replaced(std::string_view entry, const child_command& command) {
  for (const auto& [name, value] : command.environment) {
    if (entry.size() > name.size() && entry[name.size()] == '=' &&
        entry.substr(0, name.size()) == name)
      return true;
  }
  return false;
}

spawn_plan plan_of(child_command& command) {
  spawn_plan plan;
  for (std::string& word : command.argv)
    plan.argv.push_back(word.data());
  plan.argv.push_back(nullptr);
  for (const auto& [name, value] : command.environment)
    plan.environment_text.emplace_back(name).append("=").append(value);
  for (std::string& entry : plan.environment_text)
    plan.environment.push_back(entry.data());
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (!is_replaced(*entry, command)) plan.environment.push_back(*entry);
  }
  plan.environment.push_back(nullptr);
  plan.ends_with_us = command.ends_with_us;
  return plan;
}

void take_default_signals() {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number)
    ::sigaction(number, &action, nullptr);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Runs in the child, in our memory: it must change nothing there but `error`.
[[noreturn]] void become(const spawn_plan& plan, pid_t parent,
                         volatile int& error) {
  take_default_signals();
  ::setsid();
  if (plan.ends_with_us) {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) ::_exit(1);
  }
  for (int fd = 0; fd < 3; ++fd)
    ::dup2(plan.standard[static_cast<std::size_t>(fd)], fd);
  ::execvpe(plan.argv[0], plan.argv.data(), plan.environment.data());
  error = errno;
  ::_exit(127);
}

// Returns 0 and the child, or errno. All signals are blocked meanwhile: a
// handler that ran in the child would change our memory.
[[gnu::noinline]] int spawn(const spawn_plan& plan, pid_t& child) {
  sigset_t all;
  sigset_t before;
  ::sigfillset(&all);
  ::sigprocmask(SIG_BLOCK, &all, &before);
  volatile int error = 0;
  const pid_t parent = ::getpid();
  const pid_t pid = ::vfork();
  if (pid == 0) become(plan, parent, error);
  const int code = pid < 0 ? errno : error;
  ::sigprocmask(SIG_SETMASK, &before, nullptr);
  if (pid > 0 && code != 0) ::waitpid(pid, nullptr, 0);
  child = pid;
  return code;
}

unique_fd open_pidfd(pid_t pid) {
  // By number: older C libraries have no function for it.
  return unique_fd(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
}

}  // namespace

child_process::child_process(event_loop& loop, events on)
    : loop_(loop), on_(std::move(on)) {
  output_.on_bytes = on_.on_output;
  errors_.on_bytes = on_.on_errors;
}

void child_process::forget_everything() {
  loop_.cancel(timer_);
  for (unique_fd* fd : {&input_, &output_.fd, &errors_.fd, &pidfd_}) {
    if (*fd) loop_.forget(fd->get());
    fd->reset();
  }
}

child_process::~child_process() {
  forget_everything();
  if (pid_ == 0) return;
  signal(SIGKILL);
  // A process that waits for a dead file server ends when that answers.
  for (int i = 0; i < most_looks_at_killed; ++i) {
    if (::waitpid(pid_, nullptr, WNOHANG) != 0) return;
    std::this_thread::sleep_for(pause_between_looks);
  }
}

void child_process::let_go() {
  forget_everything();
  pid_ = 0;
}

int child_process::start(child_command command) {
  ::signal(SIGPIPE, SIG_IGN);
  pipe_pair input;
  pipe_pair output;
  pipe_pair errors;
  for (pipe_pair* pipe : {&input, &output, &errors}) {
    if (const int code = make_pipe(*pipe); code != 0) return code;
  }
  spawn_plan plan = plan_of(command);
  plan.standard = {input.out.get(), output.in.get(), errors.in.get()};
  pid_t child = 0;
  if (const int code = spawn(plan, child); code != 0) return code;

  pid_ = child;
  pidfd_ = open_pidfd(pid_);
  input_ = std::move(input.in);
  output_.fd = std::move(output.out);
  errors_.fd = std::move(errors.out);
  unwritten_ = std::move(command.input);
  watch_everything();
  return 0;
}

void child_process::watch_everything() {
  for (stream* from : {&output_, &errors_}) {
    do_not_block(from->fd.get());
    loop_.watch(from->fd.get(), POLLIN, [this, from](short) {
      read_stream(*from);
      if (ended_ && !output_.fd && !errors_.fd) deliver_end();
    });
  }
  do_not_block(input_.get());
  write_input();
  if (pidfd_) {
    loop_.watch(pidfd_.get(), POLLIN, [this](short) { look_for_end(); });
  } else {
    timer_ = loop_.after(look_interval, [this] { look_for_end(); });
  }
}

void child_process::write_input() {
  while (input_ && !unwritten_.empty()) {
    const ssize_t written =
        ::write(input_.get(), unwritten_.data(), unwritten_.size());
    if (written > 0) {
      unwritten_.erase(0, static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      if (!loop_.watches(input_.get()))
        loop_.watch(input_.get(), POLLOUT, [this](short) { write_input(); });
      return;
    } else if (errno != EINTR) {
      return close_input();  // it reads no more: it is about to end, or to say
                             // so
    }
  }
  if (input_) loop_.forget(input_.get());
}

void child_process::close_input() {
  if (!input_) return;
  loop_.forget(input_.get());
  input_.reset();
  unwritten_.clear();
}

void child_process::signal(int number) const {
  if (pid_ > 0) ::kill(-pid_, number);
}

// One chunk: whoever prints without end must not keep the others waiting.
bool child_process::read_stream(stream& from) {
  std::array<char, chunk> buffer;
  const ssize_t got = ::read(from.fd.get(), buffer.data(), buffer.size());
  if (got < 0 && (errno == EAGAIN || errno == EINTR)) return false;
  if (got > 0) {
    from.on_bytes({buffer.data(), static_cast<std::size_t>(got)});
    return true;
  }
  loop_.forget(from.fd.get());
  from.fd.reset();
  return false;
}

void child_process::look_for_end() {
  int status = 0;
  const pid_t ended = ::waitpid(pid_, &status, WNOHANG);
  if (ended == 0) {
    if (!pidfd_)
      timer_ = loop_.after(look_interval, [this] { look_for_end(); });
    return;
  }
  if (ended < 0 && errno == EINTR) return;
  child_has_ended(ended < 0 ? -1 : status);
}

void child_process::child_has_ended(int status) {
  ended_ = true;
  status_ = status;
  // Its group may live on, but its number is no longer ours to use.
  pid_ = 0;
  if (pidfd_) loop_.forget(pidfd_.get());
  pidfd_.reset();
  close_input();
  if (!output_.fd && !errors_.fd) return deliver_end();
  timer_ = loop_.after(farewell, [this] { deliver_end(); });
}

void child_process::deliver_end() {
  loop_.cancel(timer_);
  for (stream* from : {&output_, &errors_}) {
    for (int i = 0; from->fd && i < most_last_chunks; ++i) {
      if (!read_stream(*from)) break;
    }
    if (from->fd) loop_.forget(from->fd.get());
    from->fd.reset();
  }
  const std::function<void(int)> on_end = on_.on_end;
  on_end(status_);
}

}  // namespace zelk::collect
