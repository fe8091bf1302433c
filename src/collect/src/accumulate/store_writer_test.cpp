#include "src/collect/src/accumulate/store_writer.h"

#include <algorithm>
#include <thread>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/accumulate/test_intake.h"
#include "src/common/log/captured_log.h"
#include "src/common/preproc/config.h"

namespace zelk::accumulate {
namespace {

using std::chrono::steady_clock;

struct store_writer_test : public ::testing::Test {
  store_writer_test() {
    options.store.path = place.file("zelk.db");
    options.store.settings = &settings;
    options.bad_directory = place.file("bad");
    options.unsaved_directory = place.file("unsaved");
  }

  store_writer& writer() {
    if (!made)
      made = std::make_unique<store_writer>(options, queue, budget, board,
                                            [this] { ++told; });
    return *made;
  }

  void put(const provider_result& record) {
    hand_over::records one;
    one.push_back(std::make_unique<arrival>());
    one[0]->record = record;
    one[0]->charge = 5000;
    EXPECT_TRUE(budget.reserve(5000));
    tally came;
    came.received = came.pending = 1;
    board.add(came);
    queue.put(one);
  }

  run_report finish(bool interrupted = false) {
    writer().begin_finish({{}, interrupted});
    while (!writer().finished())
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_TRUE(board.now().adds_up());
    return writer().report();
  }
  template <typename Condition>
  bool wait_until(const Condition& done) {
    const auto end = steady_clock::now() + std::chrono::seconds(20);
    while (!done() && steady_clock::now() < end)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return done();
  }

  log::captured_log log{log::level_warning};
  datastore::scratch place;
  Config settings;
  writer_options options;
  hand_over queue;
  memory_budget budget{std::size_t{1} << 30};
  tally_board board;
  std::atomic<int> told = 0;
  std::unique_ptr<store_writer> made;
};

TEST_F(store_writer_test, learns_what_to_expect_while_it_stores) {
  options.run.expected = {{"node1", "memory", ""}};
  ASSERT_EQ(writer().start(), "");
  put(a_result("node1", 1));
  EXPECT_TRUE(wait_until([&] { return writer().complete(); }));
  writer().expect({{{"node2", "memory", ""}, ""}, {{"node3", "", ""}, "down"}});
  EXPECT_TRUE(wait_until([&] { return writer().expecting() == 0; }));
  EXPECT_FALSE(writer().complete());
  put(a_result("node2", 2));
  // Without waiting: what was asked for before the end is done before it.
  writer().expect({{{"node4", "cpu", "quick"}, "timed out"}});
  const run_report report = finish();
  EXPECT_EQ(report.ended->state, run_state::partial);
  std::string missing;
  for (const missing_result& one : report.missing)
    missing += one.what.node + " " + one.what.provider + " " + one.reason + ";";
  EXPECT_EQ(missing, "node3  down;node4 cpu timed out;");
}

TEST_F(store_writer_test, ends_a_run_as_it_is_told) {
  for (const run_state state :
       {run_state::complete, run_state::partial, run_state::interrupted}) {
    hand_over own;
    store_writer one(options, own, budget, board, [] {});
    ASSERT_EQ(one.start(), "");
    one.expect({{{"node1", "", ""}, ""}});
    one.begin_finish({state, false});
    wait_until([&] { return one.finished(); });
    EXPECT_EQ(one.report().ended->state, state);
  }
}

TEST_F(store_writer_test, tells_what_became_of_each_record) {
  std::string told_of;
  writer().on_outcome(
      [&](const provider_result& record, const row_outcome& decided) {
        told_of += std::string(field_text(record.header.hostname)) + " " +
                   std::to_string(static_cast<int>(decided.result)) + ";";
      });
  ASSERT_EQ(writer().start(), "");
  put(a_result("node1", 1));
  put(a_result("node1", 1));
  put(a_result("node1", 1, "another output"));
  finish();
  EXPECT_EQ(told_of, "node1 0;node1 1;node1 2;");
}

TEST_F(store_writer_test, stores_what_is_handed_over) {
  ASSERT_EQ(writer().start(), "");
  for (int i = 0; i < 1000; ++i)
    put(a_result("node1", i));
  for (int i = 0; i < 10; ++i)
    put(a_result("node1", i));
  put(a_result("node1", 1, "another output"));
  const run_report report = finish();
  EXPECT_EQ(board.now().stored, 1001U);
  EXPECT_EQ(board.now().duplicates, 10U);
  EXPECT_EQ(board.now().conflicts, 1U);
  EXPECT_EQ(budget.held(), 0U);
  EXPECT_EQ(report.ended->results, 1001);
  EXPECT_EQ(report.ended->state, run_state::complete);
  EXPECT_EQ(log.lines(), lines{});
}

TEST_F(store_writer_test, commits_as_soon_as_nothing_waits) {
  ASSERT_EQ(writer().start(), "");
  put(a_result("node1", 1));
  const auto begin = steady_clock::now();
  EXPECT_TRUE(wait_until([&] { return board.now().stored == 1; }));
  EXPECT_LT(steady_clock::now() - begin, std::chrono::milliseconds(450));
  datastore::database reader = open_datastore_read_only(options.store.path);
  EXPECT_EQ(reader.integer("SELECT count(*) FROM v_result"), 1);
  finish();
}

TEST_F(store_writer_test, says_why_it_cannot_start) {
  options.store.path = place.write("strange", std::string(9000, 'x'));
  const std::string problem = writer().start();
  EXPECT_NE(problem.find("strange"), std::string::npos) << problem;
  made.reset();
  options.store.path = place.file("zelk.db");
  options.run.run = "4711";
  hand_over other;
  store_writer second(options, other, budget, board, [] {});
  EXPECT_EQ(second.start(), "There is no run '4711'");
}

TEST_F(store_writer_test, knows_when_everything_has_come) {
  ASSERT_EQ(read_expectation("n[1-3]", {"memory", "stream"}, options.run), "");
  ASSERT_EQ(writer().start(), "");
  for (const char* provider : {"memory", "stream"})
    for (int node = 1; node <= 3; ++node) {
      EXPECT_FALSE(writer().complete());
      const std::uint64_t before = board.now().stored;
      put(a_result("n" + std::to_string(node), 1, "x", provider));
      EXPECT_TRUE(wait_until([&] { return board.now().stored > before; }));
    }
  EXPECT_TRUE(wait_until([&] { return writer().complete(); }));
  EXPECT_GE(told, 1);
  EXPECT_EQ(finish().ended->state, run_state::complete);
}

TEST_F(store_writer_test, counts_results_that_nobody_named) {
  options.run.results_expected = 3;
  ASSERT_EQ(writer().start(), "");
  put(a_result("n1", 1));
  put(a_result("n2", 1));
  const run_report report = finish();
  EXPECT_FALSE(writer().complete());
  EXPECT_EQ(report.ended->state, run_state::partial);
}

TEST_F(store_writer_test, tells_an_interrupted_run_from_a_partial_one) {
  ASSERT_EQ(read_expectation("n[1-2]", {}, options.run), "");
  ASSERT_EQ(writer().start(), "");
  put(a_result("n1", 1));
  const run_report report = finish(true);
  EXPECT_EQ(report.ended->state, run_state::interrupted);
  ASSERT_EQ(report.missing.size(), 1U);
  EXPECT_EQ(report.missing[0].what.node, "n2");
}

TEST_F(store_writer_test, starts_anew_when_the_datastore_is_removed) {
  ASSERT_EQ(writer().start(), "");
  put(a_result("node1", 1));
  ASSERT_TRUE(wait_until([&] { return board.now().stored == 1; }));
  for (const char* end : {"", "-wal", "-shm"})
    std::filesystem::remove(options.store.path + end);
  for (int i = 2; i < 50; ++i)
    put(a_result("node1", i));
  const run_report report = finish();
  EXPECT_EQ(board.now().stored, 49U);
  EXPECT_EQ(report.ended->results, 48);
  EXPECT_GE(log.lines().size(), 1U);
}

// Somebody else writes for ever: at the deadline the records become files.
TEST_F(store_writer_test, writes_to_files_what_it_cannot_store_in_time) {
  ASSERT_EQ(writer().start(), "");
  std::filesystem::remove_all(options.store.path);
  std::filesystem::create_directory(options.store.path);
  for (int i = 0; i < 10; ++i)
    put(a_result("node1", i));
  writer().give_up_at(steady_clock::now() + std::chrono::milliseconds(300));
  const run_report report = finish();
  EXPECT_FALSE(report.ended);
  EXPECT_EQ(board.now().unsaved, 10U);
  EXPECT_EQ(budget.held(), 0U);
  std::size_t files = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(options.unsaved_directory))
    files += entry.file_size() > sizeof(provider_result_header) ? 1 : 0;
  EXPECT_EQ(files, 10U);
}

TEST_F(store_writer_test, does_not_wait_for_a_lock_beyond_the_deadline) {
  ASSERT_EQ(writer().start(), "");
  datastore::database other = open_datastore(options.store.path);
  const datastore::transaction for_ever(other);
  put(a_result("node1", 1));
  const auto began = steady_clock::now();
  writer().give_up_at(began + std::chrono::milliseconds(300));
  finish();
  EXPECT_LT(steady_clock::now() - began, std::chrono::seconds(10));
  EXPECT_EQ(board.now().unsaved, 1U);
}

TEST_F(store_writer_test, tells_of_each_record_as_receivers_do) {
  log::LOG_LEVEL = log::level_info;
  ASSERT_EQ(writer().start(), "");
  put(a_result("node1", 1, "12345"));
  put(a_result("node1", 1, "12345"));
  finish();
  const std::vector<std::string> all = log.lines();
  EXPECT_EQ(std::ranges::count(
                all, "Received data provider 'memory' from node1 (746 bytes)"),
            1);
}

TEST_F(store_writer_test, says_so_when_not_even_files_can_be_written) {
  options.unsaved_directory = "/no/such/place";
  ASSERT_EQ(writer().start(), "");
  std::filesystem::remove_all(options.store.path);
  std::filesystem::create_directory(options.store.path);
  put(a_result("node1", 1));
  writer().give_up_at(steady_clock::now());
  finish();
  EXPECT_EQ(board.now().lost, 1U);
  EXPECT_EQ(log.lines().back(), "Lost: a result of node1, provider memory");
}

}  // namespace
}  // namespace zelk::accumulate
