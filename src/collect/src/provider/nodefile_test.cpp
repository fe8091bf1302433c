#include "src/collect/src/provider/nodefile.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "src/collect/src/provider/test_support.h"
#include "src/common/log/captured_log.h"

namespace zelk {
namespace {

using testing::lines;
using testing::scratch_directory;

struct reading {
  bool done;
  std::uint16_t count = 77;
  std::string names = "untouched";
};

reading read(const std::string& path) {
  reading result;
  result.done = read_nodefile(path.c_str(), result.count, result.names);
  return result;
}

void expect_untouched(const reading& result) {
  EXPECT_FALSE(result.done);
  EXPECT_EQ(result.count, 77);
  EXPECT_EQ(result.names, "untouched");
}

TEST(read_nodefile, joins_the_names_by_a_comma_and_a_blank) {
  const scratch_directory scratch;
  const reading two = read(scratch.with_file("two", "alpha\nbeta\n"));
  EXPECT_TRUE(two.done);
  EXPECT_EQ(two.count, 2);
  EXPECT_EQ(two.names, "alpha, beta");

  const reading three = read(scratch.with_file("three", "c\nb\na\n"));
  EXPECT_EQ(three.count, 3);
  EXPECT_EQ(three.names, "c, b, a");
}

TEST(read_nodefile, gives_one_name_alone) {
  const scratch_directory scratch;
  const reading one = read(scratch.with_file("one", "alpha"));
  EXPECT_TRUE(one.done);
  EXPECT_EQ(one.count, 1);
  EXPECT_EQ(one.names, "alpha");
}

TEST(read_nodefile, leaves_out_the_notes_behind_a_name) {
  const scratch_directory scratch;
  const reading result =
      read(scratch.with_file("nodes", "# rack 1\nn[08-10]  role=compute\n"));
  EXPECT_EQ(result.count, 3);
  EXPECT_EQ(result.names, "n08, n09, n10");
}

TEST(read_nodefile, is_silent_about_a_file_that_is_not_there) {
  const log::captured_log log;
  expect_untouched(read("/nowhere/nodes"));
  expect_untouched(read(""));
  EXPECT_EQ(log.lines(), lines{});
}

TEST(read_nodefile, refuses_a_file_without_nodes) {
  const scratch_directory scratch;
  const log::captured_log log;
  expect_untouched(read(scratch.with_file("empty", "")));
  expect_untouched(read(scratch.with_file("comment", "# nobody\n\n")));
  EXPECT_EQ(log.lines(), lines{});
}

TEST(read_nodefile, refuses_a_directory) {
  const scratch_directory scratch;
  const log::captured_log log;
  expect_untouched(read(scratch.path()));
  EXPECT_EQ(log.lines(), lines{});
}

TEST(read_nodefile, refuses_a_device_that_never_ends) {
  const log::captured_log log;
  expect_untouched(read("/dev/zero"));
  EXPECT_EQ(log.lines(),
            lines{"/dev/zero:1: expected a line of at most 1048576 bytes"});
}

TEST(read_nodefile, refuses_a_file_with_a_bad_line_and_names_the_file) {
  const scratch_directory scratch;
  const std::string path = scratch.with_file("nodes", "alpha\nb[1-\n");
  const log::captured_log log;
  expect_untouched(read(path));
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_NE(log.lines()[0].find(path), std::string::npos);
}

// The count has 16 bits; the text holds as many names as it says.
TEST(read_nodefile, counts_modulo_65536) {
  const scratch_directory scratch;
  const reading result = read(scratch.with_file("nodes", "n[1-70000]\n"));
  EXPECT_TRUE(result.done);
  EXPECT_EQ(result.count, 4464);
  EXPECT_EQ(std::count(result.names.begin(), result.names.end(), ','), 4463);
  EXPECT_TRUE(result.names.starts_with("n1, n2, "));
  EXPECT_TRUE(result.names.ends_with(", n4464"));
}

TEST(read_nodefile, still_names_the_first_of_65536_nodes) {
  const scratch_directory scratch;
  const reading result = read(scratch.with_file("nodes", "n[1-65536]\n"));
  EXPECT_TRUE(result.done);
  EXPECT_EQ(result.count, 0);
  EXPECT_EQ(result.names, "n1");
}

TEST(read_nodefile, names_all_of_65535_nodes) {
  const scratch_directory scratch;
  const reading result = read(scratch.with_file("nodes", "n[1-65535]\n"));
  EXPECT_EQ(result.count, 65535);
  EXPECT_TRUE(result.names.ends_with(", n65535"));
}

}  // namespace
}  // namespace zelk
