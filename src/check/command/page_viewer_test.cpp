#include "src/check/command/page_viewer.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include <gtest/gtest.h>

#include "src/common/datastore/test_scratch.h"

namespace zelk::check {
namespace {

constexpr std::chrono::seconds patience{20};

// A machine with a screen, and with a viewer of the test's own or none.
class open_page_ : public testing::Test {
 protected:
  open_page_() : path_(::getenv("PATH")) {
    ::setenv("PATH", folder_.path().c_str(), 1);
    ::setenv("DISPLAY", ":7", 1);
    ::unsetenv("WAYLAND_DISPLAY");
  }
  ~open_page_() override {
    ::setenv("PATH", path_.c_str(), 1);
    ::unsetenv("DISPLAY");
  }

  void install(const std::string& script) const {
    const std::string file =
        folder_.write("xdg-open", "#!/bin/sh\n" + script + "\n");
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
  }

  datastore::scratch folder_;

 private:
  std::string path_;
};

TEST_F(open_page_, gives_the_viewer_the_file_as_one_word) {
  const std::string seen = folder_.file("seen");
  install("printf '%s|' \"$#\" \"$@\" >" + seen);
  EXPECT_EQ(open_page("-a $(touch x); b.html", patience), "");
  EXPECT_EQ(
      datastore::content_of(seen),
      "1|" + std::filesystem::absolute("-a $(touch x); b.html").string() + "|");
}

TEST_F(open_page_, says_what_became_of_the_viewer) {
  EXPECT_EQ(open_page("a.html", patience), "xdg-open is not installed");
  install("exit 4");
  EXPECT_EQ(open_page("a.html", patience), "xdg-open ended with status 4");
  install("kill -KILL $$");
  EXPECT_EQ(open_page("a.html", patience), "xdg-open was ended by signal 9");
}

// The viewer may be the browser, which somebody looks at for hours.
TEST_F(open_page_, does_not_wait_for_a_viewer_that_stays) {
  const std::string fifo = folder_.file("until");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  install("read line <" + fifo);
  EXPECT_EQ(open_page("a.html", std::chrono::milliseconds(60)), "");
  // It may end now. Read and write, so that nobody waits for anybody.
  const int fd = ::open(fifo.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(::write(fd, "\n", 1), 1);
  ::close(fd);
}

TEST_F(open_page_, needs_a_screen) {
  install("exit 4");
  ::setenv("DISPLAY", "", 1);
  EXPECT_EQ(open_page("a.html", patience),
            "there is no display here (DISPLAY, WAYLAND_DISPLAY)");
  ::setenv("WAYLAND_DISPLAY", "wayland-0", 1);
  EXPECT_EQ(open_page("a.html", patience), "xdg-open ended with status 4");
}

}  // namespace
}  // namespace zelk::check
