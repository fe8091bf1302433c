#include "src/collect/src/accumulate/result_table.h"

#include <cmath>
#include <cstring>
#include <future>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/test_store.h"
#include "src/common/datastore/controller.h"
#include "src/common/log/captured_log.h"
#include "src/common/preproc/config.h"

namespace zelk::accumulate {
namespace {

using namespace std::string_literals;
using datastore::DataStoreExtension;
using lines = std::vector<std::string>;

class stored_results : public ::testing::Test {
 protected:
  void expect_back(const provider_result& result) {
    const row_outcome told = store.store(result);
    ASSERT_EQ(told.result, outcome::stored);
    const auto back = read_result(store.table.database(), told.id);
    ASSERT_TRUE(back);
    EXPECT_TRUE(same_bytes(*back, result));
  }

  datastore::scratch place;
  std::string path = place.file("zelk.db");
  a_store store{path};
};

TEST_F(stored_results, are_told_once_they_are_on_disk) {
  EXPECT_EQ(store.write(a_result("node01", 1)),
            DataStoreExtension::OPERATION_SUCCESSFULL);
  EXPECT_EQ(store.write(a_result("node02", 2)),
            DataStoreExtension::OPERATION_SUCCESSFULL);
  EXPECT_TRUE(store.told.empty());
  EXPECT_EQ(store.table.sequence(), 2U);
  EXPECT_EQ(store.table.health().pending, 2U);
  EXPECT_EQ(store.table.flush(), DataStoreExtension::OPERATION_SUCCESSFULL);
  ASSERT_EQ(store.told.size(), 2U);
  EXPECT_EQ(store.told[0].sequence, 1U);
  EXPECT_EQ(store.told[1].sequence, 2U);
  EXPECT_EQ(store.told[1].run, store.run);
  datastore::database reader(path, datastore::open_mode::read_only);
  EXPECT_EQ(reader.integer("SELECT count(*) FROM v_provider_result"), 2);
  EXPECT_EQ(store.faults(), lines{});
}

TEST_F(stored_results, come_back_byte_for_byte) {
  std::string every_byte;
  for (int i = 0; i < 256; ++i)
    every_byte += static_cast<char>(i);
  std::int64_t usec = 0;
  for (const std::string& output :
       {""s, "a"s, "\0"s, "gr\xc3\xbc"s, "\xff\xfe"s, every_byte,
        std::string(200'000, 'x'), std::string(std::size_t{64} << 20, 'y')}) {
    SCOPED_TRACE(output.size());
    provider_result result = a_result("node01", ++usec, output);
    result.stderr.append(output);
    result.header.stderr_size = static_cast<std::int64_t>(output.size());
    expect_back(result);
  }
  EXPECT_EQ(store.faults(), lines{});
}

TEST_F(stored_results, come_back_from_any_header) {
  std::mt19937 random(7);
  for (int i = 0; i < 200; ++i) {
    provider_result result = a_result("n", i);
    const provider_result_header sizes = result.header;
    auto* bytes = reinterpret_cast<unsigned char*>(&result.header);
    for (std::size_t at = 0; at < sizeof result.header; ++at)
      bytes[at] = static_cast<unsigned char>(random());
    result.header.api = 1;
    result.header.stdout_size = sizes.stdout_size;
    result.header.stderr_size = sizes.stderr_size;
    result.header.nodes_csv_size = sizes.nodes_csv_size;
    expect_back(result);
  }
  EXPECT_EQ(store.faults(), lines{});
}

TEST_F(stored_results, have_a_duration_that_sql_can_hold) {
  std::int64_t usec = 0;
  for (const double duration : {std::nan(""), -0.0, HUGE_VAL, -HUGE_VAL, 0.0}) {
    provider_result result = a_result("node01", ++usec);
    result.header.duration = duration;
    expect_back(result);
  }
}

struct size_case {
  std::int64_t out;
  std::int64_t err;
  std::int64_t nodes;
};

TEST_F(stored_results, refuse_headers_that_lie) {
  const size_case cases[] = {{-1, 0, 6},        {4, 0, 6},  {2, 0, 6},
                             {3, INT64_MIN, 6}, {3, 1, 6},  {3, 0, 5},
                             {3, 0, INT64_MAX}, {3, 0, -6}, {1LL << 40, 0, 6}};
  for (const size_case& c : cases) {
    log::captured_log log(log::level_notice);
    provider_result result = a_result("node01", 1);
    result.header.stdout_size = c.out;
    result.header.stderr_size = c.err;
    result.header.nodes_csv_size = c.nodes;
    EXPECT_EQ(store.write(result), DataStoreExtension::OPERATION_REJECTED);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].find("Result of 'memory' from 'node01' refused: "
                                  "the header says "),
              0U);
  }
  EXPECT_EQ(store.table.counters().taken, 0U);
}

// A name from the network must not write to the administrator's terminal.
TEST_F(stored_results, are_named_in_the_log_without_control_characters) {
  log::captured_log log(log::level_notice);
  provider_result result = a_result("no\x1b[2Jde\n01", 1, "out", "a\tb");
  result.header.api = 9;
  EXPECT_EQ(store.write(result), DataStoreExtension::OPERATION_REJECTED);
  EXPECT_EQ(log.lines(),
            lines{"Result of 'a?b' from 'no?[2Jde?01' refused: its format is "
                  "9, this program knows format 1"});
}

TEST_F(stored_results, are_stored_once_whatever_way_they_come) {
  const provider_result result = a_result("node01", 1);
  const row_outcome first = store.store(result);
  store.told.clear();
  store.write(result);
  store.write(a_result("node01", 2));
  store.write(result);
  store.table.flush();
  ASSERT_EQ(store.told.size(), 3U);
  EXPECT_EQ(store.told[0].result, outcome::duplicate);
  EXPECT_EQ(store.told[0].id, first.id);
  EXPECT_EQ(store.told[1].result, outcome::stored);
  EXPECT_EQ(store.told[2].result, outcome::duplicate);
  EXPECT_EQ(store.integer("SELECT count(*) FROM result"), 2);
  EXPECT_EQ(store.integer("SELECT results FROM run"), 2);
  EXPECT_EQ(store.faults(), lines{});
}

TEST_F(stored_results, are_stored_once_within_one_batch) {
  for (int i = 0; i < 3; ++i)
    store.write(a_result("node01", 1));
  store.table.flush();
  EXPECT_EQ(store.table.counters().stored, 1U);
  EXPECT_EQ(store.table.counters().duplicates, 2U);
}

// A file that is scanned again after a crash comes into a new run.
TEST_F(stored_results, stay_with_the_run_they_came_into_first) {
  const row_outcome first = store.store(a_result("node01", 1));
  const std::int64_t second_run = create_run(store.table.database(), {});
  store.table.use_run(second_run);
  const row_outcome again = store.store(a_result("node01", 1));
  EXPECT_EQ(again.result, outcome::duplicate);
  EXPECT_EQ(again.run, first.run);
  EXPECT_EQ(store.integer("SELECT results FROM run WHERE number = 2"), 0);
  // So the second run has not heard of the node.
  EXPECT_EQ(store.integer("SELECT count(*) FROM host WHERE run = 2"), 0);
  EXPECT_EQ(store.faults(), lines{});

  EXPECT_EQ(store.store(a_result("node01", 2)).run, second_run);
  EXPECT_EQ(store.integer("SELECT nodes FROM run WHERE number = 2"), 1);
  EXPECT_EQ(store.faults(), lines{});
}

TEST_F(stored_results, are_both_kept_when_only_their_key_is_the_same) {
  const provider_result first = a_result("node01", 1, "out");
  const provider_result second = a_result("node01", 1, "other");
  provider_result third = first;
  third.header.exit_status = 1;
  EXPECT_EQ(store.store(first).result, outcome::stored);
  for (const provider_result& twin : {second, third}) {
    const row_outcome told = store.store(twin);
    EXPECT_EQ(told.result, outcome::conflict);
    EXPECT_TRUE(
        same_bytes(*read_result(store.table.database(), told.id), twin));
    const row_outcome again = store.store(twin);
    EXPECT_EQ(again.result, outcome::duplicate);
    EXPECT_EQ(again.id, told.id);
  }
  EXPECT_EQ(store.table.counters().conflicts, 2U);
  EXPECT_EQ(store.table.counters().stored, 3U);
  EXPECT_EQ(store.faults(), lines{});
}

TEST_F(stored_results, differ_by_each_part_of_the_key) {
  const provider_result first = a_result("node01", 1);
  provider_result option = first;
  put(option.header.option_id, "full");
  for (const provider_result& result :
       {first, a_result("node02", 1), a_result("node01", 2),
        a_result("node01", 1, "out", "cpu"), option})
    EXPECT_EQ(store.store(result).result, outcome::stored);
}

TEST_F(stored_results, share_equal_outputs) {
  const std::string output(std::size_t{200} * 1024, 'x');
  store.store(a_result("node0000", 0, output));
  store.table.checkpoint();
  const auto one = std::filesystem::file_size(path);
  for (int i = 1; i < 1000; ++i)
    store.write(a_result("node" + std::to_string(i), i, output));
  store.table.flush();
  store.table.checkpoint();
  EXPECT_EQ(store.integer("SELECT count(*) FROM result"), 1000);
  EXPECT_EQ(store.integer("SELECT count(*) FROM content WHERE size = 204800"),
            1);
  EXPECT_LT(std::filesystem::file_size(path), 2 * one);
}

TEST_F(stored_results, share_outputs_with_those_of_earlier_openings) {
  store.store(a_result("node01", 1, "the same"));
  store.table.checkpoint();
  a_store later(path);
  later.store(a_result("node02", 2, "the same"));
  EXPECT_EQ(later.integer("SELECT count(*) FROM content WHERE body = 'the "
                          "same'"),
            1);
  EXPECT_EQ(later.faults(), lines{});
}

TEST_F(stored_results, share_outputs_between_processes_that_take_turns) {
  a_store other(path);
  for (int i = 0; i < 5; ++i) {
    store.store(a_result("a", i, "shared " + std::to_string(i)));
    other.store(a_result("b", i, "shared " + std::to_string(i)));
    other.store(a_result("c", i, "back " + std::to_string(i)));
    store.store(a_result("d", i, "back " + std::to_string(i)));
    if (i % 2 == 0) other.table.checkpoint();
  }
  EXPECT_EQ(store.integer("SELECT count(*) FROM content WHERE size > 5"), 10);
  EXPECT_EQ(store.integer("SELECT count(*) FROM result"), 20);
  EXPECT_EQ(store.faults(), lines{});
}

TEST_F(stored_results, are_committed_when_the_batch_is_full) {
  result_table_options options;
  options.batch_rows = 3;
  a_store small(place.file("small.db"), options);
  for (int i = 0; i < 3; ++i)
    small.write(a_result("node01", i));
  small.table.database();  // waits for what was started
  EXPECT_EQ(small.told.size(), 3U);
  options.batch_rows = 1000;
  options.batch_bytes = 10'000;
  a_store heavy(place.file("heavy.db"), options);
  heavy.write(a_result("node01", 1, std::string(9000, 'x')));
  heavy.table.database();
  EXPECT_EQ(heavy.told.size(), 1U);
}

// Another process holds the file, so the first commit cannot end.
TEST_F(stored_results, gather_in_one_batch_while_another_is_committed) {
  const std::string slow_path = place.file("slow.db");
  std::promise<void> ended;
  result_table_options options;
  options.batch_rows = 3;
  options.most_rows = 10;
  options.on_commit_end = [&ended, told = false]() mutable {
    if (!std::exchange(told, true)) ended.set_value();
  };
  a_store slow(slow_path, options);
  datastore::database other(slow_path, datastore::open_mode::read_write);
  other.execute("BEGIN IMMEDIATE");
  for (int i = 0; i < 3 + 9; ++i)
    EXPECT_EQ(slow.write(a_result("node01", i)), 0);
  EXPECT_EQ(slow.told.size(), 0U);
  other.execute("ROLLBACK");
  ended.get_future().wait();
  EXPECT_EQ(slow.table.start_flush(),
            DataStoreExtension::OPERATION_SUCCESSFULL);
  EXPECT_EQ(slow.told.size(), 3U);
  EXPECT_EQ(slow.table.flush(), DataStoreExtension::OPERATION_SUCCESSFULL);
  EXPECT_EQ(slow.told.size(), 12U);
  EXPECT_EQ(slow.table.counters().commits, 2U);
}

TEST_F(stored_results, are_due_a_while_after_the_first_one_came) {
  EXPECT_FALSE(store.table.due());
  const auto before = std::chrono::steady_clock::now();
  store.write(a_result("node01", 1));
  const auto due = store.table.due();
  ASSERT_TRUE(due);
  EXPECT_GE(*due, before + result_table_options().batch_time);
  EXPECT_EQ(store.table.start_flush(),
            DataStoreExtension::OPERATION_SUCCESSFULL);
  EXPECT_TRUE(store.table.due());
  EXPECT_EQ(store.table.flush(), DataStoreExtension::OPERATION_SUCCESSFULL);
  EXPECT_FALSE(store.table.due());
  EXPECT_EQ(store.told.size(), 1U);
}

TEST_F(stored_results, leave_out_one_that_the_database_refuses) {
  log::captured_log log;
  store.table.database().execute(
      "CREATE TRIGGER poison BEFORE INSERT ON result WHEN new.exit_status = "
      "66 BEGIN SELECT RAISE(ABORT, 'not this one'); END");
  for (int i = 0; i < 1000; ++i) {
    provider_result result =
        a_result("n" + std::to_string(i), i, "own " + std::to_string(i));
    if (i == 500) result.header.exit_status = 66;
    store.write(result);
  }
  EXPECT_EQ(store.table.flush(), DataStoreExtension::OPERATION_SUCCESSFULL);
  EXPECT_EQ(store.table.counters().stored, 999U);
  EXPECT_EQ(store.table.counters().rejected, 1U);
  ASSERT_EQ(store.told.size(), 1000U);
  EXPECT_EQ(store.told[500].result, outcome::rejected);
  EXPECT_NE(store.told[500].reason.find("not this one"), std::string::npos);
  EXPECT_EQ(store.integer("SELECT count(*) FROM content WHERE body = 'own "
                          "500'"),
            0);
  EXPECT_EQ(store.integer("SELECT nodes FROM run"), 999);
  EXPECT_EQ(store.faults(), lines{});
}

TEST_F(stored_results, need_a_run_that_exists) {
  EXPECT_THROW(store.table.use_run(4711), datastore::store_error);
}

TEST_F(stored_results, can_be_written_through_the_controller) {
  const auto controller = datastore::DataStoreController::start();
  const auto table = std::make_shared<result_table>(
      place.file("by_controller.db"), result_table_options());
  table->use_run(create_run(table->database(), {}));
  ASSERT_TRUE(controller->register_extension("results", table));
  storable_result record{a_result("node01", 1), {}};
  EXPECT_TRUE(write_provider_result_datastore(
      record, Config(), {"results", controller->extension("results")}));
  result_table_health health;
  const auto handle = controller->extension("results");
  EXPECT_EQ(controller->control(handle, datastore::operation_health, nullptr,
                                &health, nullptr),
            DataStoreExtension::OPERATION_SUCCESSFULL);
  EXPECT_EQ(health.pending, 1U);
  for (const unsigned short operation :
       {datastore::operation_flush, datastore::operation_close,
        datastore::operation_open})
    EXPECT_EQ(controller->control(handle, operation, nullptr, nullptr, nullptr),
              DataStoreExtension::OPERATION_SUCCESSFULL);
  EXPECT_EQ(controller->control(handle, 1, nullptr, nullptr, nullptr),
            DataStoreExtension::UNSUPPORTED_OPERATION);
  EXPECT_EQ(table->database().integer("SELECT count(*) FROM result"), 1);
}

// What another process has put into the index is not in our filter.
TEST_F(stored_results, share_outputs_that_were_folded_behind_their_back) {
  for (int i = 0; i < 80'000; ++i)
    store.write(a_result("n", i, std::to_string(i)));
  store.table.flush();
  a_store other(path);
  other.store(a_result("m", 1, "from elsewhere"));
  other.table.checkpoint();
  store.store(a_result("n", 80'000, "from elsewhere"));
  EXPECT_EQ(store.integer("SELECT count(*) FROM content WHERE body = 'from "
                          "elsewhere'"),
            1);
}

// The index on hashes lags behind; everything must be found all the same.
TEST_F(stored_results, stay_single_while_the_index_of_outputs_is_folded) {
  constexpr int count = 150'000;
  for (int round = 0; round < 2; ++round)
    for (int i = 0; i < count; ++i)
      store.write(a_result("n", round * count + i, std::to_string(i)));
  store.table.flush();
  EXPECT_GT(store.integer("SELECT content_indexed FROM counter"), 130'000);
  EXPECT_EQ(store.integer("SELECT count(*) FROM content"), count + 1);
  EXPECT_EQ(store.integer("SELECT count(*) FROM result"), 2 * count);
}

}  // namespace
}  // namespace zelk::accumulate
