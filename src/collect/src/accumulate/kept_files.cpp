// Moving is renaming where the two directories share a file system. Where they
// do not, the file is copied and the copy synchronised before the original
// goes.

#include "src/collect/src/accumulate/kept_files.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <utility>

#include "src/collect/src/provider/output_file.h"
#include "src/common/log/error_log.h"
#include "src/common/str/str.h"
#include "src/common/util/errno_text.h"
#include "src/common/util/unique_fd.h"

namespace zelk::accumulate {

namespace {

constexpr char source[] = "src/collect/src/accumulate/kept_files";

// A name is numbered up to here; whoever has as many of one name has a problem
// of another kind.
constexpr int most_numbers = 1000;

void log_problem(const std::string& what, int code) {
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
      << what << " " << util::errno_text(code);
}

// A part of a file name made of foreign text.
std::string name_part(std::string_view text) {
  std::string part(text.substr(0, 64));
  for (char& c : part) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                       (c >= '0' && c <= '9') || c == '-' || c == '.';
    if (!plain) c = '-';
  }
  return part;
}

// Named as its writer would have, so that a scan takes it for a result file.
std::string file_template(const std::string& directory,
                          const provider_result_header& header) {
  return directory + "/ZELK_" + str::upper(name_part(field_text(header.name))) +
         "_" + name_part(field_text(header.hostname)) + "_" +
         std::to_string(std::time(nullptr)) + "__XXXXXX";
}

bool copy_bytes(int from, int to) {
  constexpr std::size_t chunk = 1 << 20;  // bytes
  for (;;) {
    const ssize_t copied = ::sendfile(to, from, nullptr, chunk);
    if (copied == 0) return ::fsync(to) == 0;
    if (copied < 0 && errno != EINTR) return false;
  }
}

// Returns whether `path` is a new, whole and durable copy; errno tells.
bool copy_file(int from_fd, const std::string& name, const std::string& path) {
  const util::unique_fd from(
      ::openat(from_fd, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!from) return false;
  const util::unique_fd to(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!to) return false;
  if (copy_bytes(from.get(), to.get())) return true;
  const int code = errno;
  ::unlink(path.c_str());
  errno = code;
  return false;
}

// Returns 0 or errno's value; nothing is overwritten.
int move_to(int from_fd, const std::string& name, const std::string& path) {
  if (::renameat2(from_fd, name.c_str(), AT_FDCWD, path.c_str(),
                  RENAME_NOREPLACE) == 0)
    return 0;
  // A file system that cannot rename like that is treated as another one.
  if (errno != EXDEV && errno != EINVAL) return errno;
  if (!copy_file(from_fd, name, path)) return errno;
  return ::unlinkat(from_fd, name.c_str(), 0) == 0 ? 0 : errno;
}

}  // namespace

kept_files::kept_files(std::string directory)
    : directory_(std::move(directory)) {}

bool kept_files::make_directory() {
  if (made_) return true;
  if (::mkdir(directory_.c_str(), 0700) != 0 && errno != EEXIST) {
    const int code = errno;
    log_problem("Unable to create directory '" + directory_ + "'", code);
    return false;
  }
  made_ = true;
  return true;
}

std::string kept_files::move(int from_fd, const std::string& from,
                             const std::string& name,
                             const std::string& reason) {
  if (!make_directory()) return "";
  std::string path = directory_ + "/" + name;
  int code = move_to(from_fd, name, path);
  for (int i = 1; code == EEXIST && i < most_numbers; ++i) {
    path = directory_ + "/" + name + "." + std::to_string(i);
    code = move_to(from_fd, name, path);
  }
  if (code != 0) {
    log_problem(
        "Unable to move '" + from + "/" + name + "' to '" + directory_ + "'",
        code);
    return "";
  }
  write_reason(path, reason);
  return path;
}

std::string kept_files::write(const provider_result& record,
                              const std::string& reason) {
  if (!make_directory()) return "";
  std::string path = file_template(directory_, record.header);
  if (!write_provider_result_file(record, directory_.c_str(), path.data()))
    return "";
  if (!reason.empty()) write_reason(path, reason);
  return path;
}

// A help for people: the file itself is what must not get lost.
void kept_files::write_reason(const std::string& path,
                              const std::string& reason) {
  const std::string text = reason + "\n";
  const util::unique_fd fd(::open((path + ".reason").c_str(),
                                  O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC,
                                  0600));
  if (fd && ::write(fd.get(), text.data(), text.size()) ==
                static_cast<ssize_t>(text.size()))
    return;
  const int code = errno;
  log_problem("Unable to write '" + path + ".reason'", code);
}

}  // namespace zelk::accumulate
