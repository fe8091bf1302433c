#include "src/collect/src/db/new_file.h"

#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>

#include <gtest/gtest.h>

#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/test_output.h"

namespace zelk::db {
namespace {

class new_file_test : public testing::Test {
 protected:
  std::ptrdiff_t files() const {
    using iterator = std::filesystem::directory_iterator;
    return std::distance(iterator(folder_.path()), iterator());
  }

  datastore::scratch folder_;
  std::string path_ = folder_.file("out");
};

TEST_F(new_file_test, has_its_name_once_it_is_kept) {
  new_file file(path_, false);
  ASSERT_EQ(::write(file.fd(), "whole", 5), 5);
  EXPECT_FALSE(std::filesystem::exists(path_));
  file.keep();
  EXPECT_EQ(datastore::content_of(path_), "whole");
  EXPECT_EQ(files(), 1);
}

TEST_F(new_file_test, leaves_nothing_when_it_is_not_kept) {
  { const new_file file(path_, false); }
  EXPECT_EQ(files(), 0);
  EXPECT_THROW(new_file("/nowhere/out", false), reading::refusal);
}

TEST_F(new_file_test, leaves_nothing_when_the_process_is_interrupted) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    EXPECT_EXIT(
        {
          const new_file file(path_, false);
          ::raise(signal);
        },
        testing::KilledBySignal(signal), "");
    EXPECT_EQ(files(), 0) << signal;
  }
}

TEST_F(new_file_test, treats_signals_as_before_in_the_end) {
  struct sigaction now = {};
  struct sigaction before = {};
  before.sa_handler = SIG_IGN;
  struct sigaction mine = {};
  ::sigaction(SIGHUP, &before, &mine);
  {
    const new_file file(path_, false);
    ::raise(SIGHUP);
    EXPECT_EQ(files(), 1);
  }
  ::sigaction(SIGHUP, &mine, &now);
  EXPECT_EQ(now.sa_handler, SIG_IGN);
  ::sigaction(SIGTERM, nullptr, &now);
  EXPECT_EQ(now.sa_handler, SIG_DFL);
}

}  // namespace
}  // namespace zelk::db
