// What a command's run gives: its bytes, its status, its surroundings.
// How runs end that do not end by themselves: cmd_ending_test.cpp.

#include "src/common/util/cmd.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/util/cmd_fixture.h"

namespace zelk::util {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::in_child;

class cmd_popen3 : public testing::cmd_fixture {};

TEST_F(cmd_popen3, gives_both_streams_and_the_status) {
  cmd command("echo out; echo err >&2; exit 3", 60);
  EXPECT_EQ(command.popen3(), 0);
  EXPECT_EQ(command.standard_output.view(), "out\n");
  EXPECT_EQ(command.standard_error.view(), "err\n");
  EXPECT_EQ(command.exit_status, 3);
  EXPECT_EQ(command.status, 3 << 8);
  EXPECT_FALSE(command.timed_out);
  EXPECT_EQ(command.left_over, 0);
  EXPECT_EQ(command.not_ended, 0);
  EXPECT_GT(command.duration, 0);
}

TEST_F(cmd_popen3, is_marked_not_run_before_it_runs) {
  const cmd command("true", 60);
  EXPECT_EQ(command.status, -2);
  EXPECT_EQ(command.exit_status, -2);
  EXPECT_EQ(command.duration, 0);
}

TEST_F(cmd_popen3, gives_the_status_as_shells_do) {
  const struct {
    const char* line;
    int exit_status;
  } cases[] = {
      {"exit 0", 0},
      {"exit 1", 1},
      {"exit 124", 124},
      {"exit 137", 137},
      {"exit 255", 255},
      {"kill -9 $$", 137},
      {"kill -SEGV $$", 139},
      {"kill -HUP $$", 129},
      {"sh -c 'kill -9 $$'; exit $?", 137},
      {"/no/such/command", 127},
      {"/etc/passwd", 126},
      {"", 0},
      {"-x; exit 5", 5},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.line);
    cmd command(one.line, 60);
    ASSERT_EQ(command.popen3(), 0);
    EXPECT_EQ(command.exit_status, one.exit_status);
    EXPECT_FALSE(command.timed_out);
  }
}

TEST_F(cmd_popen3, can_be_called_again) {
  cmd command("echo once >&2; cat /no/such/file; exit 7", 60);
  ASSERT_EQ(command.popen3(), 0);
  command.command = "echo twice";
  ASSERT_EQ(command.popen3(), 0);
  EXPECT_EQ(command.standard_output.view(), "twice\n");
  EXPECT_EQ(command.standard_error.view(), "");
  EXPECT_EQ(command.exit_status, 0);
}

TEST_F(cmd_popen3, takes_assignments_in_front_of_the_command) {
  cmd command(
      "ZELK_TIMEOUT=60 LABEL='it'\\''s' sh -c 'echo $LABEL $ZELK_TIMEOUT'", 60);
  ASSERT_EQ(command.popen3(), 0);
  EXPECT_EQ(command.standard_output.view(), "it's 60\n");
}

// An error of the system, not of the command: nothing was run.
TEST_F(cmd_popen3, fails_with_errno_when_it_cannot_start) {
  cmd longest("true " + std::string(131071 - 5, '#'), 60);
  EXPECT_EQ(longest.popen3(), 0);
  EXPECT_EQ(longest.exit_status, 0);

  cmd too_long("true " + std::string(131072 - 5, '#'), 60);
  errno = 0;
  EXPECT_NE(too_long.popen3(), 0);
  EXPECT_EQ(errno, E2BIG);
  EXPECT_EQ(too_long.exit_status, -2);

  cmd with_zero(std::string("true") + '\0' + " false", 60);
  errno = 0;
  EXPECT_NE(with_zero.popen3(), 0);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(cmd_popen3, leaks_nothing_when_descriptors_run_out) {
  in_child([] {
    rlimit bound{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &bound), 0);
    constexpr rlim_t used = 3;
    ::closefrom(used);
    for (rlim_t spare = 0; spare < 8; ++spare) {
      SCOPED_TRACE(spare);
      bound.rlim_cur = used + spare;
      ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &bound), 0);
      for (int i = 0; i < 100; ++i) {
        cmd command("true", 60);
        const int result = command.popen3();
        const int code = errno;
        ASSERT_TRUE(result == 0 ? spare >= 4 : code == EMFILE) << code;
      }
    }
    cmd command("echo works", 60);
    EXPECT_EQ(command.popen3(), 0);
    EXPECT_EQ(command.standard_output.view(), "works\n");
  });
}

TEST_F(cmd_popen3, says_so_when_no_process_can_be_had) {
  if (::geteuid() != 0)
    GTEST_SKIP() << "needs root, to become a user with none";
  in_child([] {
    const rlimit none{1, 1};
    ASSERT_EQ(::setrlimit(RLIMIT_NPROC, &none), 0);
    ASSERT_EQ(::setresuid(54321, 54321, 54321), 0);
    cmd command("true", 60);
    for (int i = 0; i < 100; ++i) {
      EXPECT_NE(command.popen3(), 0);
      EXPECT_EQ(errno, EAGAIN);
    }
  });
}

// ---- what the command finds around it ----

// Ignored and blocked signals would survive the exec.
TEST_F(cmd_popen3, resets_every_signal_of_the_child) {
  in_child([] {
    for (const int number : {SIGPIPE, SIGCHLD, SIGINT, SIGHUP, SIGUSR1}) {
      ::signal(number, SIG_IGN);
    }
    sigset_t all;
    ::sigfillset(&all);
    ::sigprocmask(SIG_SETMASK, &all, nullptr);
    cmd command("grep -E 'SigBlk|SigIgn' /proc/self/status; exit 3", 60);
    EXPECT_EQ(command.popen3(), 0);
    EXPECT_EQ(command.standard_output.view(),
              "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
    EXPECT_EQ(command.exit_status, 3);  // SIGCHLD ignored would lose it
    cmd pipe("yes | head -1", 60);
    EXPECT_EQ(pipe.popen3(), 0);
    EXPECT_EQ(pipe.standard_output.view(), "y\n");
    EXPECT_EQ(pipe.standard_error.view(), "");
    struct sigaction after {};
    ::sigaction(SIGCHLD, nullptr, &after);
    EXPECT_EQ(after.sa_handler, SIG_IGN);
  });
}

TEST_F(cmd_popen3, passes_only_the_standard_descriptors) {
  in_child([] {
    for (int i = 0; i < 500; ++i)
      ::open("/dev/null", O_RDONLY);
    cmd command("ls /proc/self/fd | tr '\\n' ' '", 60);
    EXPECT_EQ(command.popen3(), 0);
    EXPECT_EQ(command.standard_output.view(), "0 1 2 3 ");  // 3: ls's own
  });
}

TEST_F(cmd_popen3, gives_an_empty_standard_input) {
  in_child([] {
    std::array<int, 2> fds{};
    ASSERT_EQ(::pipe(fds.data()), 0);
    ASSERT_EQ(::write(fds[1], "mine", 4), 4);
    ::dup2(fds[0], STDIN_FILENO);
    cmd command("cat; echo $?; read x; echo $?", 60);
    EXPECT_EQ(command.popen3(), 0);
    EXPECT_EQ(command.standard_output.view(), "0\n1\n");
    std::array<char, 8> left{};
    EXPECT_EQ(::read(STDIN_FILENO, left.data(), left.size()), 4);
  });
}

// A program may be started with these closed, and the pipes then get their
// numbers.
TEST_F(cmd_popen3, works_without_standard_descriptors) {
  in_child([] {
    const int kept = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 10);
    for (int first = 0; first < 3; ++first) {
      for (int fd = first; fd < 3; ++fd)
        ::close(fd);
      cmd command("echo out; echo err >&2; readlink /proc/self/fd/0", 60);
      const int result = command.popen3();
      ::dup2(kept, 0);
      ::dup2(kept, 1);
      ::dup2(kept, 2);
      EXPECT_EQ(result, 0);
      EXPECT_EQ(command.standard_output.view(), "out\n/dev/null\n");
      EXPECT_EQ(command.standard_error.view(), "err\n");
    }
  });
}

// Sockets could not be opened again by name, files would be cut short.
TEST_F(cmd_popen3, lets_scripts_reopen_their_outputs) {
  cmd command(
      "echo a; echo b >/dev/stdout; echo c;"
      "echo d >&2; echo e >/dev/stderr; echo f >&2; test -p /dev/stdout",
      60);
  ASSERT_EQ(command.popen3(), 0);
  EXPECT_EQ(command.standard_output.view(), "a\nb\nc\n");
  EXPECT_EQ(command.standard_error.view(), "d\ne\nf\n");
  EXPECT_EQ(command.exit_status, 0);
}

TEST_F(cmd_popen3, keeps_the_command_in_our_process_group) {
  cmd command("cut -d' ' -f5,6 /proc/$$/stat", 60);
  ASSERT_EQ(command.popen3(), 0);
  EXPECT_EQ(
      command.standard_output.view(),
      std::to_string(::getpgrp()) + " " + std::to_string(::getsid(0)) + "\n");
}

// ---- the bytes ----

std::string random_bytes(std::size_t size) {
  std::mt19937 random(4711);
  std::string bytes(size, '\0');
  for (char& byte : bytes)
    byte = static_cast<char>(random());
  return bytes;
}

TEST_F(cmd_popen3, captures_every_byte_of_both_streams) {
  const std::string bytes =
      random_bytes(std::size_t{3} << 20) + std::string({0, 13, 10, 127});
  const testing::scratch_folder scratch;
  const std::string file = scratch.path() + "/bytes";
  std::ofstream(file, std::ios::binary) << bytes;
  cmd command("cat " + file + " & cat " + file + " >&2; wait", 60);
  ASSERT_EQ(command.popen3(), 0);
  EXPECT_TRUE(command.standard_output.view() == bytes);
  EXPECT_TRUE(command.standard_error.view() == bytes);
}

TEST_F(cmd_popen3, captures_any_size_exactly) {
  for (const int size : {0, 1, 4095, 4096, 4097, 65535, 65536, 65537, 131073,
                         1048576, 1048577, 5000000}) {
    SCOPED_TRACE(size);
    cmd command("head -c " + std::to_string(size) + " /dev/zero", 60);
    ASSERT_EQ(command.popen3(), 0);
    EXPECT_EQ(command.standard_output.size(), static_cast<std::size_t>(size));
    EXPECT_EQ(command.standard_error.size(), 0U);
  }
}

// Reading one stream to its end first would wait for ever.
TEST_F(cmd_popen3, reads_both_streams_at_once) {
  cmd command(
      "head -c 10485760 /dev/zero >&2; head -c 10485760 /dev/zero;"
      "for i in 1 2 3; do head -c 1048576 /dev/zero >&2;"
      "head -c 1048576 /dev/zero; done",
      60);
  ASSERT_EQ(command.popen3(), 0);
  EXPECT_EQ(command.standard_output.size(), std::size_t{13} << 20);
  EXPECT_EQ(command.standard_error.size(), std::size_t{13} << 20);
}

// The shell's end is often seen before its last bytes have been read.
TEST_F(cmd_popen3, is_complete_however_quickly_the_shell_ends) {
  for (int i = 0; i < 300; ++i) {
    cmd command("exec head -c 60000 /dev/zero", 60);
    ASSERT_EQ(command.popen3(), 0);
    ASSERT_EQ(command.standard_output.size(), 60000U);
  }
}

void ignore_alarm(int /*signal*/) {}

// poll(2) and read(2) are cut short by every signal with a handler.
TEST_F(cmd_popen3, does_not_mind_signals) {
  in_child([] {
    struct sigaction action {};
    action.sa_handler = ignore_alarm;
    ::sigaction(SIGALRM, &action, nullptr);
    ::sigaction(SIGCHLD, &action, nullptr);
    const itimerval every_ms{{0, 1000}, {0, 1000}};
    ::setitimer(ITIMER_REAL, &every_ms, nullptr);
    cmd command("head -c 30000000 /dev/zero; sleep 0.2; exit 4", 60);
    EXPECT_EQ(command.popen3(), 0);
    EXPECT_EQ(command.standard_output.size(), 30000000U);
    EXPECT_EQ(command.exit_status, 4);
    cmd late("sleep 100", 1);
    EXPECT_EQ(late.popen3(), 0);
    EXPECT_EQ(late.exit_status, 124);
    EXPECT_GE(late.duration, 1);
    EXPECT_LT(late.duration, 1.5);
  });
}

#if !defined(ZELK_ADDRESS_SANITIZER)  // needs address space without bounds

// A part of the output could pass for the whole.
TEST_F(cmd_popen3, fails_whole_when_memory_runs_out) {
  in_child([] {
    const rlim_t mib = 1 << 20;
    const rlimit bound{256 * mib, 256 * mib};
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &bound), 0);
    cmd command("setsid sleep 100 & yes & yes >&2", 60);
    errno = 0;
    EXPECT_NE(command.popen3(), 0);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(command.standard_output.size(), 0U);
    EXPECT_EQ(command.exit_status, -2);
    EXPECT_TRUE(testing::has_no_child());
    cmd after("echo fine", 60);
    EXPECT_EQ(after.popen3(), 0);
    EXPECT_EQ(after.standard_output.view(), "fine\n");
  });
}

#endif

// The rest of a user's pipes are small once the budget is used up.
TEST_F(cmd_popen3, works_with_the_smallest_pipes) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root, to become another user";
  in_child([] {
    ASSERT_EQ(::setresuid(54322, 54322, 54322), 0);
    for (int i = 0; i < 80; ++i) {
      std::array<int, 2> fds{};
      ASSERT_EQ(::pipe2(fds.data(), O_CLOEXEC), 0);
      ::fcntl(fds[0], F_SETPIPE_SZ, 1 << 20);
    }
    cmd command("head -c 3000000 /dev/zero >&2; head -c 3000000 /dev/zero", 60);
    EXPECT_EQ(command.popen3(), 0);
    EXPECT_EQ(command.standard_output.size(), 3000000U);
    EXPECT_EQ(command.standard_error.size(), 3000000U);
  });
}

// ---- the duration ----

TEST_F(cmd_popen3, measures_until_the_shell_ends) {
  cmd command("sleep 0.25", 60);
  ASSERT_EQ(command.popen3(), 0);
  EXPECT_GE(command.duration, 0.25);
  EXPECT_LT(command.duration, 1);
}

TEST_F(cmd_popen3, takes_an_absurd_time_out_as_never) {
  cmd command("echo ran", std::numeric_limits<std::int64_t>::max());
  ASSERT_EQ(command.popen3(), 0);
  EXPECT_EQ(command.exit_status, 0);
  EXPECT_EQ(command.standard_output.view(), "ran\n");
}

}  // namespace
}  // namespace zelk::util
