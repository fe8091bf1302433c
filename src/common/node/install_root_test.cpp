#include "src/common/node/install_root.h"

#include <filesystem>

#include <gtest/gtest.h>

namespace zelk::node {
namespace {

namespace fs = std::filesystem;

TEST(install_root_of, is_the_parent_of_the_programs_folder) {
  struct {
    const char* program;
    const char* root;
  } const table[] = {
      {"/opt/zelkara/bin/zelk_run_provider", "/opt/zelkara"},
      {"/home/a b/z/bin/x", "/home/a b/z"},
      {"/z/bin/x (deleted)", "/z"},
      {"/bin/x", ""},
      {"/x", ""},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.program);
    EXPECT_EQ(install_root_of(row.program), row.root);
  }
}

TEST(get_default_path, is_found_through_this_program) {
  const fs::path program = fs::canonical("/proc/self/exe");
  EXPECT_EQ(get_default_path(), program.parent_path().parent_path().string());
  EXPECT_FALSE(get_default_path().ends_with('/'));
}

}  // namespace
}  // namespace zelk::node
