#include "src/collect/src/collect/helper_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include "src/common/util/errno_text.h"

namespace zelk::collect {

namespace {

constexpr std::size_t read_chunk =
    std::size_t{64} * 1024;  // bytes; a pipe's size on Linux
// A line longer than this is no line of ours and is given on in pieces.
constexpr std::size_t longest_line = std::size_t{64} << 20;

struct pipe_ends {
  util::unique_fd read;
  util::unique_fd write;
};

bool make_pipe(pipe_ends& ends) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) return false;
  ends.read.reset(fds[0]);
  ends.write.reset(fds[1]);
  return true;
}

void make_non_blocking(int fd) {
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
}

int open_pidfd(pid_t pid) {
  return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
}

// The parts of posix_spawn(3) that have to be given back.
class spawn_plan {
 public:
  spawn_plan() {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawnattr_init(&attributes_);
  }
  ~spawn_plan() {
    ::posix_spawn_file_actions_destroy(&actions_);
    ::posix_spawnattr_destroy(&attributes_);
  }
  spawn_plan(const spawn_plan&) = delete;
  spawn_plan& operator=(const spawn_plan&) = delete;

  void give(int ours, int theirs) {
    ::posix_spawn_file_actions_adddup2(&actions_, ours, theirs);
  }
  void give_nothing(int theirs, int flags) {
    ::posix_spawn_file_actions_addopen(&actions_, theirs, "/dev/null", flags,
                                       0);
  }
  // Signals that we block or ignore are ours to wait for, not the child's.
  void set_attributes() {
    sigset_t none;
    ::sigemptyset(&none);
    sigset_t ignored;
    ::sigemptyset(&ignored);
    ::sigaddset(&ignored, SIGPIPE);
    ::posix_spawnattr_setsigmask(&attributes_, &none);
    ::posix_spawnattr_setsigdefault(&attributes_, &ignored);
    ::posix_spawnattr_setpgroup(&attributes_, 0);
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK |
                                                 POSIX_SPAWN_SETSIGDEF |
                                                 POSIX_SPAWN_SETPGROUP);
  }
  int run(pid_t& pid, const std::vector<std::string>& argv) {
    std::vector<char*> words;
    words.reserve(argv.size() + 1);
    for (const std::string& word : argv)
      words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    return ::posix_spawn(&pid, argv.front().c_str(), &actions_, &attributes_,
                         words.data(), environ);
  }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

// A descriptor that lies where the child wants another one would be lost to
// the first dup2(): all are moved out of the way.
util::unique_fd out_of_the_way(int fd, int above) {
  return util::unique_fd(::fcntl(fd, F_DUPFD_CLOEXEC, above + 1));
}

}  // namespace

helper_process::~helper_process() {
  forget_all();
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  while (::waitpid(pid_, nullptr, 0) == -1 && errno == EINTR) {
  }
}

std::string helper_process::start(helper_setup setup) {
  // A child that reads no more is noticed by its end, not by ours.
  ::signal(SIGPIPE, SIG_IGN);
  setup_ = std::move(setup);
  descriptor_pairs child_fds;
  std::vector<util::unique_fd> theirs;  // closed here when the child has them
  for (helper_setup::reader& each : setup_.readers) {
    pipe_ends ends;
    if (!make_pipe(ends)) return "pipe: " + util::errno_text(errno);
    make_non_blocking(ends.read.get());
    child_fds.emplace_back(ends.write.get(), each.child_fd);
    theirs.push_back(std::move(ends.write));
    incoming_.push_back({std::move(ends.read), each.on_line, ""});
  }
  if (setup_.input_fd >= 0) {
    pipe_ends ends;
    if (!make_pipe(ends)) return "pipe: " + util::errno_text(errno);
    make_non_blocking(ends.write.get());
    child_fds.emplace_back(ends.read.get(), setup_.input_fd);
    theirs.push_back(std::move(ends.read));
    input_ = std::move(ends.write);
  }
  std::string problem = spawn(setup_.argv, child_fds);
  if (!problem.empty()) return problem;
  watch_all();
  return "";
}

std::string helper_process::spawn(const std::vector<std::string>& argv,
                                  const descriptor_pairs& child_fds) {
  int highest = STDERR_FILENO;
  for (const auto& [ours, theirs] : child_fds)
    highest = std::max(highest, theirs);
  spawn_plan plan;
  plan.set_attributes();
  plan.give_nothing(STDIN_FILENO, O_RDONLY);
  plan.give_nothing(STDOUT_FILENO, O_WRONLY);
  std::vector<util::unique_fd> moved;
  for (const auto& [ours, theirs] : child_fds) {
    moved.push_back(out_of_the_way(ours, highest));
    if (!moved.back()) return "fcntl: " + util::errno_text(errno);
    plan.give(moved.back().get(), theirs);
  }
  pid_t pid = 0;
  const int code = plan.run(pid, argv);
  if (code != 0)
    return "cannot start " + argv.front() + " " + util::errno_text(code);
  pid_ = pid;
  pid_fd_.reset(open_pidfd(pid));
  return pid_fd_ ? "" : "pidfd_open: " + util::errno_text(errno);
}

void helper_process::watch_all() {
  for (incoming& each : incoming_)
    loop_.watch(each.fd.get(), POLLIN, [this, &each](short) {
      if (read_some(each)) return;
      loop_.forget(each.fd.get());
      each.fd.reset();
    });
  loop_.watch(pid_fd_.get(), POLLIN, [this](short) { finish(); });
}

bool helper_process::read_some(incoming& from) {
  std::array<char, read_chunk> chunk;
  const ssize_t count = ::read(from.fd.get(), chunk.data(), chunk.size());
  if (count > 0) {
    take(from, std::string_view(chunk.data(), static_cast<std::size_t>(count)));
    return true;
  }
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return true;
  if (!from.part.empty()) from.on_line(from.part);
  from.part.clear();
  return false;
}

void helper_process::take(incoming& from, std::string_view bytes) {
  for (std::size_t end = bytes.find('\n'); end != bytes.npos;
       end = bytes.find('\n')) {
    if (from.part.empty()) {
      from.on_line(bytes.substr(0, end));
    } else {
      from.part.append(bytes.substr(0, end));
      from.on_line(std::exchange(from.part, {}));
    }
    bytes.remove_prefix(end + 1);
  }
  from.part.append(bytes);
  if (from.part.size() > longest_line)
    from.on_line(std::exchange(from.part, {}));
}

void helper_process::send(std::string_view text) {
  if (!input_ || input_ended_) return;
  unsent_ += text;
  flush();
}

void helper_process::end_input() {
  input_ended_ = true;
  if (input_) flush();
}

void helper_process::flush() {
  while (!unsent_.empty()) {
    const ssize_t count = ::write(input_.get(), unsent_.data(), unsent_.size());
    if (count > 0) {
      unsent_.erase(0, static_cast<std::size_t>(count));
      continue;
    }
    if (errno == EINTR) continue;
    if (errno == EAGAIN) {
      loop_.watch(input_.get(), POLLOUT, [this](short) { flush(); });
      return;
    }
    unsent_.clear();
    input_ended_ = true;
  }
  loop_.forget(input_.get());
  if (input_ended_) input_.reset();
}

// What the child wrote before its end is in the pipes. Whoever else holds them
// open is not waited for.
void helper_process::finish() {
  int status = 0;
  const pid_t ended = ::waitpid(pid_, &status, WNOHANG);
  if (ended == 0) return;
  pid_ = 0;
  loop_.forget(pid_fd_.get());
  for (incoming& each : incoming_) {
    while (each.fd) {
      pollfd state = {each.fd.get(), POLLIN, 0};
      if (::poll(&state, 1, 0) <= 0 || !read_some(each)) break;
    }
    if (!each.part.empty()) each.on_line(std::exchange(each.part, {}));
  }
  forget_all();
  if (setup_.on_end) setup_.on_end(status);
}

void helper_process::forget_all() {
  for (incoming& each : incoming_) {
    if (each.fd) loop_.forget(each.fd.get());
    each.fd.reset();
  }
  if (input_) loop_.forget(input_.get());
  input_.reset();
  if (pid_fd_) loop_.forget(pid_fd_.get());
  pid_fd_.reset();
}

void helper_process::signal(int number) const {
  if (pid_ > 0) ::kill(pid_, number);
}

void helper_process::let_go() {
  if (!unsent_.empty() && input_) {
    // The last words fit into the pipe, or the child is stuck anyway.
    [[maybe_unused]] const ssize_t written =
        ::write(input_.get(), unsent_.data(), unsent_.size());
  }
  forget_all();
  pid_ = 0;
}

std::string end_text(int wait_status) {
  if (WIFEXITED(wait_status))
    return "exit status " + std::to_string(WEXITSTATUS(wait_status));
  const int number = WTERMSIG(wait_status);
  const char* const name = ::strsignal(number);
  return "signal " + std::to_string(number) +
         (name == nullptr ? "" : std::string(" (") + name + ")");
}

}  // namespace zelk::collect
