#include "src/collect/src/termination.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/util/cmd.h"
#include "src/common/util/proc_scan.h"
#include "src/common/util/process_tree.h"
#include "src/common/util/test_processes.h"
#include "src/common/util/unique_fd.h"

namespace zelk_run_provider {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using zelk::util::cmd;
using zelk::util::unique_fd;
using zelk::util::testing::process_mark;
using zelk::util::testing::scratch_folder;
using zelk::util::testing::wait_until;
using lines = std::vector<std::string>;

constexpr char the_message[] =
    "\nzelk_run_provider: caught signal. Cleaning up.\n";

// A process of its own that stands for the program: it leads a process group,
// or joins one, and runs `body` with its standard error caught.
class worker {
 public:
  explicit worker(const std::function<void()>& body, pid_t group = 0) {
    std::array<int, 2> fds{};
    EXPECT_EQ(::pipe2(fds.data(), O_CLOEXEC), 0);
    errors_.reset(fds[0]);
    const unique_fd write_end(fds[1]);
    pid_ = ::fork();
    if (pid_ == 0) {
      ::setpgid(0, group);
      ::dup2(fds[1], STDERR_FILENO);
      body();
      ::_exit(99);
    }
    ::setpgid(pid_, group);
  }

  pid_t pid() const { return pid_; }
  void signal(int number) const { ::kill(pid_, number); }
  void stop_reading() { errors_.reset(); }

  // Returns the exit status; 1000 + n when signal n ended it; -1 when it has
  // not ended after 15 seconds.
  int wait() const {
    int status = 0;
    const auto ended = [&] {
      return ::waitpid(pid_, &status, WNOHANG) == pid_;
    };
    if (!wait_until(ended, seconds(15))) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  }

  std::string standard_error() const {
    std::string text;
    std::array<char, 4096> block{};
    ssize_t got = 0;
    while ((got = ::read(errors_.get(), block.data(), block.size())) > 0) {
      text.append(block.data(), static_cast<std::size_t>(got));
    }
    return text;
  }

 private:
  pid_t pid_ = -1;
  unique_fd errors_;
};

double seconds_since(std::chrono::steady_clock::time_point start) {
  const auto took = std::chrono::steady_clock::now() - start;
  return std::chrono::duration<double>(took).count();
}

class termination : public testing::Test {
 protected:
  void TearDown() override { expect_nothing_left(); }

  void expect_nothing_left() {
    // What a worker had left behind would have come to us.
    EXPECT_EQ(mark_.alive(), lines());
    zelk::util::reap_ended(0);
    EXPECT_TRUE(zelk::util::testing::has_no_child());
  }

  static void SetUpTestSuite() { ASSERT_EQ(zelk::util::become_subreaper(), 0); }

  // A worker that is about to run `line`, and has run `before` already.
  std::unique_ptr<worker> worker_running(const std::string& line,
                                         const std::string& before = ":",
                                         pid_t group = 0) {
    ::unlink(up().c_str());
    auto result = std::make_unique<worker>(
        [this, line, before] {
          install_termination_handler();
          cmd command(before + "; touch " + up() + "; " + line, 1000);
          command.popen3();
        },
        group);
    EXPECT_TRUE(wait_until([this] { return is_up(); }));
    return result;
  }

  std::string up() const { return scratch_.path() + "/up"; }
  bool is_up() const { return exists("up"); }
  bool exists(const std::string& name) const {
    return ::access((scratch_.path() + "/" + name).c_str(), F_OK) == 0;
  }

  scratch_folder scratch_;
  process_mark mark_;
};

TEST_F(termination, gives_the_number_of_the_signal_before_any_command) {
  for (const int number : {SIGINT, SIGTERM}) {
    SCOPED_TRACE(number);
    ::unlink(up().c_str());
    const worker idle([this] {
      install_termination_handler();
      ::mkdir(up().c_str(), 0700);
      ::pause();
    });
    ASSERT_TRUE(wait_until([this] { return is_up(); }));
    idle.signal(number);
    EXPECT_EQ(idle.wait(), number);
    EXPECT_EQ(idle.standard_error(), the_message);
    ::rmdir(up().c_str());
  }
}

TEST_F(termination, takes_every_process_of_a_provider_along) {
  const char* const cases[] = {
      "sleep 1000",
      "yes & yes >&2",
      "setsid sleep 1000",
      "timeout 999 sleep 1000",
      "sleep 1000 & timeout 999 sleep 1000; sleep 1000",
      "(setsid sh -c '(setsid sleep 1000 &) ; sleep 1000' &) ; sleep 1000",
      "kill -STOP $$",
      "set -m; sleep 1000 & wait",
      "trap '' INT; setsid sleep 1000",
  };
  for (const char* const line : cases) {
    for (const int number : {SIGINT, SIGTERM}) {
      SCOPED_TRACE(std::string(line) + " " + std::to_string(number));
      const auto busy = worker_running(line);
      const auto start = std::chrono::steady_clock::now();
      busy->signal(number);
      EXPECT_EQ(busy->wait(), number);
      EXPECT_LT(seconds_since(start), 2);
      EXPECT_EQ(busy->standard_error(), the_message);
      expect_nothing_left();
    }
  }
}

TEST_F(termination, kills_after_a_grace_what_ignores_the_request) {
  const auto busy =
      worker_running("setsid sleep 1000; sleep 1000", "trap '' TERM INT");
  const auto start = std::chrono::steady_clock::now();
  busy->signal(SIGTERM);
  EXPECT_EQ(busy->wait(), SIGTERM);
  EXPECT_GE(seconds_since(start), 4.9);
  EXPECT_LT(seconds_since(start), 6.5);
}

TEST_F(termination, a_second_signal_ends_the_grace) {
  for (const int number : {SIGINT, SIGTERM}) {
    SCOPED_TRACE(number);
    const auto busy =
        worker_running("while :; do sleep 0.01; done",
                       "trap 'touch " + scratch_.path() + "/asked' TERM");
    busy->signal(SIGTERM);
    ASSERT_TRUE(wait_until([this] { return exists("asked"); }));
    const auto start = std::chrono::steady_clock::now();
    busy->signal(number);
    EXPECT_EQ(busy->wait(), SIGTERM);
    EXPECT_LT(seconds_since(start), 1);
    EXPECT_EQ(busy->standard_error(), the_message);
    ::unlink((scratch_.path() + "/asked").c_str());
  }
}

// Each sends SIGTERM to the group of both; neither may take that of the other
// for a second signal, nor send its own for ever.
TEST_F(termination, two_workers_share_a_process_group) {
  const auto first =
      worker_running("sleep 1000", "trap 'sleep 0.5; touch " + scratch_.path() +
                                       "/cleaned; exit' TERM");
  const auto second = worker_running("sleep 1000", ":", first->pid());
  first->signal(SIGINT);
  EXPECT_EQ(second->wait(), SIGTERM);
  EXPECT_EQ(first->wait(), SIGINT);
  EXPECT_TRUE(exists("cleaned"));
  EXPECT_EQ(first->standard_error(), the_message);
  EXPECT_EQ(second->standard_error(), the_message);
}

// The terminal sends SIGINT to all, and ours follows it as SIGTERM.
TEST_F(termination, a_signal_to_the_whole_group_counts_once) {
  const auto busy = worker_running("sleep 1000 & timeout 999 sleep 1000");
  ASSERT_EQ(::kill(-busy->pid(), SIGINT), 0);
  EXPECT_EQ(busy->wait(), SIGINT);
  EXPECT_EQ(busy->standard_error(), the_message);
}

TEST_F(termination, ends_members_of_the_group_that_are_no_children) {
  const auto busy = worker_running("sleep 1000");
  const worker other([] { ::pause(); }, busy->pid());
  busy->signal(SIGINT);
  EXPECT_EQ(busy->wait(), SIGINT);
  EXPECT_EQ(other.wait(), 1000 + SIGTERM);
}

// A shell may have started background jobs and then exec'ed the program.
TEST_F(termination, spares_children_that_were_there_before) {
  const worker idle([this] {
    if (::fork() == 0) {
      ::setsid();
      ::execlp("sleep", "sleep", "1000", nullptr);
    }
    install_termination_handler();
    cmd command("touch " + up() + "; setsid sleep 1000", 1000);
    command.popen3();
  });
  ASSERT_TRUE(wait_until([this] { return is_up(); }));
  idle.signal(SIGTERM);
  EXPECT_EQ(idle.wait(), SIGTERM);
  const lines left = mark_.alive();
  ASSERT_EQ(left.size(), 1U);
  ASSERT_EQ(::kill(std::stoi(left[0]), SIGKILL), 0);
  EXPECT_TRUE(wait_until([] {
    zelk::util::reap_ended(0);
    return zelk::util::testing::has_no_child();
  }));
}

// A library's clean-up may wait for messages that nobody takes any more.
TEST_F(termination, does_not_run_what_is_registered_for_the_exit) {
  const worker idle([this] {
    std::atexit([] { ::pause(); });
    install_termination_handler();
    ::mkdir(up().c_str(), 0700);
    ::pause();
  });
  ASSERT_TRUE(wait_until([this] { return is_up(); }));
  idle.signal(SIGTERM);
  EXPECT_EQ(idle.wait(), SIGTERM);
}

TEST_F(termination, works_again_after_a_library_took_the_signals) {
  const worker idle([this] {
    install_termination_handler();
    ::signal(SIGINT, [](int) {});
    ::signal(SIGTERM, SIG_IGN);
    install_termination_handler();
    ::mkdir(up().c_str(), 0700);
    ::pause();
  });
  ASSERT_TRUE(wait_until([this] { return is_up(); }));
  idle.signal(SIGINT);
  EXPECT_EQ(idle.wait(), SIGINT);
}

// A batch system or a shell's background job may leave them like this.
TEST_F(termination, works_when_the_signals_were_blocked_and_ignored) {
  const worker idle([this] {
    ::signal(SIGINT, SIG_IGN);
    sigset_t all;
    ::sigfillset(&all);
    ::sigprocmask(SIG_SETMASK, &all, nullptr);
    install_termination_handler();
    ::mkdir(up().c_str(), 0700);
    ::pause();
  });
  ASSERT_TRUE(wait_until([this] { return is_up(); }));
  idle.signal(SIGINT);
  EXPECT_EQ(idle.wait(), SIGINT);
}

TEST_F(termination, survives_the_loss_of_its_terminal) {
  const auto busy = worker_running("sleep 0.2; touch " + scratch_.path() +
                                   "/done; sleep 1000");
  busy->signal(SIGHUP);
  EXPECT_TRUE(wait_until([this] { return exists("done"); }));
  busy->signal(SIGTERM);
  EXPECT_EQ(busy->wait(), SIGTERM);
}

TEST_F(termination, does_not_depend_on_a_reader_of_the_message) {
  auto unread = worker_running("setsid sleep 1000");
  unread->stop_reading();
  unread->signal(SIGTERM);
  EXPECT_EQ(unread->wait(), SIGTERM);
  expect_nothing_left();

  ::unlink(up().c_str());
  const worker stuck([this] {
    ::fcntl(STDERR_FILENO, F_SETFL, O_NONBLOCK);
    while (::write(STDERR_FILENO, "x", 1) == 1) {
    }
    ::fcntl(STDERR_FILENO, F_SETFL, 0);
    install_termination_handler();
    cmd command("touch " + up() + "; setsid sleep 1000", 1000);
    command.popen3();
  });
  ASSERT_TRUE(wait_until([this] { return is_up(); }));
  stuck.signal(SIGTERM);
  EXPECT_EQ(stuck.wait(), SIGTERM);
}

// Commands follow one another, each leaving something; the signal comes in the
// middle of starting, reading, ending, or between them.
TEST_F(termination, leaks_nothing_at_any_moment) {
  std::mt19937 random(1848);
  for (int i = 0; i < 100; ++i) {
    SCOPED_TRACE(i);
    const worker busy([this] {
      install_termination_handler();
      ::mkdir(up().c_str(), 0700);
      for (;;) {
        cmd command("(setsid sleep 1000 >&- 2>&- &) ; head -c 100000 /dev/zero",
                    1000);
        command.popen3();
      }
    });
    ASSERT_TRUE(wait_until([this] { return is_up(); }));
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 15000));
    busy.signal(SIGTERM);
    ASSERT_EQ(busy.wait(), SIGTERM);
    ASSERT_EQ(busy.standard_error(), the_message);
    expect_nothing_left();
    ::rmdir(up().c_str());
  }
}

}  // namespace
}  // namespace zelk_run_provider
