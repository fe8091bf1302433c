#include "src/collect/src/accumulate/repair.h"

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/test_store.h"

namespace zelk::accumulate {
namespace {

TEST(repair_datastore, makes_derived_parts_good_beside_a_writer) {
  const datastore::scratch folder;
  a_store store(folder.file("zelk.db"));
  for (int i = 0; i < 50; ++i)
    store.store(a_result("node" + std::to_string(i % 7), i,
                         "out " + std::to_string(i % 20)));
  {
    datastore::database other(folder.file("zelk.db"),
                              datastore::open_mode::read_write);
    EXPECT_EQ(count_repairable_faults(other), 0);
    other.execute("UPDATE run SET results = 1, nodes = 1");
    other.execute("UPDATE counter SET content_indexed = 5");
    EXPECT_GT(count_repairable_faults(other), 2);
    EXPECT_GT(repair_datastore(other), 2);
    EXPECT_EQ(count_repairable_faults(other), 0);
  }
  // The writer, whose memory is older than the repair, goes on.
  for (int i = 50; i < 100; ++i)
    EXPECT_EQ(store
                  .store(a_result("node" + std::to_string(i % 7), i,
                                  "out " + std::to_string(i % 30)))
                  .result,
              outcome::stored);
  EXPECT_EQ(store.faults(), std::vector<std::string>{});
  EXPECT_EQ(store.integer("SELECT results FROM run"), 100);
}

}  // namespace
}  // namespace zelk::accumulate
