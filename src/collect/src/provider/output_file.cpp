// How a collector is kept from half a result.
//
// The file appears, empty, under its final name, so a collector can meet it at
// any moment of its making. The writer therefore locks it at once and holds the
// lock until the last byte is written; a collector that takes the same lock
// waits for that. When a byte cannot be written (a full disk, a quota), the
// file is removed: there is no marker for "incomplete" in its content.
//
// Two gaps remain that no lock closes. The file is unlocked for an instant
// between its making and the lock, and after the unlocking of one that is then
// removed; and on a shared directory without locks it is written without. A
// collector meets both by the sizes in the header, which parse_result_file()
// compares with the length. Writing under another name and renaming would close
// them too, but collectors look for the one name and know the lock.
//
// One write(2) takes at most 2,147,479,552 bytes on Linux, and less when the
// disk fills up, so a short write is continued until everything is written or
// the reason why not has a number.

#include "src/collect/src/provider/output_file.h"

#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "src/common/log/error_log.h"
#include "src/common/util/errno_text.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/provider/output_file";

constexpr std::size_t header_size = sizeof(provider_result_header);

// Logs `what`, `path` where there is one, and the words of errno. Takes nothing
// that would have to be built and could change errno.
void log_errno(int level, const char* what, const char* path = nullptr) {
  const int code = errno;
  log::ErrorLog record(source, "write_provider_result_file", __LINE__, level);
  record.stream() << what;
  if (path != nullptr) record.stream() << " '" << path << "'";
  record.stream() << " " << util::errno_text(code);
}

// Returns whether everything was written; errno tells why not.
bool write_all(int fd, const void* data, std::int64_t size) {
  const char* next = static_cast<const char*>(data);
  std::size_t left = static_cast<std::size_t>(size);
  while (left > 0) {
    const ssize_t written = ::write(fd, next, left);
    if (written < 0 && errno == EINTR) continue;
    if (written == 0) errno = EIO;  // never seen; it would be tried for ever
    if (written <= 0) return false;
    next += written;
    left -= static_cast<std::size_t>(written);
  }
  return true;
}

// Writes the four parts in the order of the message's frames. Returns null, or
// what went wrong, with errno.
const char* write_parts(int fd, const provider_result& record) {
  const provider_result_header& header = record.header;
  if (!write_all(fd, &header, header_size)) return "Error writing header";
  if (!write_all(fd, record.stdout.data(), header.stdout_size))
    return "Error writing stdout";
  if (!write_all(fd, record.stderr.data(), header.stderr_size))
    return "Error writing stderr";
  if (!write_all(fd, record.nodes_csv.data(), header.nodes_csv_size))
    return "Error writing nodes_csv";
  return nullptr;
}

// Without the lock a result is still worth more than none.
void lock(int fd, const char* path) {
  if (::flock(fd, LOCK_EX) != 0)
    log_errno(log::level_warning, "Unable to lock file", path);
}

void unlock(int fd, const char* path) {
  if (::flock(fd, LOCK_UN) != 0)
    log_errno(log::level_warning, "Unable to unlock file", path);
}

void drop(int fd, const char* path) {
  ::flock(fd, LOCK_UN);
  std::remove(path);
}

// A network file system may tell only now that the disk is full.
bool close_stream(std::FILE* stream, int fd, const char* path) {
  const bool closed = std::fclose(stream) == 0;
  if (!closed) {
    log_errno(log::level_error, "Error closing output file", path);
    std::remove(path);
  }
  // The stream has closed the descriptor already. The process has one thread
  // while it writes files, so nothing can have been given the same number in
  // between, and all that this does is fail.
  ::close(fd);
  return closed;
}

// Returns "", or what of the `left` bytes behind the header is wrong.
std::string size_fault(const provider_result_header& header, std::size_t left) {
  for (const std::int64_t size :
       {header.stdout_size, header.stderr_size, header.nodes_csv_size}) {
    if (size < 0) return "a block of " + std::to_string(size) + " bytes";
    if (static_cast<std::uint64_t>(size) > left)
      return "shorter than its header says";
    left -= static_cast<std::size_t>(size);
  }
  return left == 0 ? "" : "longer than its header says";
}

// Cuts the first `size` bytes off `rest`.
std::string_view taken(std::string_view& rest, std::int64_t size) {
  const std::string_view block = rest.substr(0, static_cast<std::size_t>(size));
  rest.remove_prefix(block.size());
  return block;
}

}  // namespace

bool write_provider_result_file(const provider_result& record,
                                const char* /*directory*/,
                                char* path_template) {
  if (!sizes_fit_blocks(record)) return false;
  // mkstemp(3) leaves its last try in the place of the Xs when it fails.
  const std::string untouched = path_template;
  const int fd = ::mkstemp(path_template);
  if (fd == -1) {
    log_errno(log::level_error, "Error creating output file",
              untouched.c_str());
    return false;
  }
  const char* path = path_template;
  lock(fd, path);

  std::FILE* stream = ::fdopen(fd, "w");
  if (stream == nullptr) {
    log_errno(log::level_error, "Error opening output stream");
    drop(fd, path);
    ::close(fd);
    return false;
  }
  if (const char* failure = write_parts(fd, record); failure != nullptr) {
    log_errno(log::level_error, failure);
    drop(fd, path);
    std::fclose(stream);
    return false;
  }
  unlock(fd, path);
  return close_stream(stream, fd, path);
}

std::string parse_result_file(std::string_view content,
                              provider_result& record) {
  if (content.size() < header_size)
    return std::to_string(content.size()) + " bytes are shorter than a header";
  provider_result_header header;
  std::memcpy(&header, content.data(), header_size);
  std::string fault = api_fault(header);
  if (fault.empty()) fault = size_fault(header, content.size() - header_size);
  if (!fault.empty()) return fault;

  // Everything that needs memory comes before the first change.
  std::string_view rest = content.substr(header_size);
  util::byte_buffer standard_output(taken(rest, header.stdout_size));
  util::byte_buffer standard_error(taken(rest, header.stderr_size));
  std::string nodes_csv(taken(rest, header.nodes_csv_size));
  record.header = header;
  record.stdout = std::move(standard_output);
  record.stderr = std::move(standard_error);
  record.nodes_csv = std::move(nodes_csv);
  return "";
}

}  // namespace zelk
