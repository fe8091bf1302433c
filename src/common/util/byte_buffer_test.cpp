#include "src/common/util/byte_buffer.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <limits>
#include <new>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace zelk::util {
namespace {

using namespace std::string_view_literals;

TEST(byte_buffer, keeps_every_byte_value) {
  std::string bytes;
  for (int value = 0; value < 256; ++value) {
    bytes += static_cast<char>(value);
  }
  byte_buffer buffer(bytes);
  buffer.append("\0x\0"sv);
  EXPECT_EQ(buffer.view(), bytes + std::string("\0x\0", 3));
  EXPECT_EQ(buffer.size(), 259U);
}

TEST(byte_buffer, starts_empty_without_storage) {
  const byte_buffer buffer;
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_TRUE(buffer.empty());
  EXPECT_EQ(buffer.view(), "");
  EXPECT_EQ(buffer, byte_buffer(""));
}

TEST(byte_buffer, takes_in_what_was_put_behind_it) {
  byte_buffer buffer("head ");
  unsigned char* const tail = buffer.free_tail(100000);
  ASSERT_GE(buffer.free_size(), 100000U);
  std::memset(tail, 'x', 100000);
  buffer.grown_by(100000);
  EXPECT_EQ(buffer.view(), "head " + std::string(100000, 'x'));
}

TEST(byte_buffer, grows_byte_by_byte_to_the_same_content) {
  byte_buffer buffer;
  std::string expected;
  for (int i = 0; i < 100000; ++i) {
    const char byte = static_cast<char>(i * 31);
    buffer.append({&byte, 1});
    expected += byte;
  }
  EXPECT_EQ(buffer.view(), expected);
}

TEST(byte_buffer, moves_storage_and_leaves_an_empty_source) {
  byte_buffer from("text");
  const unsigned char* const storage = from.data();
  byte_buffer to(std::move(from));
  EXPECT_EQ(to.data(), storage);
  EXPECT_TRUE(from.empty());  // NOLINT(bugprone-use-after-move): promised
  from.append("again");
  EXPECT_EQ(from.view(), "again");
  to = std::move(from);
  EXPECT_EQ(to.view(), "again");
  EXPECT_EQ(from.view(), "");  // NOLINT(bugprone-use-after-move): promised
}

TEST(byte_buffer, survives_assignment_to_itself) {
  byte_buffer buffer("text");
  byte_buffer& same = buffer;
  buffer = same;
  EXPECT_EQ(buffer.view(), "text");
  buffer = std::move(same);
  EXPECT_EQ(buffer.view(), "text");
}

TEST(byte_buffer, copies_are_independent) {
  byte_buffer first("one");
  byte_buffer second(first);
  second.append("two");
  EXPECT_EQ(first.view(), "one");
  first = second;
  second.clear();
  EXPECT_EQ(first.view(), "onetwo");
  EXPECT_EQ(second.view(), "");
}

// Growing moves the storage that the argument points into.
TEST(byte_buffer, appends_a_part_of_itself) {
  byte_buffer buffer(std::string(4096, 'a') + "tail");
  for (int i = 0; i < 4; ++i)
    buffer.append(buffer.view());
  EXPECT_EQ(buffer.size(), 4100U * 16);
  EXPECT_EQ(buffer.view().substr(buffer.size() - 5), "atail");
}

TEST(byte_buffer, clear_keeps_the_storage) {
  byte_buffer buffer(std::string(1 << 20, 'a'));
  const unsigned char* const storage = buffer.data();
  buffer.clear();
  buffer.append(std::string(1 << 20, 'b'));
  EXPECT_EQ(buffer.data(), storage);
}

TEST(byte_buffer, an_impossible_size_keeps_the_content) {
  byte_buffer buffer("kept");
  constexpr std::size_t all = std::numeric_limits<std::size_t>::max();
  for (const std::size_t count : {all, all - 3, all / 2, all / 2 - 3}) {
    SCOPED_TRACE(count);
    EXPECT_THROW(buffer.free_tail(count), std::bad_alloc);
    EXPECT_EQ(buffer.view(), "kept");
  }
}

#if !defined(ZELK_ADDRESS_SANITIZER)  // its realloc copies, and needs the space

std::size_t address_space() {
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<std::size_t>(::getpagesize());
}

// With 64 MiB and a limit that leaves 24 MiB more, doubling fails: the room
// that is needed must still be had.
int grow_under_a_limit() {
  byte_buffer buffer;
  constexpr std::size_t mib = 1 << 20;
  buffer.free_tail(64 * mib);
  buffer.grown_by(buffer.free_size());
  const rlim_t limit = address_space() + 24 * mib;
  const rlimit bound{limit, limit};
  if (::setrlimit(RLIMIT_AS, &bound) != 0) return 2;
  buffer.free_tail(mib);
  return buffer.free_size() >= mib ? 0 : 1;
}

TEST(byte_buffer, takes_the_room_needed_where_doubling_fails) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(grow_under_a_limit());
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

std::size_t peak_kib() {
  std::ifstream in("/proc/self/status");
  std::string line;
  while (std::getline(in, line)) {
    if (line.starts_with("VmHWM:")) return std::stoul(line.substr(6));
  }
  return 0;
}

// A copying buffer peaks near 1.5 to 2 times the size here.
int grow_and_measure() {
  byte_buffer buffer;
  const std::string block(1 << 20, 'x');
  for (int i = 0; i < 130; ++i)
    buffer.append(block);
  return peak_kib() < std::size_t{130 + 24} * 1024 ? 0 : 1;
}

TEST(byte_buffer, peak_memory_stays_near_the_size) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(grow_and_measure());
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

#endif

}  // namespace
}  // namespace zelk::util
