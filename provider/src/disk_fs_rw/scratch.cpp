#include "provider/src/disk_fs_rw/scratch.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace zelk::perf::disk {
namespace {

// A file system without unnamed files gets one whose name is taken away at
// once. The kernel keeps it until the last descriptor is closed.
int open_and_unlink(const std::string& folder, int flags) {
  std::string path = folder + "/.zelk_disk_fs_rw.XXXXXX";
  const int descriptor = ::mkostemp(path.data(), flags | O_CLOEXEC);
  if (descriptor >= 0) ::unlink(path.c_str());
  return descriptor;
}

int open_with(const std::string& folder, int flags) {
  const int descriptor =
      ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC | flags, 0600);
  if (descriptor >= 0) return descriptor;
  const bool unknown =
      errno == EOPNOTSUPP || errno == EISDIR || errno == ENOENT;
  return unknown ? open_and_unlink(folder, flags) : descriptor;
}

int open_folder(const std::string& path) {
  return ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

bool is_ours(int descriptor) {
  struct stat about = {};
  return ::fstat(descriptor, &about) == 0 && about.st_uid == ::geteuid();
}

void empty_folder(int descriptor) {
  const int copy =
      ::openat(descriptor, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* const entries = copy >= 0 ? ::fdopendir(copy) : nullptr;
  if (entries == nullptr) {
    if (copy >= 0) ::close(copy);
    return;
  }
  while (const dirent* entry = ::readdir(entries)) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") ::unlinkat(descriptor, entry->d_name, 0);
  }
  ::closedir(entries);
}

}  // namespace

open_file open_unnamed(const std::string& folder) {
  open_file file;
  file.descriptor = open_with(folder, O_DIRECT);
  file.direct = file.descriptor >= 0;
  if (file.descriptor < 0 && errno == EINVAL)
    file.descriptor = open_with(folder, 0);
  if (file.descriptor < 0) file.code = errno;
  return file;
}

std::string private_name() {
  char host[256] = "";
  ::gethostname(host, sizeof host - 1);
  return std::string(".zelk_disk_fs_rw.") + host + "." +
         std::to_string(::geteuid());
}

int open_private_folder(const std::string& parent) {
  const std::string path = parent + "/" + private_name();
  if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return -errno;
  const int descriptor = open_folder(path);
  // Somebody else made something of that name: O_NOFOLLOW, O_DIRECTORY.
  if (descriptor < 0)
    return errno == ELOOP || errno == ENOTDIR ? -EPERM : -errno;
  if (!is_ours(descriptor)) {
    ::close(descriptor);
    return -EPERM;
  }
  // A file system without locks is used without one.
  if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    ::close(descriptor);
    return -EBUSY;
  }
  empty_folder(descriptor);
  return descriptor;
}

void close_private_folder(const std::string& parent, int descriptor) {
  empty_folder(descriptor);
  ::rmdir((parent + "/" + private_name()).c_str());
  ::close(descriptor);
}

void remove_private_folder(const std::string& parent) {
  const int descriptor = open_folder(parent + "/" + private_name());
  if (descriptor < 0) return;
  const bool free =
      ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
  if (free && is_ours(descriptor)) {
    close_private_folder(parent, descriptor);
  } else {
    ::close(descriptor);
  }
}

}  // namespace zelk::perf::disk
