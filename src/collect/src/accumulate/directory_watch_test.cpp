#include "src/collect/src/accumulate/directory_watch.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include "src/common/datastore/test_scratch.h"
#include "src/common/log/captured_log.h"

namespace zelk::accumulate {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds long_time{5000};

// How long a wait took, when it said that there is something to look at.
milliseconds waited(directory_watch& watch, milliseconds limit = long_time) {
  const auto begin = steady_clock::now();
  if (!watch.wait(-1, limit)) return long_time;
  return std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin);
}

struct directory_watch_test : public ::testing::Test {
  log::captured_log log;
  datastore::scratch place;
};

TEST_F(directory_watch_test, looks_first_and_then_when_told) {
  directory_watch watch({place.path()}, milliseconds(100));
  EXPECT_FALSE(watch.polling());
  EXPECT_LT(waited(watch), milliseconds(1000));
  EXPECT_FALSE(watch.wait(-1, milliseconds(50)));
  place.write("file", "content");
  EXPECT_LT(waited(watch), milliseconds(1000));
  watch.found_new_files();
  EXPECT_FALSE(watch.polling());
  // Told once, looked once.
  EXPECT_FALSE(watch.wait(-1, milliseconds(50)));
}

TEST_F(directory_watch_test, sees_what_is_moved_in) {
  directory_watch watch({place.path()}, milliseconds(100));
  waited(watch);
  const datastore::scratch elsewhere;
  std::filesystem::rename(elsewhere.write("file", "x"), place.file("file"));
  EXPECT_LT(waited(watch), milliseconds(1000));
}

TEST_F(directory_watch_test, looks_at_intervals_where_it_cannot_be_told) {
  directory_watch watch({place.file("not there yet")}, milliseconds(50));
  EXPECT_TRUE(watch.polling());
  EXPECT_EQ(log.lines().size(), 1U);
  for (int i = 0; i < 3; ++i)
    EXPECT_LT(waited(watch), milliseconds(1000));
}

TEST_F(directory_watch_test, trusts_no_silence_that_was_wrong) {
  directory_watch watch({place.path()}, milliseconds(50));
  waited(watch);
  // As if another host had put it there.
  watch.wait(-1, milliseconds(10));
  watch.found_new_files();  // the first look is for nothing that was told
  EXPECT_TRUE(watch.polling());
  EXPECT_EQ(log.lines().back(),
            "A file came without an announcement; looking every 0.05 s");
  EXPECT_LT(waited(watch), milliseconds(1000));
}

TEST_F(directory_watch_test, ends_when_it_is_to_stop) {
  directory_watch watch({place.path()}, milliseconds(50));
  waited(watch);
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  ASSERT_EQ(::write(ends[1], "x", 1), 1);
  const auto begin = steady_clock::now();
  EXPECT_FALSE(watch.wait(ends[0], long_time));
  EXPECT_LT(steady_clock::now() - begin, milliseconds(1000));
  ::close(ends[0]);
  ::close(ends[1]);
}

}  // namespace
}  // namespace zelk::accumulate
