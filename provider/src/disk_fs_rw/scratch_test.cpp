#include "provider/src/disk_fs_rw/scratch.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include <gtest/gtest.h>

#include "provider/src/common/test_tree.h"

namespace zelk::perf::disk {
namespace {

TEST(open_unnamed, leaves_no_name) {
  const test_tree tree;
  const open_file file = open_unnamed(tree.root());
  ASSERT_GE(file.descriptor, 0);
  EXPECT_TRUE(std::filesystem::is_empty(tree.root()));
  ::close(file.descriptor);
}

TEST(open_unnamed, tells_why_there_is_none) {
  const open_file file = open_unnamed("/nowhere");
  EXPECT_LT(file.descriptor, 0);
  EXPECT_EQ(file.code, ENOENT);
}

TEST(private_folder, takes_over_and_empties_what_an_earlier_run_left) {
  const test_tree tree;
  tree.put("/" + private_name() + "/0", "");
  const int folder = open_private_folder(tree.root());
  ASSERT_GE(folder, 0);
  EXPECT_TRUE(std::filesystem::is_empty(tree.root() + "/" + private_name()));
  close_private_folder(tree.root(), folder);
  EXPECT_TRUE(std::filesystem::is_empty(tree.root()));
}

TEST(private_folder, is_left_to_another_run_that_works_in_it) {
  const test_tree tree;
  const int folder = open_private_folder(tree.root());
  ASSERT_GE(folder, 0);
  EXPECT_EQ(open_private_folder(tree.root()), -EBUSY);
  remove_private_folder(tree.root());
  EXPECT_TRUE(std::filesystem::exists(tree.root() + "/" + private_name()));
  close_private_folder(tree.root(), folder);
}

TEST(private_folder, is_never_followed_through_a_link) {
  const test_tree tree, elsewhere;
  elsewhere.put("/precious", "x");
  std::filesystem::create_directory_symlink(elsewhere.root(),
                                            tree.root() + "/" + private_name());
  EXPECT_EQ(open_private_folder(tree.root()), -EPERM);
  remove_private_folder(tree.root());
  EXPECT_TRUE(std::filesystem::exists(elsewhere.root() + "/precious"));
}

TEST(remove_private_folder, removes_what_a_killed_run_left) {
  const test_tree tree;
  tree.put("/" + private_name() + "/1", "");
  remove_private_folder(tree.root());
  EXPECT_TRUE(std::filesystem::is_empty(tree.root()));
  remove_private_folder(tree.root());
}

}  // namespace
}  // namespace zelk::perf::disk
