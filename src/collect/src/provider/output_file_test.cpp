#include "src/collect/src/provider/output_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <limits>
#include <utility>

#include <gtest/gtest.h>

#include "src/collect/src/provider/failing_libc.h"
#include "src/collect/src/provider/test_support.h"
#include "src/common/log/captured_log.h"

namespace zelk {
namespace {

using testing::example_image;
using testing::example_record;
using testing::file_content;
using testing::libc_faults;
using testing::lines;
using testing::scratch_directory;

// Writes `record` below `scratch`; `path` is the template and then the name.
struct written {
  std::string path;
  bool done;

  explicit written(const scratch_directory& scratch,
                   const provider_result& record = example_record())
      : path(scratch.file("ZELK_MEMORY_node07_1489412345__XXXXXX")),
        done(write_provider_result_file(record, scratch.path().c_str(),
                                        path.data())) {}
};

int open_descriptors() {
  int count = 0;
  DIR* directory = ::opendir("/proc/self/fd");
  while (::readdir(directory) != nullptr)
    ++count;
  ::closedir(directory);
  return count;
}

// The largest file that this process may write, with the signal ignored as the
// worker does.
class file_size_limit {
 public:
  explicit file_size_limit(rlim_t bytes) {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    handler_ = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {bytes, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~file_size_limit() {
    ::setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  file_size_limit(const file_size_limit&) = delete;
  file_size_limit& operator=(const file_size_limit&) = delete;

 private:
  rlimit before_ = {};
  void (*handler_)(int) = nullptr;
};

TEST(write_provider_result_file, writes_the_four_parts_one_behind_the_other) {
  const scratch_directory scratch;
  const log::captured_log log;
  const written file(scratch);
  EXPECT_TRUE(file.done);
  EXPECT_EQ(file_content(file.path), example_image());
  EXPECT_EQ(log.lines(), lines{});
}

TEST(write_provider_result_file, gives_the_caller_the_name_made) {
  const scratch_directory scratch;
  const written file(scratch);
  ASSERT_EQ(scratch.names().size(), 1u);
  EXPECT_EQ(scratch.file(scratch.names()[0]), file.path);
  EXPECT_TRUE(
      scratch.names()[0].starts_with("ZELK_MEMORY_node07_1489412345__"));
  EXPECT_FALSE(scratch.names()[0].ends_with("XXXXXX"));
}

TEST(write_provider_result_file, makes_two_files_in_the_same_second) {
  const scratch_directory scratch;
  const written first(scratch);
  const written second(scratch);
  EXPECT_NE(first.path, second.path);
  EXPECT_EQ(scratch.names().size(), 2u);
}

TEST(write_provider_result_file, writes_736_bytes_of_an_empty_record) {
  const scratch_directory scratch;
  const written file(scratch, provider_result());
  EXPECT_TRUE(file.done);
  EXPECT_EQ(file_content(file.path), std::string(736, '\0'));
}

TEST(write_provider_result_file, lets_only_the_owner_read_it) {
  const scratch_directory scratch;
  const written file(scratch);
  struct stat status = {};
  ASSERT_EQ(::stat(file.path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST(write_provider_result_file, keeps_to_the_order_of_lock_and_close) {
  const scratch_directory scratch;
  libc_faults faults;
  const written file(scratch);
  EXPECT_EQ(faults.calls, (lines{"lock", "fdopen", "write", "write", "write",
                                 "write", "unlock", "fclose", "close"}));
}

bool can_be_locked(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const bool locked = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
  ::close(fd);
  return locked;
}

// A collector must wait for every byte.
TEST(write_provider_result_file, holds_the_lock_while_it_writes) {
  const scratch_directory scratch;
  libc_faults faults;
  int writes = 0;
  faults.on_write = [&] {
    ++writes;
    EXPECT_FALSE(can_be_locked(scratch.file(scratch.names()[0])));
  };
  const written file(scratch);
  EXPECT_EQ(writes, 4);
  EXPECT_TRUE(can_be_locked(file.path));
}

TEST(write_provider_result_file, leaves_no_descriptor_open) {
  const scratch_directory scratch;
  const int before = open_descriptors();
  for (int i = 0; i < 3; ++i)
    EXPECT_TRUE(written(scratch).done);
  EXPECT_EQ(open_descriptors(), before);
}

TEST(write_provider_result_file, names_the_template_when_it_makes_no_file) {
  std::string path = "/nowhere/ZELK_MEMORY_node07_1__XXXXXX";
  const log::captured_log log(log::level_error);
  EXPECT_FALSE(
      write_provider_result_file(example_record(), "/nowhere", path.data()));
  EXPECT_EQ(log.lines(),
            lines{"Error creating output file "
                  "'/nowhere/ZELK_MEMORY_node07_1__XXXXXX' (2): No such file "
                  "or directory"});
}

TEST(write_provider_result_file, refuses_a_template_without_places) {
  const scratch_directory scratch;
  std::string path = scratch.file("ZELK");
  const log::captured_log log(log::level_error);
  EXPECT_FALSE(write_provider_result_file(example_record(), "", path.data()));
  EXPECT_EQ(log.lines(), lines{"Error creating output file '" + path +
                               "' (22): Invalid argument"});
  EXPECT_EQ(scratch.names(), lines{});
}

// Not every network file system has locks.
TEST(write_provider_result_file, writes_without_a_lock_after_a_warning) {
  const scratch_directory scratch;
  libc_faults faults;
  faults.lock_error = ENOLCK;
  const log::captured_log log(log::level_warning);
  const written file(scratch);
  EXPECT_TRUE(file.done);
  EXPECT_EQ(file_content(file.path), example_image());
  EXPECT_EQ(log.lines(), lines{"Unable to lock file '" + file.path +
                               "' (37): No locks available"});
}

TEST(write_provider_result_file, keeps_the_file_when_it_cannot_be_unlocked) {
  const scratch_directory scratch;
  libc_faults faults;
  faults.unlock_error = ENOLCK;
  const log::captured_log log(log::level_warning);
  const written file(scratch);
  EXPECT_TRUE(file.done);
  EXPECT_EQ(file_content(file.path), example_image());
  EXPECT_EQ(log.lines(), lines{"Unable to unlock file '" + file.path +
                               "' (37): No locks available"});
}

TEST(write_provider_result_file, keeps_warnings_below_their_level) {
  const scratch_directory scratch;
  libc_faults faults;
  faults.lock_error = ENOLCK;
  faults.unlock_error = ENOLCK;
  const log::captured_log log(log::level_error);
  EXPECT_TRUE(written(scratch).done);
  EXPECT_EQ(log.lines(), lines{});
}

TEST(write_provider_result_file, removes_the_file_without_a_stream) {
  const scratch_directory scratch;
  const int before = open_descriptors();
  {
    libc_faults faults;
    faults.fdopen_error = EMFILE;
    const log::captured_log log(log::level_error);
    EXPECT_FALSE(written(scratch).done);
    EXPECT_EQ(log.lines(),
              lines{"Error opening output stream (24): Too many open files"});
    EXPECT_EQ(faults.calls, (lines{"lock", "fdopen", "unlock", "close"}));
  }
  EXPECT_EQ(scratch.names(), lines{});
  EXPECT_EQ(open_descriptors(), before);
}

struct size_limit_case {
  rlim_t bytes;
  const char* part;
};

// The disk is full in the middle of each part: the write before takes less than
// it was given, and only the next one tells why.
TEST(write_provider_result_file, removes_a_file_that_cannot_be_finished) {
  for (const size_limit_case& c :
       {size_limit_case{0, "header"}, size_limit_case{700, "header"},
        size_limit_case{736, "stdout"}, size_limit_case{740, "stdout"},
        size_limit_case{751, "stderr"}, size_limit_case{755, "stderr"},
        size_limit_case{756, "nodes_csv"}, size_limit_case{766, "nodes_csv"}}) {
    SCOPED_TRACE(c.bytes);
    const scratch_directory scratch;
    const int before = open_descriptors();
    {
      const file_size_limit limit(c.bytes);
      const log::captured_log log(log::level_error);
      EXPECT_FALSE(written(scratch).done);
      EXPECT_EQ(log.lines(), lines{"Error writing " + std::string(c.part) +
                                   " (27): File too large"});
    }
    EXPECT_EQ(scratch.names(), lines{});
    EXPECT_EQ(open_descriptors(), before);
  }
}

TEST(write_provider_result_file, fits_the_last_byte_of_the_limit) {
  const scratch_directory scratch;
  const file_size_limit limit(767);
  EXPECT_TRUE(written(scratch).done);
}

TEST(write_provider_result_file, unlocks_and_closes_after_a_failed_write) {
  const scratch_directory scratch;
  const file_size_limit limit(736);
  libc_faults faults;
  const log::captured_log log(log::level_error);
  EXPECT_FALSE(written(scratch).done);
  EXPECT_EQ(faults.calls,
            (lines{"lock", "fdopen", "write", "write", "unlock", "fclose"}));
}

// One write takes at most 2 GiB less a page on Linux.
TEST(write_provider_result_file, goes_on_after_a_short_write) {
  const scratch_directory scratch;
  libc_faults faults;
  faults.write_limit = 7;
  const written file(scratch);
  EXPECT_TRUE(file.done);
  EXPECT_EQ(file_content(file.path), example_image());
}

TEST(write_provider_result_file, repeats_an_interrupted_write) {
  const scratch_directory scratch;
  libc_faults faults;
  faults.interrupted_writes = 3;
  const written file(scratch);
  EXPECT_TRUE(file.done);
  EXPECT_EQ(file_content(file.path), example_image());
}

// A quota on a network file system may show up no sooner.
TEST(write_provider_result_file, removes_a_file_that_cannot_be_closed) {
  const scratch_directory scratch;
  libc_faults faults;
  faults.fclose_error = EDQUOT;
  const log::captured_log log(log::level_error);
  const written file(scratch);
  EXPECT_FALSE(file.done);
  EXPECT_EQ(log.lines(), lines{"Error closing output file '" + file.path +
                               "' (122): Disk quota exceeded"});
  EXPECT_EQ(scratch.names(), lines{});
}

TEST(write_provider_result_file, writes_as_much_as_the_header_says) {
  const scratch_directory scratch;
  provider_result record = example_record();
  record.header.stdout_size = 3;
  record.header.stderr_size = 0;
  record.header.nodes_csv_size = 5;
  const written file(scratch, record);
  EXPECT_TRUE(file.done);
  EXPECT_EQ(file_content(file.path).substr(736), "onealpha");
}

TEST(write_provider_result_file, reads_nothing_beyond_a_block) {
  const scratch_directory scratch;
  provider_result record = example_record();
  record.header.stdout_size = 16;
  const log::captured_log log(log::level_error);
  EXPECT_FALSE(written(scratch, record).done);
  EXPECT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(scratch.names(), lines{});
}

TEST(parse_result_file, reads_back_what_was_written) {
  const scratch_directory scratch;
  const written file(scratch);
  provider_result record;
  EXPECT_EQ(parse_result_file(file_content(file.path), record), "");
  EXPECT_TRUE(testing::same(record, example_record()));
}

TEST(parse_result_file, replaces_what_the_record_held) {
  provider_result empty;
  empty.header.api = 1;
  provider_result record = example_record();
  EXPECT_EQ(parse_result_file(testing::bytes_of(empty.header), record), "");
  EXPECT_TRUE(testing::same(record, empty));
}

void expect_fault(std::string_view content, const std::string& fault) {
  provider_result record = example_record();
  EXPECT_EQ(parse_result_file(content, record), fault);
  EXPECT_TRUE(testing::same(record, example_record()));
}

TEST(parse_result_file, refuses_every_length_but_the_right_one) {
  const std::string image = example_image();
  expect_fault("", "0 bytes are shorter than a header");
  expect_fault(image.substr(0, 735), "735 bytes are shorter than a header");
  for (std::size_t size = 736; size < image.size(); ++size) {
    SCOPED_TRACE(size);
    expect_fault(image.substr(0, size), "shorter than its header says");
  }
  expect_fault(image + "x", "longer than its header says");
}

TEST(parse_result_file, refuses_another_version) {
  std::string image = example_image();
  image[0] = 2;
  expect_fault(image, "version 2 instead of 1");
}

// Each size alone, and sums of them that wrap around to the right length.
TEST(parse_result_file, refuses_sizes_that_no_file_has) {
  constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
  for (const std::size_t offset : {624u, 640u, 648u}) {
    for (const std::int64_t size : {highest, lowest, std::int64_t{-1}}) {
      SCOPED_TRACE(std::to_string(offset) + " " + std::to_string(size));
      std::string image = example_image();
      testing::put_number(image, offset, 8, static_cast<std::uint64_t>(size));
      expect_fault(image, size < 0
                              ? "a block of " + std::to_string(size) + " bytes"
                              : "shorter than its header says");
    }
  }
  std::string image = example_image();
  testing::put_number(image, 640, 8, std::uint64_t{1} << 62);
  testing::put_number(image, 648, 8, std::uint64_t{3} << 62);
  expect_fault(image, "shorter than its header says");
}

}  // namespace
}  // namespace zelk
