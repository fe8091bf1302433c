#include "src/collect/src/accumulate/run_request.h"

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/accumulate/test_intake.h"
#include "src/common/log/captured_log.h"

namespace zelk::accumulate {
namespace {

TEST(read_expectation, takes_numbers_node_sets_and_files) {
  const datastore::scratch place;
  const std::string file = place.write("nodes", "# rack\nn[1-3]\nhead\n");
  run_request request;
  EXPECT_EQ(read_expectation("400", {}, request), "");
  EXPECT_EQ(request.results_expected, 400);
  EXPECT_EQ(read_expectation("node[01-02],login", {}, request), "");
  ASSERT_EQ(request.expected.size(), 3U);
  EXPECT_EQ(request.expected[1].node, "node02");
  EXPECT_EQ(request.expected[1].provider, "");
  EXPECT_EQ(read_expectation(file, {}, request), "");
  EXPECT_EQ(expected_nodes(request), 7U);
}

TEST(read_expectation, takes_each_provider_of_each_node) {
  run_request request;
  EXPECT_EQ(read_expectation("n[1-2]", {"memory", "stream:quick"}, request),
            "");
  ASSERT_EQ(request.expected.size(), 4U);
  EXPECT_EQ(request.expected[3].node, "n2");
  EXPECT_EQ(request.expected[3].provider, "stream");
  EXPECT_EQ(request.expected[3].option_id, "quick");
  EXPECT_EQ(expected_nodes(request), 2U);
}

TEST(read_expectation, says_what_is_wrong) {
  log::captured_log log;
  const datastore::scratch place;
  for (const std::string& text :
       {std::string(""), std::string("node[3-1]"), std::string("node["),
        std::string("/no/such/file"), place.write("empty", "# none\n")}) {
    run_request request;
    EXPECT_NE(read_expectation(text, {}, request), "") << text;
    EXPECT_TRUE(request.expected.empty());
  }
}

struct open_run_test : public ::testing::Test {
  datastore::scratch place;
  datastore::database base = open_datastore(place.file("zelk.db"));
};

TEST_F(open_run_test, makes_a_new_one_with_what_it_expects) {
  run_request request;
  request.label = "nightly";
  request.note = "after the update";
  request.command_line = "zelk-accumulate listen";
  request.expected = {{"n1", "", ""}};
  const run made = *find_run(base, open_run(base, request));
  EXPECT_EQ(made.label, "nightly");
  EXPECT_EQ(made.note, "after the update");
  EXPECT_EQ(made.command_line, "zelk-accumulate listen");
  EXPECT_EQ(made.nodes_expected, 1);
  EXPECT_EQ(made.state, run_state::running);
}

TEST_F(open_run_test, goes_on_with_one_that_has_ended) {
  const std::int64_t number = open_run(base, {});
  close_run(base, number);
  run_request request;
  request.run = "latest";
  request.label = "again";
  EXPECT_EQ(open_run(base, request), number);
  EXPECT_EQ(find_run(base, number)->state, run_state::running);
  EXPECT_EQ(find_run(base, number)->label, "again");
}

TEST_F(open_run_test, refuses_what_is_not_there) {
  run_request request;
  request.run = "4711";
  EXPECT_THROW(open_run(base, request), datastore::store_error);
  EXPECT_TRUE(list_runs(base).empty());
}

}  // namespace
}  // namespace zelk::accumulate
