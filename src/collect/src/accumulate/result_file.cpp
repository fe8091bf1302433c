// Who holds the lock has the file.
//
// A writer makes the file empty, locks it, writes, unlocks. A collector takes
// the same lock and holds it until the file is removed, so that two collectors
// cannot both take it. After taking the lock the name is looked at again: the
// lock may be one on a file that another collector has just removed, or moved
// aside.
//
// The lock is taken on a descriptor that is open for writing, because NFS makes
// flock(2) a lock of fcntl(2), which wants that. A file of somebody else that
// may only be read is locked as well as can be.

#include "src/collect/src/accumulate/result_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "src/collect/src/provider/output_file.h"
#include "src/common/util/byte_buffer.h"
#include "src/common/util/errno_text.h"

namespace zelk::accumulate {

namespace {

constexpr std::size_t header_size = sizeof(provider_result_header);

std::string kind_of(const struct stat& what) {
  if (S_ISLNK(what.st_mode)) return "a symbolic link";
  if (S_ISDIR(what.st_mode)) return "a directory";
  if (S_ISFIFO(what.st_mode)) return "a FIFO";
  if (S_ISSOCK(what.st_mode)) return "a socket";
  if (!S_ISREG(what.st_mode)) return "a device";
  if (what.st_nlink > 1)
    return "a file with " + std::to_string(what.st_nlink) + " names";
  return "";
}

// How many bytes the header says there are, or 0 when it makes no sense.
std::uint64_t claimed_size(std::string_view content, std::size_t limit) {
  provider_result_header header;
  std::memcpy(&header, content.data(), header_size);
  if (!api_fault(header).empty()) return 0;
  std::uint64_t sum = header_size;
  for (const std::int64_t size :
       {header.stdout_size, header.stderr_size, header.nodes_csv_size}) {
    if (size < 0 || static_cast<std::uint64_t>(size) > limit) return 0;
    sum += static_cast<std::uint64_t>(size);
  }
  return sum <= limit ? sum : 0;
}

bool has_no_locks(int code) {
  return code == ENOLCK || code == ENOSYS || code == EOPNOTSUPP ||
         code == EINVAL || code == EBADF;
}

}  // namespace

bool is_result_name(std::string_view name) {
  return name.starts_with("ZELK_") && !name.ends_with(".reason");
}

std::time_t time_in_name(std::string_view name) {
  const std::size_t end = name.rfind("__");
  if (end == name.npos) return 0;
  const std::size_t begin = name.rfind('_', end - 1);
  if (begin == name.npos || end - begin > 12) return 0;
  std::time_t time = 0;
  for (const char digit : name.substr(begin + 1, end - begin - 1)) {
    if (digit < '0' || digit > '9') return 0;
    time = time * 10 + (digit - '0');
  }
  return time;
}

result_file::result_file(int directory, std::string name)
    : name_(std::move(name)) {
  if (look(directory) && open(directory) && lock(directory))
    state_ = state::ours;
}

result_file::state result_file::give_up(state why, const std::string& problem) {
  fd_.reset();
  problem_ = problem;
  return state_ = why;
}

// Opening a device or a FIFO may do things by itself, so it is not even opened.
bool result_file::look(int directory) {
  struct stat what = {};
  if (::fstatat(directory, name_.c_str(), &what, AT_SYMLINK_NOFOLLOW) != 0) {
    const int code = errno;
    code == ENOENT ? give_up(state::gone)
                   : give_up(state::strange, util::errno_text(code));
    return false;
  }
  const std::string kind = kind_of(what);
  if (!kind.empty()) give_up(state::strange, kind);
  return kind.empty();
}

bool result_file::open(int directory) {
  constexpr int flags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
  fd_.reset(::openat(directory, name_.c_str(), O_RDWR | flags));
  if (!fd_ && (errno == EACCES || errno == EROFS || errno == EPERM))
    fd_.reset(::openat(directory, name_.c_str(), O_RDONLY | flags));
  if (fd_) return true;
  const int code = errno;
  code == ENOENT ? give_up(state::gone)
                 : give_up(state::strange, util::errno_text(code));
  return false;
}

bool result_file::lock(int directory) {
  if (::flock(fd_.get(), LOCK_EX | LOCK_NB) != 0) {
    const int code = errno;
    if (code == EWOULDBLOCK || code == EINTR) {
      give_up(state::writing);
      return false;
    }
    if (!has_no_locks(code)) {
      give_up(state::strange, util::errno_text(code));
      return false;
    }
    locked_ = false;
  }
  struct stat what = {};
  if (::fstat(fd_.get(), &what) != 0) {
    give_up(state::strange, util::errno_text(errno));
    return false;
  }
  device_ = what.st_dev;
  inode_ = what.st_ino;
  size_ = static_cast<std::size_t>(what.st_size);
  changed_at_ = what.st_mtime;
  // Replaced, removed or given a second name since it was looked at.
  if (is_in(directory)) return true;
  give_up(state::gone);
  return false;
}

bool result_file::is_in(int directory) const {
  struct stat what = {};
  return ::fstatat(directory, name_.c_str(), &what, AT_SYMLINK_NOFOLLOW) == 0 &&
         what.st_dev == device_ && what.st_ino == inode_ &&
         S_ISREG(what.st_mode) && what.st_nlink == 1;
}

bool result_file::remove_from(int directory) const {
  if (!is_in(directory)) return true;
  return ::unlinkat(directory, name_.c_str(), 0) == 0 || errno == ENOENT;
}

result_file::content result_file::not_whole(content what,
                                            const std::string& problem) {
  problem_ = problem;
  return what;
}

result_file::content result_file::read(provider_result& record,
                                       std::size_t max_record) {
  if (size_ > max_record)
    return not_whole(content::too_big, std::to_string(size_) +
                                           " bytes where a record may have " +
                                           std::to_string(max_record));
  util::byte_buffer bytes;
  // One byte more than there should be shows that there is more.
  while (bytes.size() <= size_) {
    const std::size_t wanted = size_ + 1 - bytes.size();
    const ssize_t got = ::read(fd_.get(), bytes.free_tail(wanted), wanted);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return not_whole(content::failed, util::errno_text(errno));
    if (got == 0) break;
    bytes.grown_by(static_cast<std::size_t>(got));
  }
  const std::string fault = parse_result_file(bytes.view(), record);
  if (fault.empty()) return content::whole;
  if (bytes.size() < header_size) return not_whole(content::short_, fault);
  const std::uint64_t claimed = claimed_size(bytes.view(), max_record);
  if (claimed <= bytes.size()) return not_whole(content::bad, fault);
  return not_whole(content::short_,
                   "header says " + std::to_string(claimed - header_size) +
                       " bytes of output, file has " +
                       std::to_string(bytes.size() - header_size));
}

}  // namespace zelk::accumulate
