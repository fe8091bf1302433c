// Every figure is bounded by time, since nobody knows how slow the thing is
// that is measured: a phase ends when its share of the time is over or its file
// has its size. Data are random, so that no compression or deduplication on the
// way makes them less, and each page tells its place in the file, so that a
// page that comes back wrong or from elsewhere is seen.
#include "provider/src/disk_fs_rw/probe.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <new>
#include <vector>

#include "provider/src/common/clock_rate.h"
#include "provider/src/common/statistics.h"
#include "provider/src/disk_fs_rw/bounded.h"
#include "provider/src/disk_fs_rw/scratch.h"

namespace zelk::perf::disk {
namespace {

constexpr std::size_t block_size = 1 << 20;  // bytes of a sequential access
constexpr std::size_t page_size = 4096;      // what direct access is aligned to
// A cache takes in this much before it is told to write it down.
constexpr std::size_t blocks_per_sync = 32;

struct free_memory {
  void operator()(unsigned char* memory) const { std::free(memory); }
};
using block = std::unique_ptr<unsigned char[], free_memory>;

block make_block() {
  void* const memory = std::aligned_alloc(page_size, block_size);
  if (memory == nullptr) throw std::bad_alloc();
  return block(static_cast<unsigned char*>(memory));
}

struct session {
  const std::string& folder;
  const std::string& prefix;
  const limits& bounds;
  int output;
  open_file file{};
  block data = make_block();
  std::uint64_t mark = 0;  // of this run, in every page
  std::uint64_t blocks = 0;
};

__attribute__((format(printf, 3, 4))) void tell(int output,
                                                const std::string& prefix,
                                                const char* format, ...) {
  char text[512];
  std::va_list values;
  va_start(values, format);
  std::vsnprintf(text, sizeof text, format, values);
  va_end(values);
  const std::string line = prefix + "." + text + "\n";
  // The reader may be gone, and then nobody wants the line.
  if (::write(output, line.data(), line.size()) < 0) ::_exit(1);
}

bool goes_on(double end) {
  return now() < end && !end_was_asked();
}

// Tells why a phase gave no figure.
void tell_failure(const session& run, const char* phase, int code) {
  tell(run.output, run.prefix, "failed: %s: %s", phase, std::strerror(code));
}

void tell_delays(const session& run, const char* phase,
                 std::vector<double>& milliseconds) {
  tell(run.output, run.prefix, "%s.median: %.3f ms", phase,
       quantile(milliseconds, 0.5));
  tell(run.output, run.prefix, "%s.p99: %.3f ms", phase,
       quantile(milliseconds, 0.99));
  tell(run.output, run.prefix, "%s.most: %.3f ms", phase,
       quantile(milliseconds, 1));
}

void fill_random(session& run) {
  std::uint64_t state = static_cast<std::uint64_t>(now() * 1e9) ^
                        static_cast<std::uint64_t>(::getpid()) << 32;
  run.mark = state;
  for (std::size_t at = 0; at < block_size; at += sizeof state) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    const std::uint64_t value = state ^ state >> 29;
    std::memcpy(run.data.get() + at, &value, sizeof value);
  }
}

struct stamp {
  std::uint64_t mark, place;
};

void stamp_block(session& run, std::uint64_t number) {
  for (std::size_t page = 0; page < block_size; page += page_size) {
    const stamp own{run.mark, number * block_size + page};
    std::memcpy(run.data.get() + page, &own, sizeof own);
  }
}

std::size_t wrong_pages(const session& run, std::uint64_t number) {
  std::size_t wrong = 0;
  for (std::size_t page = 0; page < block_size; page += page_size) {
    stamp found{};
    std::memcpy(&found, run.data.get() + page, sizeof found);
    wrong +=
        found.mark != run.mark || found.place != number * block_size + page;
  }
  return wrong;
}

// The whole block, or an errno.
template <typename Call>
int whole_block(Call call) {
  for (std::size_t done = 0; done < block_size;) {
    const ssize_t count = call(done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    if (count == 0) return EIO;
    done += static_cast<std::size_t>(count);
  }
  return 0;
}

int write_block(session& run, std::uint64_t number) {
  stamp_block(run, number);
  const int code = whole_block([&](std::size_t done) {
    return ::pwrite(run.file.descriptor, run.data.get() + done,
                    block_size - done,
                    static_cast<off_t>(number * block_size + done));
  });
  const bool sync =
      !run.file.direct && number % blocks_per_sync == blocks_per_sync - 1;
  if (code == 0 && sync && ::fdatasync(run.file.descriptor) != 0) return errno;
  return code;
}

int read_block(session& run, std::uint64_t number) {
  return whole_block([&](std::size_t done) {
    return ::pread(run.file.descriptor, run.data.get() + done,
                   block_size - done,
                   static_cast<off_t>(number * block_size + done));
  });
}

void tell_rate(const session& run, const char* phase, std::uint64_t blocks,
               double seconds) {
  const double bytes = static_cast<double>(blocks * block_size);
  tell(run.output, run.prefix, "%s: %.1f MB/s", phase, bytes / seconds / 1e6);
}

// False when there is nothing to read.
bool measure_writing(session& run, double seconds) {
  std::vector<double> delays;
  const double start = now();
  int code = 0;
  while (run.blocks * block_size < run.bounds.bytes &&
         goes_on(start + seconds)) {
    const double begin = now();
    code = write_block(run, run.blocks);
    if (code != 0) break;
    delays.push_back((now() - begin) * 1e3);
    ++run.blocks;
  }
  if (code == 0 && ::fsync(run.file.descriptor) != 0) code = errno;
  if (code != 0) tell_failure(run, "write", code);
  if (code != 0 || run.blocks == 0) return run.blocks > 0;
  tell_rate(run, "write", run.blocks, now() - start);
  tell(run.output, run.prefix, "file: %llu MiB",
       static_cast<unsigned long long>(run.blocks));
  tell_delays(run, "write.block", delays);
  return true;
}

void measure_reading(session& run, double seconds) {
  // Without direct access: what the cache would answer is put out of it.
  if (!run.file.direct)
    ::posix_fadvise(run.file.descriptor, 0, 0, POSIX_FADV_DONTNEED);
  std::vector<double> delays;
  std::size_t wrong = 0;
  double waited = 0;
  std::uint64_t blocks = 0;
  for (const double end = now() + seconds; blocks < run.blocks && goes_on(end);
       ++blocks) {
    const double begin = now();
    const int code = read_block(run, blocks);
    if (code != 0) return tell_failure(run, "read", code);
    const double took = now() - begin;
    waited += took;
    delays.push_back(took * 1e3);
    wrong += wrong_pages(run, blocks);
  }
  if (blocks == 0) return;
  tell_rate(run, "read", blocks, waited);
  tell_delays(run, "read.block", delays);
  tell(run.output, run.prefix, "wrong: %zu", wrong);
}

// What a program waits for that must know that a page is safe.
void measure_syncing(session& run, double seconds) {
  std::vector<double> delays;
  const std::uint64_t pages = std::max<std::uint64_t>(run.blocks, 1) * 256;
  for (const double end = now() + seconds; goes_on(end);) {
    const double begin = now();
    const auto page = static_cast<off_t>(delays.size() % pages * page_size);
    if (::pwrite(run.file.descriptor, run.data.get(), page_size, page) !=
            static_cast<ssize_t>(page_size) ||
        ::fdatasync(run.file.descriptor) != 0)
      return tell_failure(run, "sync", errno);
    delays.push_back((now() - begin) * 1e3);
  }
  if (delays.empty()) return;
  tell(run.output, run.prefix, "sync: %.0f ops/s",
       static_cast<double>(delays.size()) / seconds);
  tell_delays(run, "sync", delays);
}

// Seconds of each kind of operation on a name, and how many of each.
struct name_times {
  double create = 0, look = 0, remove = 0;
  std::uint64_t count = 0;
};

int one_name(int folder, name_times& times) {
  const std::string name = std::to_string(times.count % 2);
  const double start = now();
  const int file = ::openat(folder, name.c_str(),
                            O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
  if (file < 0) return errno;
  ::close(file);
  const double created = now();
  struct stat about = {};
  const bool seen = ::fstatat(folder, name.c_str(), &about, 0) == 0;
  const int code = errno;
  const double looked = now();
  if (::unlinkat(folder, name.c_str(), 0) != 0) return errno;
  if (!seen) return code;
  times.create += created - start;
  times.look += looked - created;
  times.remove += now() - looked;
  ++times.count;
  return 0;
}

void measure_names(const session& run, double seconds) {
  const int folder = open_private_folder(run.folder);
  if (folder < 0) return tell_failure(run, "names", -folder);
  name_times times;
  int code = 0;
  for (const double end = now() + seconds; code == 0 && goes_on(end);)
    code = one_name(folder, times);
  close_private_folder(run.folder, folder);
  if (code != 0) return tell_failure(run, "names", code);
  if (times.count == 0) return;
  const auto count = static_cast<double>(times.count);
  tell(run.output, run.prefix, "create: %.0f ops/s", count / times.create);
  tell(run.output, run.prefix, "stat: %.0f ops/s", count / times.look);
  tell(run.output, run.prefix, "remove: %.0f ops/s", count / times.remove);
}

// The type of the file system as the mount table has it: the last mount whose
// point leads to the folder. Nothing is asked of the mount itself.
std::string type_in_mount_table(const std::string& folder) {
  std::ifstream table("/proc/self/mounts");
  std::string best_point, best_type, device, point, type;
  while (table >> device >> point >> type) {
    table.ignore(1 << 20, '\n');
    const bool leads =
        point == "/" || folder == point || folder.starts_with(point + "/");
    if (!leads || point.size() < best_point.size()) continue;
    best_point = point;
    best_type = type;
  }
  return best_type;
}

}  // namespace

int look_at(const std::string& folder, const std::string& prefix, int output) {
  char resolved[PATH_MAX];
  struct statfs about = {};
  if (::realpath(folder.c_str(), resolved) == nullptr ||
      ::statfs(folder.c_str(), &about) != 0 ||
      ::access(folder.c_str(), W_OK | X_OK) != 0) {
    tell(output, prefix, "state: %s", std::strerror(errno));
    return 1;
  }
  const auto unit = static_cast<unsigned long long>(about.f_bsize);
  tell(output, prefix, "state: ok");
  tell(output, prefix, "type: %s", type_in_mount_table(resolved).c_str());
  tell(output, prefix, "free: %llu MiB",
       static_cast<unsigned long long>(about.f_bavail) * unit >> 20);
  return 0;
}

int measure(const std::string& folder, const std::string& prefix,
            const limits& bounds, int output) {
  struct statfs about = {};
  if (::statfs(folder.c_str(), &about) != 0) return 1;
  // Nobody's disk is filled up to measure it.
  const std::uint64_t room = static_cast<std::uint64_t>(about.f_bavail) *
                             static_cast<std::uint64_t>(about.f_bsize) / 10;
  const limits bounded{bounds.seconds, std::min(bounds.bytes, room)};
  session run{folder, prefix, bounded, output};
  run.file = open_unnamed(folder);
  if (run.file.descriptor < 0) {
    tell_failure(run, "open", run.file.code);
    return 1;
  }
  fill_random(run);
  tell(output, prefix, "access: %s", run.file.direct ? "direct" : "cached");
  if (measure_writing(run, 0.4 * bounds.seconds))
    measure_reading(run, 0.25 * bounds.seconds);
  measure_syncing(run, 0.12 * bounds.seconds);
  ::close(run.file.descriptor);
  measure_names(run, 0.15 * bounds.seconds);
  return 0;
}

}  // namespace zelk::perf::disk
