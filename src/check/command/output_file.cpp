#include "src/check/command/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <utility>

#include "src/collect/src/reading/failure.h"
#include "src/common/str/str.h"
#include "src/common/util/errno_text.h"
#include "src/common/util/unique_fd.h"

namespace zelk::check {

namespace {

// What a signal is to remove; nullptr: nothing.
const char* volatile unfinished = nullptr;

constexpr std::array<int, 3> interruptions = {SIGINT, SIGTERM, SIGHUP};

sigset_t all_interruptions() {
  sigset_t set;
  ::sigemptyset(&set);
  for (const int signal : interruptions)
    ::sigaddset(&set, signal);
  ::sigaddset(&set, SIGALRM);
  return set;
}

// Both calls may be made in a signal handler. The handler was reset when it was
// entered, so the signal ends the process once this returns.
extern "C" void end_by_signal(int signal) {
  remove_unfinished_output();
  ::raise(signal);
}

// A file that is replaced keeps its mode. There is no other way to ask for that
// of new ones.
mode_t mode_of(const std::string& path) {
  struct stat known = {};
  if (::stat(path.c_str(), &known) == 0) return known.st_mode & 07777;
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return static_cast<mode_t>(0666) & ~mask;
}

std::string without_links(const std::string& path) {
  char resolved[PATH_MAX];
  return ::realpath(path.c_str(), resolved) == nullptr ? path : resolved;
}

bool is_other_than_file(const std::string& path) {
  struct stat found = {};
  return ::stat(path.c_str(), &found) == 0 && !S_ISREG(found.st_mode);
}

std::string beside(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::size_t name = slash == path.npos ? 0 : slash + 1;
  return path.substr(0, name) + "." + path.substr(name) + ".XXXXXX";
}

}  // namespace

void remove_unfinished_output() {
  if (unfinished != nullptr) ::unlink(unfinished);
}

output_file::output_file(std::string path)
    : path_(std::move(path)), target_(without_links(path_)) {
  if (is_other_than_file(target_)) {
    errno = 0;
    stream_.open(target_, std::ios::binary);
    if (!stream_) refuse(errno);
    return;
  }
  temporary_ = beside(target_);
  try {
    make();
  } catch (...) {
    abandon();
    throw;
  }
}

void output_file::refuse(int code) const {
  throw reading::refusal("unable to write '" + path_ + "' " +
                         util::errno_text(code));
}

// No signal comes between the making of the file and its being known.
void output_file::make() {
  const sigset_t set = all_interruptions();
  sigset_t mask;
  ::sigprocmask(SIG_BLOCK, &set, &mask);
  const util::unique_fd made(::mkostemp(temporary_.data(), O_CLOEXEC));
  const int code = errno;
  if (made) {
    unfinished = temporary_.c_str();
    struct sigaction action = {};
    action.sa_handler = end_by_signal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (std::size_t i = 0; i < interruptions.size(); ++i) {
      ::sigaction(interruptions[i], nullptr, &before_[i]);
      // nohup(1) and shells in the background ask for deafness.
      if (before_[i].sa_handler != SIG_IGN)
        ::sigaction(interruptions[i], &action, nullptr);
    }
  } else {
    temporary_.clear();
  }
  ::sigprocmask(SIG_SETMASK, &mask, nullptr);
  if (!made) refuse(code);
  if (::fchmod(made.get(), mode_of(target_)) == -1) refuse(errno);
  errno = 0;
  stream_.open(temporary_, std::ios::binary);
  if (!stream_) refuse(errno);
}

output_file::~output_file() {
  abandon();
}

void output_file::abandon() {
  if (temporary_.empty()) return;
  unfinished = nullptr;
  ::unlink(temporary_.c_str());
  for (std::size_t i = 0; i < interruptions.size(); ++i)
    ::sigaction(interruptions[i], &before_[i], nullptr);
}

void output_file::sync() const {
  const util::unique_fd file(::open(temporary_.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file || ::fsync(file.get()) == -1) refuse(errno);
}

void output_file::keep() {
  errno = 0;
  stream_.close();
  if (stream_.fail()) refuse(errno == 0 ? EIO : errno);
  if (temporary_.empty()) return;
  sync();
  if (::rename(temporary_.c_str(), target_.c_str()) == -1) refuse(errno);
  unfinished = nullptr;
  const util::unique_fd folder(::open(str::dirname(target_).c_str(),
                                      O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // The file is whole whether its name is on disk yet or not.
  if (folder) ::fsync(folder.get());
}

}  // namespace zelk::check
