// Test support: a part of a test that runs in a process of its own.

#pragma once

#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <string>

namespace zelk::datastore {

// Runs `body` in a forked child, which ends with what it returns. What the
// child says comes through say(); the parent reads it with heard() until the
// child has ended or closed its end.
//
// Fork in a process without threads only: make what has threads afterwards.
class child {
 public:
  template <typename Body>
  explicit child(const Body& body) {
    int ends[2] = {-1, -1};
    if (::pipe(ends) == -1) return;
    process_ = ::fork();
    if (process_ == 0) {
      ::close(ends[0]);
      ::_exit(run(body, ends[1]));
    }
    ::close(ends[1]);
    from_ = ends[0];
  }
  ~child() {
    end(9);
    ::close(from_);
  }
  child(const child&) = delete;
  child& operator=(const child&) = delete;

  static void say(int to, const std::string& text) {
    if (::write(to, text.data(), text.size()) == -1) ::_exit(99);
  }

  // The next bytes, at least one; "" when there will be none.
  std::string heard() const {
    char bytes[4096];
    const ssize_t count = ::read(from_, bytes, sizeof bytes);
    return count > 0 ? std::string(bytes, static_cast<std::size_t>(count)) : "";
  }

  // Waits for the end, after sending `signal` unless that is 0. Returns the
  // exit status, or minus the signal that ended it.
  int end(int signal = 0) {
    if (process_ <= 0) return status_;
    if (signal != 0) ::kill(process_, signal);
    int status = 0;
    ::waitpid(process_, &status, 0);
    process_ = 0;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return status_;
  }

 private:
  // An exception must not find its way into the parent's test.
  template <typename Body>
  static int run(const Body& body, int to) {
    try {
      return body(to);
    } catch (const std::exception& error) {
      say(to, error.what());
      return 98;
    }
  }

  pid_t process_ = 0;
  int from_ = -1;
  int status_ = -1;
};

}  // namespace zelk::datastore
