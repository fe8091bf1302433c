#include "src/collect/src/accumulate/read_result.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/test_store.h"

namespace zelk::accumulate {
namespace {

using lines = std::vector<std::string>;
using ids = std::vector<std::int64_t>;

class reading : public ::testing::Test {
 protected:
  reading() {
    store.store(a_result("node01", 1, "a", "cpu"));
    store.store(a_result("node02", 2, "b", "memory"));
    store.table.use_run(create_run(store.table.database(), {}));
    store.store(a_result("node01", 3, "c", "memory"));
  }

  ids matching(const result_filter& filter) {
    ids found;
    for_each_result(store.table.database(), filter, [&](std::int64_t id) {
      found.push_back(id);
      return true;
    });
    return found;
  }
  lines damaged_by(const std::string& sql) {
    store.table.database().execute(sql);
    return store.faults();
  }

  datastore::scratch place;
  a_store store{place.file("zelk.db")};
};

TEST_F(reading, gives_nothing_for_an_unknown_id) {
  EXPECT_FALSE(read_result(store.table.database(), 99));
}

TEST_F(reading, visits_what_is_asked_for_in_order) {
  EXPECT_EQ(matching({}), (ids{1, 2, 3}));
  EXPECT_EQ(matching({.run = 1}), (ids{1, 2}));
  EXPECT_EQ(matching({.node = "node01"}), (ids{1, 3}));
  EXPECT_EQ(matching({.provider = "memory"}), (ids{2, 3}));
  EXPECT_EQ(matching({2, "node01", "memory"}), ids{3});
  EXPECT_EQ(matching({2, "node02", ""}), ids{});
}

TEST_F(reading, stops_when_it_is_told_to) {
  int visited = 0;
  for_each_result(store.table.database(), {}, [&](std::int64_t id) {
    EXPECT_TRUE(read_result(store.table.database(), id));
    return ++visited < 2;
  });
  EXPECT_EQ(visited, 2);
}

TEST_F(reading, works_on_a_store_that_cannot_be_written) {
  datastore::database base(place.file("zelk.db"),
                           datastore::open_mode::read_only);
  EXPECT_EQ(read_result(base, 3)->stdout.view(), "c");
}

TEST_F(reading, finds_an_output_that_was_changed) {
  EXPECT_EQ(damaged_by("UPDATE content SET body = 'x' WHERE body = 'c'"),
            (lines{"Output 5 is not what its hash says",
                   "Result 3 is not the record that came in"}));
}

TEST_F(reading, finds_a_result_that_was_changed) {
  EXPECT_EQ(damaged_by("UPDATE result SET exit_status = 1 WHERE id = 2"),
            lines{"Result 2 is not the record that came in"});
}

TEST_F(reading, finds_wrong_counts) {
  EXPECT_EQ(damaged_by("UPDATE run SET results = 7, nodes = 9 WHERE number = "
                       "1"),
            (lines{"Another number of results than stored is counted for run 1",
                   "Another number of nodes than stored is counted for run "
                   "1"}));
}

TEST_F(reading, finds_a_second_copy_of_an_output) {
  EXPECT_EQ(damaged_by("INSERT INTO content SELECT 9, size, hash, body FROM "
                       "content WHERE body = 'c'"),
            lines{"There is more than one copy of output 5"});
}

TEST_F(reading, finds_what_the_index_of_outputs_has_lost) {
  store.table.checkpoint();
  EXPECT_EQ(store.faults(), lines{});
  EXPECT_EQ(damaged_by("DELETE FROM content_index WHERE content = 4"),
            lines{"Not to be found by its hash is output 4"});
}

TEST_F(reading, finds_references_to_nothing) {
  const lines faults = damaged_by("DELETE FROM content WHERE body = 'c'");
  EXPECT_EQ(faults, (lines{"A row of table result refers to nothing",
                           "Result 3 is not the record that came in"}));
}

}  // namespace
}  // namespace zelk::accumulate
