// The floor of every run: the least that starts a shell and waits for it.

#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace zelk::bench {

inline void require(bool condition, const char* what) {
  if (condition) return;
  std::perror(what);
  std::exit(2);
}

struct bare_child {
  pid_t pid = 0;
  std::array<int, 2> fds{};  // standard output, standard error
};

// The shell with `line`, and the read ends of its two outputs.
inline bare_child bare_spawn(const std::string& line) {
  std::array<int, 2> out{};
  std::array<int, 2> err{};
  require(::pipe2(out.data(), O_CLOEXEC) == 0, "pipe2");
  require(::pipe2(err.data(), O_CLOEXEC) == 0, "pipe2");
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  ::posix_spawn_file_actions_adddup2(&actions, err[1], 2);
  const std::array<const char*, 4> arguments = {"sh", "-c", line.c_str(),
                                                nullptr};
  bare_child child;
  require(
      ::posix_spawn(&child.pid, "/bin/sh", &actions, nullptr,
                    const_cast<char* const*>(arguments.data()), environ) == 0,
      "posix_spawn");
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(out[1]);
  ::close(err[1]);
  child.fds = {out[0], err[0]};
  return child;
}

// Starts "true", reads to the end of both outputs, waits.
inline void bare_true() {
  const bare_child child = bare_spawn("true");
  std::array<char, 4096> block{};
  for (const int fd : child.fds) {
    while (::read(fd, block.data(), block.size()) > 0) {
    }
    ::close(fd);
  }
  ::waitpid(child.pid, nullptr, 0);
}

}  // namespace zelk::bench
