#include "src/collect/src/accumulate/expectations.h"

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/test_store.h"

namespace zelk::accumulate {
namespace {

TEST(expectations, are_all_told_whether_they_came_or_not) {
  const datastore::scratch folder;
  a_store store(folder.file("zelk.db"));
  datastore::database& base = store.table.database();
  expect_results(
      base, store.run,
      {{"node1", "memory", ""}, {"node2", "", ""}, {"b\xff", "", ""}});
  store.store(a_result("node1", 1));
  set_missing_reasons(store.table.database(), store.run,
                      {{{"node2", "", ""}, "down"},
                       {{"node1", "memory", ""}, "not needed"},
                       {{"nobody", "", ""}, "never expected"}});
  std::vector<std::string> told;
  for_each_expectation(store.table.database(), store.run,
                       [&](const missing_result& each) {
                         told.push_back(each.what.node + "/" +
                                        each.what.provider + "/" + each.reason);
                       });
  EXPECT_EQ(told, (std::vector<std::string>{"node1//", "node2//down", "b\xff//",
                                            "node1/memory/not needed"}));
}

}  // namespace
}  // namespace zelk::accumulate
