// posix_spawn() and not fork(): a fork copies the page tables, which takes 60
// times as long in a process that holds a gigabyte of captured output, and
// makes every page that it touches afterwards fault once more.
//
// The outputs are pipes. With sockets, "> /dev/stderr" in a script fails; with
// files, it truncates what was written before.

#include "src/common/util/shell.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "src/common/util/process_tree.h"

namespace zelk::util {
namespace {

struct pipe_ends {
  unique_fd read;
  unique_fd write;
};

// A program may be started with descriptor 0, 1 or 2 closed. A pipe must not
// land there: the redirections of the child would overwrite one another.
int move_above_standard(unique_fd& fd) {
  if (fd.get() > STDERR_FILENO) return 0;
  fd.reset(::fcntl(fd.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  return fd ? 0 : errno;
}

int make_pipe(pipe_ends& ends) {
  std::array<int, 2> fds{};
  if (::pipe2(fds.data(), O_CLOEXEC) != 0) return errno;
  ends.read.reset(fds[0]);
  ends.write.reset(fds[1]);
  if (const int code = move_above_standard(ends.read); code != 0) return code;
  if (const int code = move_above_standard(ends.write); code != 0) return code;
  return ::fcntl(ends.read.get(), F_SETFL, O_NONBLOCK) == 0 ? 0 : errno;
}

// What the child does between its birth and its exec. Each call returns 0 or
// an errno, as the functions of <spawn.h> do.
class spawn_plan {
 public:
  spawn_plan() {
    status_ = ::posix_spawn_file_actions_init(&actions_);
    if (status_ != 0) return;
    status_ = ::posix_spawnattr_init(&attributes_);
    if (status_ != 0) ::posix_spawn_file_actions_destroy(&actions_);
    made_ = status_ == 0;
  }
  spawn_plan(const spawn_plan&) = delete;
  spawn_plan& operator=(const spawn_plan&) = delete;
  ~spawn_plan() {
    if (!made_) return;
    ::posix_spawn_file_actions_destroy(&actions_);
    ::posix_spawnattr_destroy(&attributes_);
  }

  void set_descriptors(int standard_output, int standard_error);
  void reset_signals();
  int spawn_shell(const std::string& command_line, pid_t& pid);

 private:
  void note(int status) {
    if (status_ == 0) status_ = status;
  }

  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
  int status_ = 0;
  bool made_ = false;
};

void spawn_plan::set_descriptors(int standard_output, int standard_error) {
  if (status_ != 0) return;
  note(::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null",
                                          O_RDONLY, 0));
  note(::posix_spawn_file_actions_adddup2(&actions_, standard_output,
                                          STDOUT_FILENO));
  note(::posix_spawn_file_actions_adddup2(&actions_, standard_error,
                                          STDERR_FILENO));
  note(
      ::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));
}

// exec keeps ignored signals and the mask. With SIGPIPE ignored "yes | head -1"
// never ends, with SIGTERM blocked nothing does.
void spawn_plan::reset_signals() {
  if (status_ != 0) return;
  sigset_t none;
  sigset_t all;
  ::sigemptyset(&none);
  // sigfillset() leaves out two signals that the C library keeps for itself,
  // and a child that it spawns would find those ignored.
  std::memset(&all, 0xff, sizeof(all));
  // These have no disposition to set, and the attempt would fail.
  ::sigdelset(&all, SIGKILL);
  ::sigdelset(&all, SIGSTOP);
  note(::posix_spawnattr_setsigmask(&attributes_, &none));
  note(::posix_spawnattr_setsigdefault(&attributes_, &all));
  note(::posix_spawnattr_setflags(
      &attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
}

// The "--" is for lines that begin with a minus.
int spawn_plan::spawn_shell(const std::string& command_line, pid_t& pid) {
  if (status_ != 0) return status_;
  const std::array<const char*, 5> arguments = {"sh", "-c", "--",
                                                command_line.c_str(), nullptr};
  return ::posix_spawn(&pid, "/bin/sh", &actions_, &attributes_,
                       const_cast<char* const*>(arguments.data()), environ);
}

}  // namespace

int start_shell(const std::string& command_line, running_shell& shell) {
  pipe_ends output;
  pipe_ends error;
  if (const int code = make_pipe(output); code != 0) return code;
  if (const int code = make_pipe(error); code != 0) return code;
  spawn_plan plan;
  plan.set_descriptors(output.write.get(), error.write.get());
  plan.reset_signals();
  const int code = plan.spawn_shell(command_line, shell.pid);
  if (code != 0) return code;
  // While the child is not reaped its pid cannot be another's.
  shell.pidfd.reset(testing::open_pidfd(shell.pid));
  shell.standard_output = std::move(output.read);
  shell.standard_error = std::move(error.read);
  return 0;
}

}  // namespace zelk::util
