#include "src/collect/src/db/new_file.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "src/collect/src/reading/failure.h"
#include "src/common/str/str.h"
#include "src/common/util/errno_text.h"

namespace zelk::db {

namespace {

std::string complaint(const std::string& path, int code) {
  return "Unable to write '" + path + "' " + util::errno_text(code);
}

// Gives `from` the name `to`, which must be free. Not every file system has the
// call that does it in one step.
int move_to_free_name(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(),
                  RENAME_NOREPLACE) == 0)
    return 0;
  if (errno != EINVAL && errno != ENOSYS) return -1;
  if (::link(from.c_str(), to.c_str()) == -1) return -1;
  return ::unlink(from.c_str());
}

void sync_folder_of(const std::string& path) {
  const util::unique_fd folder(
      ::open(str::dirname(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // The file is whole whether its name is on disk yet or not.
  if (folder) ::fsync(folder.get());
}

// What a signal is to remove; nullptr: nothing.
const char* volatile unfinished = nullptr;

constexpr std::array<int, 3> interruptions = {SIGINT, SIGTERM, SIGHUP};

sigset_t all_interruptions() {
  sigset_t set;
  ::sigemptyset(&set);
  for (const int signal : interruptions)
    ::sigaddset(&set, signal);
  return set;
}

// Both calls may be made in a signal handler. The handler was reset when it was
// entered, so the signal ends the process once this returns.
extern "C" void remove_unfinished(int signal) {
  if (unfinished != nullptr) ::unlink(unfinished);
  ::raise(signal);
}

}  // namespace

new_file::new_file(std::string path, bool replace)
    : path_(std::move(path)), temporary_(path_ + ".XXXXXX"), replace_(replace) {
  struct stat found = {};
  const bool there = ::lstat(path_.c_str(), &found) == 0;
  if (there && !S_ISREG(found.st_mode))
    throw reading::refusal("'" + path_ + "' is there, and is not a file");
  if (there && !replace_)
    throw reading::refusal("'" + path_ + "' is there; --force replaces it");
  make();
}

// No signal comes between the making of the file and its being known.
void new_file::make() {
  const sigset_t set = all_interruptions();
  sigset_t mask;
  ::sigprocmask(SIG_BLOCK, &set, &mask);
  fd_.reset(::mkostemp(temporary_.data(), O_CLOEXEC));
  const int code = errno;
  if (fd_) {
    unfinished = temporary_.c_str();
    struct sigaction action = {};
    action.sa_handler = remove_unfinished;
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
  if (!fd_) throw reading::refusal(complaint(path_, code));
}

new_file::~new_file() {
  unfinished = nullptr;
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
  for (std::size_t i = 0; i < interruptions.size(); ++i)
    ::sigaction(interruptions[i], &before_[i], nullptr);
}

void new_file::keep() {
  // close(2) may be the first to tell that a network file system has failed.
  const int synced = ::fsync(fd_.get());
  const int sync_code = errno;
  if (synced == -1) throw reading::failure(complaint(path_, sync_code));
  if (::close(fd_.release()) == -1)
    throw reading::failure(complaint(path_, errno));
  const int moved = replace_ ? ::rename(temporary_.c_str(), path_.c_str())
                             : move_to_free_name(temporary_, path_);
  if (moved == -1) throw reading::failure(complaint(path_, errno));
  temporary_.clear();
  sync_folder_of(path_);
}

}  // namespace zelk::db
