#include "src/common/xml/file_text.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "src/common/xml/test_files.h"

namespace zelk::xml {
namespace {

TEST(read_file_text, reads_every_byte) {
  const test_files files;
  const std::string text("a\0b\r\n\xff", 6);
  std::string content = "from before";
  EXPECT_EQ(read_file_text(files.write("f", text), content), "");
  EXPECT_EQ(content, text);
}

TEST(read_file_text, reads_an_empty_file) {
  const test_files files;
  std::string content = "from before";
  EXPECT_EQ(read_file_text(files.write("f", ""), content), "");
  EXPECT_EQ(content, "");
}

TEST(read_file_text, takes_the_largest_file_and_not_a_byte_more) {
  const test_files files;
  const std::string largest(largest_file_bytes, ' ');
  std::string content;
  EXPECT_EQ(read_file_text(files.write("f", largest), content), "");
  EXPECT_EQ(content.size(), largest_file_bytes);
  EXPECT_EQ(read_file_text(files.write("f", largest + " "), content),
            "expected a file of at most 4194304 bytes");
}

TEST(read_file_text, refuses_a_hundred_megabytes_unread) {
  const test_files files;
  const std::string path = files.write("f", "");
  std::filesystem::resize_file(path, 104857600);
  std::string content;
  EXPECT_EQ(read_file_text(path, content),
            "expected a file of at most 4194304 bytes");
  EXPECT_EQ(content, "");
}

TEST(read_file_text, reads_a_file_that_claims_to_be_empty) {
  std::string content;
  EXPECT_EQ(read_file_text("/proc/self/status", content), "");
  EXPECT_NE(content, "");
}

TEST(read_file_text, says_why_there_is_nothing_to_read) {
  std::string content;
  EXPECT_EQ(read_file_text("/nowhere/f", content),
            "cannot be read (2): No such file or directory");
  EXPECT_EQ(read_file_text("", content),
            "cannot be read (2): No such file or directory");
}

TEST(read_file_text, says_that_it_may_not_read) {
  if (::geteuid() == 0) GTEST_SKIP() << "root may read everything";
  const test_files files;
  const std::string path = files.write("f", "x");
  ::chmod(path.c_str(), 0);
  std::string content;
  EXPECT_EQ(read_file_text(path, content),
            "cannot be read (13): Permission denied");
}

// Opened the plain way, a pipe without a writer would hold the run for ever.
TEST(read_file_text, refuses_what_is_no_regular_file) {
  const test_files files;
  ASSERT_EQ(::mkfifo(files.path("pipe").c_str(), 0600), 0);
  std::string content;
  EXPECT_EQ(read_file_text(files.path("pipe"), content),
            "expected a regular file, found a pipe");
  EXPECT_EQ(read_file_text("/", content),
            "expected a regular file, found a directory");
  EXPECT_EQ(read_file_text("/dev/zero", content),
            "expected a regular file, found a device");
}

TEST(read_file_text, follows_a_link_and_stops_at_a_loop) {
  const test_files files;
  files.write("f", "x");
  std::filesystem::create_symlink("f", files.path("link"));
  std::filesystem::create_symlink("loop", files.path("loop"));
  std::string content;
  EXPECT_EQ(read_file_text(files.path("link"), content), "");
  EXPECT_EQ(content, "x");
  EXPECT_EQ(read_file_text(files.path("loop"), content),
            "cannot be read (40): Too many levels of symbolic links");
}

}  // namespace
}  // namespace zelk::xml
