#include "src/common/util/test_processes.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <thread>

#include <gtest/gtest.h>

#include "src/common/util/proc_scan.h"

namespace zelk::util::testing {
namespace {

constexpr char mark_name[] = "ZELK_TEST_MARK";

std::string file_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::string new_mark() {
  static int count = 0;
  return std::to_string(::getpid()) + "." + std::to_string(++count);
}

}  // namespace

process_mark::process_mark() {
  const std::string value = new_mark();
  variable_ = std::string(mark_name) + "=" + value;
  ::setenv(mark_name, value.c_str(), 1);
}

process_mark::~process_mark() {
  ::unsetenv(mark_name);
  for (const pid_t pid : find())
    ::kill(pid, SIGKILL);
}

std::vector<pid_t> process_mark::find() const {
  static pid_list all;
  all.clear();
  append_all_processes(all);
  std::vector<pid_t> found;
  for (const pid_t pid : all) {
    const std::string folder = "/proc/" + std::to_string(pid);
    // A zombie has no environment left.
    const std::string text = '\0' + file_text(folder + "/environ");
    const std::string entry = '\0' + variable_ + '\0';
    if (text.find(entry) != std::string::npos) found.push_back(pid);
  }
  return found;
}

std::vector<std::string> process_mark::alive() const {
  std::vector<std::string> result;
  for (const pid_t pid : find()) {
    std::string line = file_text("/proc/" + std::to_string(pid) + "/cmdline");
    std::replace(line.begin(), line.end(), '\0', ' ');
    result.push_back(std::to_string(pid) + ": " + line);
  }
  return result;
}

scratch_folder::scratch_folder() {
  path_ =
      (std::filesystem::temp_directory_path() / "zelk_test_XXXXXX").string();
  if (::mkdtemp(path_.data()) == nullptr) std::abort();
}

scratch_folder::~scratch_folder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

int open_descriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<int>(std::distance(begin(entries), end(entries))) - 1;
}

bool has_no_child() {
  siginfo_t info{};
  const int options = WEXITED | WNOHANG | WNOWAIT;
  return ::waitid(P_ALL, 0, &info, options) != 0 && errno == ECHILD;
}

bool wait_until(const std::function<bool()>& condition,
                std::chrono::milliseconds longest) {
  const auto end = std::chrono::steady_clock::now() + longest;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

void in_child(const std::function<void()>& body) {
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    body();
    ::_exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0) << "the child failed; see above";
}

}  // namespace zelk::util::testing
