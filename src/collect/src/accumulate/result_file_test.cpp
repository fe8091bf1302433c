#include "src/collect/src/accumulate/result_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/result_directory.h"
#include "src/collect/src/accumulate/test_intake.h"

namespace zelk::accumulate {
namespace {

using content = result_file::content;
using state = result_file::state;

constexpr char name[] = "ZELK_MEMORY_node1_1700000000__abcdef";
constexpr std::size_t limit = 1 << 20;

std::string bytes_of(const provider_result& record) {
  std::string all;
  for (const std::string& part : frames_of(record))
    all += part;
  return all;
}

struct result_file_test : public ::testing::Test {
  datastore::scratch directory;
  util::unique_fd fd{::open(directory.path().c_str(), O_RDONLY | O_DIRECTORY)};
  provider_result record;

  result_file put(const std::string& bytes) {
    directory.write(name, bytes);
    return result_file(fd.get(), name);
  }
};

TEST_F(result_file_test, reads_a_whole_one) {
  const provider_result written = a_result("node1", 1, "output");
  result_file file = put(bytes_of(written));
  ASSERT_EQ(file.now(), state::ours);
  EXPECT_EQ(file.read(record, limit), content::whole);
  EXPECT_TRUE(same_bytes(record, written));
  EXPECT_TRUE(file.remove_from(fd.get()));
  EXPECT_FALSE(std::filesystem::exists(directory.file(name)));
}

TEST_F(result_file_test, tells_what_is_not_whole) {
  const std::string whole = bytes_of(a_result("node1", 1, "output"));
  provider_result strange = a_result("node1", 1, "output");
  strange.header.stdout_size = -1;
  const struct {
    std::string bytes;
    content what;
    const char* problem;
  } cases[] = {
      {"", content::short_, "0 bytes are shorter than a header"},
      {whole.substr(0, 735), content::short_,
       "735 bytes are shorter than a header"},
      {whole.substr(0, 740), content::short_,
       "header says 11 bytes of output, file has 4"},
      {whole + "x", content::bad, "longer than its header says"},
      {std::string(800, 'x'), content::bad, ""},
      {bytes_of(strange), content::bad, "a block of -1 bytes"},
      {std::string(limit + 1, '\1'), content::too_big,
       "1048577 bytes where a record may have 1048576"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.problem);
    result_file file = put(one.bytes);
    EXPECT_EQ(file.read(record, limit), one.what);
    if (*one.problem != '\0') {
      EXPECT_EQ(file.problem(), one.problem);
    }
  }
}

TEST_F(result_file_test, waits_for_nobody_who_holds_the_lock) {
  directory.write(name, "being written");
  const util::unique_fd writer(
      ::open(directory.file(name).c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(::flock(writer.get(), LOCK_EX), 0);
  EXPECT_EQ(result_file(fd.get(), name).now(), state::writing);
  ::flock(writer.get(), LOCK_UN);
  result_file ours(fd.get(), name);
  EXPECT_EQ(ours.now(), state::ours);
  EXPECT_TRUE(ours.locked());
  EXPECT_EQ(::flock(writer.get(), LOCK_EX | LOCK_NB), -1);
  // Another collector in this process, too.
  EXPECT_EQ(result_file(fd.get(), name).now(), state::writing);
}

TEST_F(result_file_test, touches_nothing_that_writers_do_not_make) {
  const std::string path = directory.file(name);
  const std::string target = directory.write("target", "precious");
  const struct {
    std::function<int()> make;
    const char* problem;
  } cases[] = {
      {[&] { return ::symlink(target.c_str(), path.c_str()); },
       "a symbolic link"},
      {[&] { return ::symlink("/no/where", path.c_str()); }, "a symbolic link"},
      {[&] { return ::mkfifo(path.c_str(), 0600); }, "a FIFO"},
      {[&] { return ::mkdir(path.c_str(), 0700); }, "a directory"},
      {[&] { return ::link(target.c_str(), path.c_str()); },
       "a file with 2 names"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.problem);
    ASSERT_EQ(one.make(), 0);
    const result_file file(fd.get(), name);
    EXPECT_EQ(file.now(), state::strange);
    EXPECT_EQ(file.problem(), one.problem);
    std::filesystem::remove(path);
  }
  EXPECT_EQ(result_file(fd.get(), name).now(), state::gone);
  EXPECT_EQ(datastore::content_of(target), "precious");
}

// A name may be given to another file while we hold the first one's lock.
TEST_F(result_file_test, removes_only_the_file_that_it_read) {
  const result_file file = put("first");
  ASSERT_EQ(file.now(), state::ours);
  std::filesystem::remove(directory.file(name));
  directory.write("other", "second");
  std::filesystem::rename(directory.file("other"), directory.file(name));
  EXPECT_FALSE(file.is_in(fd.get()));
  EXPECT_TRUE(file.remove_from(fd.get()));
  EXPECT_EQ(datastore::content_of(directory.file(name)), "second");
}

TEST(is_result_name, takes_what_writers_choose) {
  EXPECT_TRUE(is_result_name("ZELK_MEMORY_node07_1489412345__q8Xz1A"));
  EXPECT_TRUE(is_result_name("ZELK_"));
  for (const char* other :
       {"", "zelk_x", ".ZELK_x", "XZELK_", "ZELK_X_n_1__a.reason", "bad"})
    EXPECT_FALSE(is_result_name(other)) << other;
}

TEST(time_in_name, finds_the_time_that_the_writer_put_there) {
  const struct {
    const char* text;
    std::time_t time;
  } cases[] = {
      {"ZELK_MEMORY_node07_1489412345__q8Xz1A", 1489412345},
      {"ZELK_A_B_C_node_7_17__abcdef", 17},
      {"ZELK_MEMORY_node07_1489412345_q8Xz1A", 0},
      {"ZELK_MEMORY_node07_14x9__abcdef", 0},
      {"ZELK_MEMORY_node07_99999999999999999999__abcdef", 0},
      {"__", 0},
      {"_____", 0},
      {"", 0},
  };
  for (const auto& one : cases)
    EXPECT_EQ(time_in_name(one.text), one.time) << one.text;
}

TEST(result_directory, visits_result_files_alone) {
  const datastore::scratch place;
  for (const char* each : {"ZELK_A", "ZELK_B", "notes", "ZELK_A.reason"})
    place.write(each, "");
  result_directory directory(place.path());
  ASSERT_TRUE(directory.open());
  lines seen;
  EXPECT_TRUE(directory.for_each_result(
      [&](const std::string& each) { return seen.push_back(each), true; }));
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(seen, (lines{"ZELK_A", "ZELK_B"}));
  int visited = 0;
  EXPECT_TRUE(directory.for_each_result(
      [&](const std::string&) { return ++visited, false; }));
  EXPECT_EQ(visited, 1);
}

TEST(result_directory, has_the_label_of_its_file) {
  const datastore::scratch place;
  result_directory directory(place.path());
  ASSERT_TRUE(directory.open());
  EXPECT_EQ(directory.label(), "");
  place.write("label", "  nightly \nsecond line\n");
  EXPECT_EQ(directory.label(), "nightly");
  place.write("label", "bad\tlabel");
  EXPECT_EQ(directory.label(), "bad?label");
}

TEST(result_directory, says_that_there_is_none) {
  EXPECT_FALSE(result_directory("/no/such/directory").open());
}

}  // namespace
}  // namespace zelk::accumulate
