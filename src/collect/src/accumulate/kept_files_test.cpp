#include "src/collect/src/accumulate/kept_files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/test_intake.h"
#include "src/collect/src/provider/output_file.h"
#include "src/common/log/captured_log.h"
#include "src/common/util/unique_fd.h"

namespace zelk::accumulate {
namespace {

using datastore::content_of;

struct kept_files_test : public ::testing::Test {
  datastore::scratch place;
  util::unique_fd fd{::open(place.path().c_str(), O_RDONLY | O_DIRECTORY)};
  kept_files kept{place.file("bad")};
};

TEST_F(kept_files_test, moves_a_file_and_leaves_the_reason_beside_it) {
  place.write("ZELK_X", "content");
  EXPECT_EQ(kept.move(fd.get(), place.path(), "ZELK_X", "too short"),
            place.file("bad/ZELK_X"));
  EXPECT_FALSE(std::filesystem::exists(place.file("ZELK_X")));
  EXPECT_EQ(content_of(place.file("bad/ZELK_X")), "content");
  EXPECT_EQ(content_of(place.file("bad/ZELK_X.reason")), "too short\n");
  struct stat what = {};
  ASSERT_EQ(::stat(place.file("bad").c_str(), &what), 0);
  EXPECT_EQ(what.st_mode & 0777, 0700U);
  ASSERT_EQ(::stat(place.file("bad/ZELK_X.reason").c_str(), &what), 0);
  EXPECT_EQ(what.st_mode & 0777, 0600U);
}

TEST_F(kept_files_test, overwrites_nothing) {
  for (const char* content : {"first", "second", "third"}) {
    place.write("ZELK_X", content);
    EXPECT_NE(kept.move(fd.get(), place.path(), "ZELK_X", "bad"), "");
  }
  EXPECT_EQ(content_of(place.file("bad/ZELK_X")), "first");
  EXPECT_EQ(content_of(place.file("bad/ZELK_X.1")), "second");
  EXPECT_EQ(content_of(place.file("bad/ZELK_X.2")), "third");
}

TEST_F(kept_files_test, leaves_a_file_where_it_is_when_it_cannot_be_moved) {
  log::captured_log log;
  place.write("ZELK_X", "content");
  place.write("bad", "a file where the directory should be");
  EXPECT_EQ(kept.move(fd.get(), place.path(), "ZELK_X", "bad"), "");
  EXPECT_EQ(content_of(place.file("ZELK_X")), "content");
  EXPECT_EQ(log.lines().size(), 1U);
  kept_files nowhere("/no/such/place");
  EXPECT_EQ(nowhere.move(fd.get(), place.path(), "ZELK_X", "bad"), "");
  EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(kept_files_test, moves_between_file_systems) {
  struct stat here = {}, there = {};
  if (::stat("/dev/shm", &there) != 0 || ::stat("/tmp", &here) != 0 ||
      here.st_dev == there.st_dev)
    GTEST_SKIP() << "there is only one file system";
  std::string path = "/dev/shm/zelk_XXXXXX";
  ASSERT_NE(::mkdtemp(path.data()), nullptr);
  kept_files other(path);
  place.write("ZELK_X", std::string(3'000'000, 'x'));
  EXPECT_EQ(other.move(fd.get(), place.path(), "ZELK_X", "bad"),
            path + "/ZELK_X");
  EXPECT_EQ(content_of(path + "/ZELK_X"), std::string(3'000'000, 'x'));
  EXPECT_FALSE(std::filesystem::exists(place.file("ZELK_X")));
  place.write("ZELK_X", "second");
  EXPECT_EQ(other.move(fd.get(), place.path(), "ZELK_X", "bad"),
            path + "/ZELK_X.1");
  std::filesystem::remove_all(path);
}

TEST_F(kept_files_test, writes_a_record_as_a_file_that_a_scan_takes) {
  const provider_result record = a_result("../evil host", 1, "output");
  const std::string path = kept.write(record, "");
  ASSERT_TRUE(path.starts_with(place.file("bad/ZELK_MEMORY_..-evil-host_")));
  provider_result again;
  EXPECT_EQ(parse_result_file(content_of(path), again), "");
  EXPECT_TRUE(same_bytes(record, again));
  EXPECT_FALSE(std::filesystem::exists(path + ".reason"));
  const std::string refused = kept.write(record, "because");
  EXPECT_NE(refused, path);
  EXPECT_EQ(content_of(refused + ".reason"), "because\n");
}

}  // namespace
}  // namespace zelk::accumulate
