#include "src/check/command/output_file.h"

#include <sys/stat.h>

#include <filesystem>

#include <gtest/gtest.h>

#include "src/collect/src/reading/failure.h"
#include "src/common/datastore/test_scratch.h"

namespace zelk::check {
namespace {

using datastore::content_of;

class output_file_ : public testing::Test {
 protected:
  std::size_t files_there() const {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& each :
         std::filesystem::directory_iterator(folder_.path()))
      ++count;
    return count;
  }

  static void write(const std::string& path, const std::string& text) {
    output_file file(path);
    file.stream() << text;
    file.keep();
  }

  datastore::scratch folder_;
};

TEST_F(output_file_, appears_whole_or_not_at_all) {
  const std::string path = folder_.write("report.json", "old");
  {
    output_file file(path);
    file.stream() << "half of" << std::flush;
    EXPECT_EQ(content_of(path), "old");
  }
  EXPECT_EQ(content_of(path), "old");
  EXPECT_EQ(files_there(), 1U);
  write(path, "new");
  EXPECT_EQ(content_of(path), "new");
  EXPECT_EQ(files_there(), 1U);
}

TEST_F(output_file_, has_the_mode_of_new_files) {
  const mode_t before = ::umask(0027);
  write(folder_.file("a.prom"), "x");
  ::umask(before);
  struct stat found = {};
  ASSERT_EQ(::stat(folder_.file("a.prom").c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 0777U, 0640U);
}

TEST_F(output_file_, is_hidden_from_collectors_while_it_is_written) {
  const output_file file(folder_.file("zelkara.prom"));
  for (const auto& each : std::filesystem::directory_iterator(folder_.path())) {
    EXPECT_EQ(each.path().filename().string().substr(0, 1), ".");
    EXPECT_NE(each.path().extension(), ".prom");
  }
}

TEST_F(output_file_, leaves_a_link_a_link) {
  const std::string target = folder_.write("target.html", "old");
  const std::string link = folder_.file("link.html");
  std::filesystem::create_symlink(target, link);
  write(link, "new");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(content_of(target), "new");
}

TEST_F(output_file_, writes_to_what_is_no_file) {
  write("/dev/null", "gone");
  struct stat found = {};
  ASSERT_EQ(::stat("/dev/null", &found), 0);
  EXPECT_TRUE(S_ISCHR(found.st_mode));
}

TEST_F(output_file_, refuses_what_cannot_be_written) {
  EXPECT_THROW(output_file(folder_.file("no/such/folder.txt")),
               reading::refusal);
  EXPECT_THROW(output_file{folder_.path()}, reading::refusal);
  output_file full("/dev/full");
  full.stream() << std::string(100'000, 'x');
  EXPECT_THROW(full.keep(), reading::refusal);
  EXPECT_EQ(files_there(), 0U);
}

}  // namespace
}  // namespace zelk::check
