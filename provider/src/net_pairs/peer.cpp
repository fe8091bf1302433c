#include "provider/src/net_pairs/peer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "provider/src/net_pairs/bounded_socket.h"

namespace zelk::net_pairs {
namespace {

struct pipe_ends {
  util::unique_fd read;
  util::unique_fd write;
};

pipe_ends make_pipe() {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) throw system_failure("pipe", errno);
  return {util::unique_fd(fds[0]), util::unique_fd(fds[1])};
}

void never_wait(const util::unique_fd& fd) {
  ::fcntl(fd.get(), F_SETFL, ::fcntl(fd.get(), F_GETFL) | O_NONBLOCK);
}

class spawn_actions {
 public:
  spawn_actions() { ::posix_spawn_file_actions_init(&actions_); }
  spawn_actions(const spawn_actions&) = delete;
  spawn_actions& operator=(const spawn_actions&) = delete;
  ~spawn_actions() { ::posix_spawn_file_actions_destroy(&actions_); }

  void place(const util::unique_fd& fd, int as) {
    ::posix_spawn_file_actions_adddup2(&actions_, fd.get(), as);
  }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

pid_t spawn(const std::vector<std::string>& argv,
            const spawn_actions& actions) {
  std::vector<char*> words;
  words.reserve(argv.size() + 1);
  for (const std::string& word : argv)
    words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  pid_t pid = -1;
  const int code = ::posix_spawnp(&pid, words[0], actions.get(), nullptr,
                                  words.data(), environ);
  if (code != 0) throw system_failure(argv[0], code);
  return pid;
}

// All that is there now. Returns false at the end.
bool read_all(int fd, std::string& bytes) {
  std::array<char, 4096> part{};
  for (;;) {
    const ssize_t got = ::read(fd, part.data(), part.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno == EAGAIN;
    if (got == 0) return false;
    bytes.append(part.data(), static_cast<std::size_t>(got));
  }
}

// What a login prints may move the cursor.
std::string printable(std::string text) {
  for (char& c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte == 0x7f) c = ' ';
  }
  while (text.ends_with(' '))
    text.pop_back();
  return text;
}

std::string ending(int status) {
  if (WIFSIGNALED(status))
    return "ended by signal " + std::to_string(WTERMSIG(status));
  return "ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

peer::peer(const std::vector<std::string>& argv) {
  pipe_ends orders = make_pipe();
  pipe_ends answers = make_pipe();
  pipe_ends complaints = make_pipe();
  spawn_actions actions;
  actions.place(orders.read, STDIN_FILENO);
  actions.place(answers.write, STDOUT_FILENO);
  actions.place(complaints.write, STDERR_FILENO);
  pid_ = spawn(argv, actions);
  orders_ = std::move(orders.write);
  answers_ = std::move(answers.read);
  complaints_ = std::move(complaints.read);
  for (const util::unique_fd* fd : {&orders_, &answers_, &complaints_})
    never_wait(*fd);
}

peer::~peer() {
  reap(clock::now());
}

bool peer::say(std::string_view line) {
  const std::string text = std::string(line) + '\n';
  return ::write(orders_.get(), text.data(), text.size()) ==
         static_cast<ssize_t>(text.size());
}

std::vector<std::string> peer::read_answers(bool& ended) {
  std::string bytes;
  ended = !read_all(answers_.get(), bytes);
  return lines_.add(bytes);
}

void peer::read_complaints() {
  std::string bytes;
  if (!read_all(complaints_.get(), bytes)) {
    complaints_.reset();
    bytes += '\n';
  }
  for (std::string& line : complaint_lines_.add(bytes)) {
    line = printable(std::move(line));
    if (!line.empty()) complaint_ = std::move(line);
  }
}

std::string peer::last_words() {
  // Without orders a process that can end does so by itself. What it has to
  // complain about may come a little behind the end of its answers.
  orders_.reset();
  const clock::time_point end = clock::now() + milliseconds(500);
  while (complaints_ && clock::now() < end) {
    pollfd waiting{complaints_.get(), POLLIN, 0};
    if (::poll(&waiting, 1, poll_time(end)) > 0) read_complaints();
  }
  reap(end);
  return complaint_.empty() ? ending(status_) : complaint_;
}

void peer::reap(clock::time_point end) {
  if (pid_ < 0) return;
  pid_t reaped = ::waitpid(pid_, &status_, WNOHANG);
  while (reaped == 0 && clock::now() < end) {
    ::poll(nullptr, 0, 5);
    reaped = ::waitpid(pid_, &status_, WNOHANG);
  }
  if (reaped == 0) {
    ::kill(pid_, SIGKILL);
    while (::waitpid(pid_, &status_, 0) < 0 && errno == EINTR) {
    }
  }
  pid_ = -1;
}

}  // namespace zelk::net_pairs
