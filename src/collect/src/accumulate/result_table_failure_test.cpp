// What a store does when the world around it fails.

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/result_table.h"
#include "src/collect/src/accumulate/test_store.h"
#include "src/common/datastore/test_child.h"
#include "src/common/log/captured_log.h"

namespace zelk::accumulate {
namespace {

using datastore::child;
using datastore::DataStoreExtension;
using std::chrono::milliseconds;
using lines = std::vector<std::string>;
using health_state = decltype(result_table_health::state);

std::string distinct(int i) {
  return std::to_string(i) + std::string(3000, 'x');
}

provider_result distinct_result(int i) {
  return a_result("node01", i, distinct(i));
}

class failing_store : public ::testing::Test {
 protected:
  datastore::scratch place;
  std::string path = place.file("zelk.db");
};

// Writes for ever in small batches, and says which records are on disk.
int write_until_killed(const std::string& path, int to, int first) {
  result_table_options options;
  options.batch_rows = 20;
  a_store store(path, options);
  store.table.on_outcome([&](const row_outcome& each) {
    child::say(to,
               std::to_string(first + static_cast<int>(each.sequence)) + " ");
  });
  for (int i = first + 1;; ++i)
    if (store.write(distinct_result(i)) != 0) return 1;
}

// All that was said before the end; the last number may be cut off.
std::vector<int> numbers(const std::string& heard) {
  std::istringstream words(heard.substr(0, heard.rfind(' ') + 1));
  return {std::istream_iterator<int>(words), {}};
}

TEST_F(failing_store, keeps_every_confirmed_record_when_it_is_killed) {
  std::mt19937 random(std::random_device{}());
  std::set<int> confirmed;
  for (int round = 0; round < 20; ++round) {
    const int first = round * 1'000'000;
    child writer([&](int to) { return write_until_killed(path, to, first); });
    std::string heard = writer.heard();
    const std::size_t enough = 2000 + random() % 8000;
    while (heard.size() < enough)
      heard += writer.heard();
    EXPECT_EQ(writer.end(SIGKILL), -SIGKILL);
    for (std::string more = writer.heard(); !more.empty();
         more = writer.heard())
      heard += more;
    for (const int i : numbers(heard))
      confirmed.insert(i);
  }
  a_store store(path);
  EXPECT_EQ(store.faults(), lines{});
  for (const int i : confirmed)
    ASSERT_EQ(store.store(distinct_result(i)).result, outcome::duplicate) << i;
}

TEST_F(failing_store, takes_up_again_after_a_full_disk) {
  log::captured_log log(log::level_notice);
  a_store store(path);
  store.table.database().execute("PRAGMA max_page_count = 60");
  int i = 0;
  int status = 0;
  while (status == 0) {
    status = store.write(distinct_result(++i));
    if (status == 0 && i % 50 == 0) status = store.table.flush();
  }
  EXPECT_EQ(status, DataStoreExtension::OPERATION_DELAYED);
  EXPECT_EQ(store.table.health().state, health_state::delayed);
  EXPECT_EQ(store.table.health().reason,
            "Datastore '" + path + "': the disk is full");
  const std::size_t kept = store.table.health().pending;
  EXPECT_GT(kept, 0U);
  EXPECT_TRUE(store.table.due());
  EXPECT_EQ(store.table.flush(), DataStoreExtension::OPERATION_DELAYED);
  EXPECT_EQ(store.told.size() + kept, store.table.sequence());

  store.table.database().execute("PRAGMA max_page_count = 1000000");
  EXPECT_EQ(store.table.flush(), DataStoreExtension::OPERATION_SUCCESSFULL);
  EXPECT_EQ(store.table.health().state, health_state::good);
  EXPECT_EQ(store.told.size(), store.table.sequence());
  EXPECT_EQ(store.table.counters().stored, store.table.sequence());
  EXPECT_EQ(store.faults(), lines{});
  EXPECT_EQ(
      log.lines(),
      (lines{"Datastore '" + path + "': the disk is full; " +
                 std::to_string(kept) + " results are kept and tried again",
             "Datastore '" + path + "': results are stored again"}));
}

// Memory must not grow while nothing can be stored.
TEST_F(failing_store, refuses_more_than_two_batches_while_it_is_delayed) {
  log::captured_log log;
  result_table_options options;
  options.batch_rows = 10;
  a_store store(path, options);
  store.table.database().execute("PRAGMA max_page_count = 20");
  int taken = 0;
  int refused = 0;
  for (int i = 0; i < 200; ++i) {
    datastore_row row = row_of(distinct_result(i));
    if (store.table.write(row) == 0) {
      ++taken;
    } else {
      ++refused;
      EXPECT_EQ(row.stdout, distinct(i));
    }
    EXPECT_LE(store.table.health().pending, 20U);
  }
  EXPECT_GT(refused, 100);
  EXPECT_EQ(store.table.counters().taken, static_cast<unsigned>(taken));
  EXPECT_EQ(store.table.counters().stored + store.table.health().pending,
            store.table.counters().taken);
}

// The limit on file sizes fails a write as a bad disk does, in the middle of a
// COMMIT; it can be lifted again.
TEST_F(failing_store, opens_the_file_anew_after_an_io_error) {
  child limited([&](int to) {
    ::signal(SIGXFSZ, SIG_IGN);
    log::captured_log log(log::level_notice);
    a_store store(path);
    struct rlimit limit = {};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = 400'000;
    ::setrlimit(RLIMIT_FSIZE, &limit);
    int i = 0;
    while (store.write(distinct_result(++i)) == 0)
      if (store.table.flush() != 0) break;
    const bool delayed = store.table.health().state == health_state::delayed;
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const bool stored = store.table.flush() == 0;
    const auto& counters = store.table.counters();
    std::ostringstream said;
    said << delayed << stored << (counters.stored == counters.taken)
         << (store.integer("SELECT count(*) FROM result") ==
             static_cast<std::int64_t>(counters.taken))
         << store.faults().size() << counters.duplicates;
    child::say(to, said.str());
    return 0;
  });
  EXPECT_EQ(limited.heard(), "111100");
  EXPECT_EQ(limited.end(), 0);
}

TEST_F(failing_store, survives_a_small_disk_that_really_fills_up) {
  const std::string disk = place.file("disk");
  ASSERT_EQ(::mkdir(disk.c_str(), 0700), 0);
  if (::mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=2m") != 0)
    GTEST_SKIP() << "only root may mount";
  {
    log::captured_log log;
    a_store store(disk + "/zelk.db");
    int i = 0;
    while (store.write(distinct_result(++i)) == 0)
      if (store.table.flush() != 0) break;
    EXPECT_EQ(store.table.health().state, health_state::delayed);
    const std::size_t confirmed = store.told.size();
    EXPECT_EQ(::mount("tmpfs", disk.c_str(), "tmpfs", MS_REMOUNT, "size=50m"),
              0);
    EXPECT_EQ(store.table.flush(), DataStoreExtension::OPERATION_SUCCESSFULL);
    EXPECT_GT(store.told.size(), confirmed);
    EXPECT_EQ(store.table.counters().stored, store.table.counters().taken);
    EXPECT_EQ(store.faults(), lines{});
  }
  ::umount(disk.c_str());
}

TEST_F(failing_store, says_who_is_in_its_way_and_keeps_what_it_has) {
  { a_store store(path); }
  child holder([&](int to) {
    datastore::database base(path, datastore::open_mode::read_write);
    datastore::transaction held(base);
    child::say(to, "held");
    ::pause();
    return 0;
  });
  ASSERT_EQ(holder.heard(), "held");
  log::captured_log log;
  result_table_options options;
  options.busy_limit = milliseconds(100);
  options.busy_notice = milliseconds(20);
  result_table table(path, options);
  table.use_run(1);
  datastore_row row = row_of(a_result("node01", 1));
  EXPECT_EQ(table.write(row), DataStoreExtension::OPERATION_SUCCESSFULL);
  EXPECT_EQ(table.flush(), DataStoreExtension::OPERATION_DELAYED);
  EXPECT_EQ(log.lines(),
            (lines{"Waiting for another process that is writing to the "
                   "datastore '" +
                       path + "', at most 0.1 s",
                   "Datastore '" + path +
                       "': another process is writing to it and does not end; "
                       "1 results are kept and tried again"}));
  holder.end(SIGKILL);
  EXPECT_EQ(table.flush(), DataStoreExtension::OPERATION_SUCCESSFULL);
  EXPECT_EQ(table.counters().stored, 1U);
}

TEST_F(failing_store, does_not_write_into_a_file_that_was_removed) {
  log::captured_log log;
  a_store store(path);
  store.write(a_result("node01", 1));
  ASSERT_EQ(::unlink(path.c_str()), 0);
  EXPECT_EQ(store.table.flush(), DataStoreExtension::OPERATION_FAILED);
  EXPECT_TRUE(store.told.empty());
  const std::string why = "Datastore '" + path +
                          "': the file was removed or replaced while it was "
                          "in use";
  EXPECT_EQ(log.lines(), lines{why + "; 1 results are not stored"});
  EXPECT_EQ(store.table.health().state, health_state::failed);
  EXPECT_EQ(store.table.health().reason, why);
  EXPECT_EQ(store.table.health().pending, 1U);
  EXPECT_EQ(store.write(a_result("node01", 2)),
            DataStoreExtension::OPERATION_FAILED);
  EXPECT_FALSE(store.table.due());

  store.table.reopen();
  EXPECT_EQ(store.table.health().state, health_state::good);
  store.table.use_run(create_run(store.table.database(), {}));
  EXPECT_EQ(store.store(a_result("node01", 2)).result, outcome::stored);
}

TEST_F(failing_store, does_not_write_into_a_file_that_was_replaced) {
  log::captured_log log;
  a_store store(path);
  const std::string other = place.file("other.db");
  { a_store another(other); }
  store.write(a_result("node01", 1));
  std::filesystem::rename(other, path);
  EXPECT_EQ(store.table.flush(), DataStoreExtension::OPERATION_FAILED);
  EXPECT_TRUE(store.told.empty());
}

TEST_F(failing_store, notices_that_its_log_was_removed) {
  log::captured_log log;
  a_store store(path);
  store.store(a_result("node01", 1));
  ASSERT_EQ(::unlink((path + "-wal").c_str()), 0);
  store.told.clear();
  store.write(a_result("node01", 2));
  EXPECT_EQ(store.table.flush(), DataStoreExtension::OPERATION_FAILED);
  EXPECT_TRUE(store.told.empty());
}

TEST_F(failing_store, reports_a_run_that_was_removed_under_it) {
  log::captured_log log;
  a_store store(path);
  {
    a_store other(path);
    remove_run(other.table.database(), store.run);
  }
  store.write(a_result("node01", 1));
  EXPECT_EQ(store.table.flush(), DataStoreExtension::OPERATION_FAILED);
  EXPECT_EQ(store.table.health().reason,
            "Datastore '" + path +
                "': run 1 was removed while results came in for it");
}

// While one process stores, another one prunes outputs that the first one
// remembers.
TEST_F(failing_store, does_not_refer_to_outputs_that_were_pruned) {
  a_store store(path);
  a_store other(path);
  store.table.use_run(other.run);
  other.table.use_run(store.run);
  other.store(a_result("node01", 1, "shared"));
  remove_run(other.table.database(), store.run);
  EXPECT_EQ(store.integer("SELECT count(*) FROM content"), 0);
  store.store(a_result("node02", 2, "shared"));
  EXPECT_EQ(store.text("SELECT STDOUT FROM v_provider_result"), "shared");
  EXPECT_EQ(store.faults(), lines{});
}

TEST_F(failing_store, is_not_made_of_a_damaged_file) {
  {
    a_store store(path);
    for (int i = 0; i < 100; ++i)
      store.write(distinct_result(i));
    store.table.flush();
    store.table.checkpoint();
  }
  std::string bytes = datastore::content_of(path);
  for (std::size_t at = 16384; at < bytes.size(); ++at)
    bytes[at] = '\x5a';
  place.write("zelk.db", bytes);
  EXPECT_THROW(a_store store(path), datastore::store_error);
}

TEST_F(failing_store, lets_two_processes_store_at_once) {
  const auto fill = [&](int to, int first) {
    result_table_options options;
    options.batch_rows = 10;
    a_store store(path, options);
    for (int i = 0; i < 500; ++i)
      store.write(a_result("n", first + i, "both write " + std::to_string(i)));
    if (store.table.flush() != 0) return 1;
    child::say(to, std::to_string(store.table.counters().stored));
    return 0;
  };
  child one([&](int to) { return fill(to, 0); });
  child two([&](int to) { return fill(to, 250); });
  const int stored = std::stoi(one.heard()) + std::stoi(two.heard());
  EXPECT_EQ(one.end(), 0);
  EXPECT_EQ(two.end(), 0);
  a_store store(path);
  EXPECT_EQ(store.integer("SELECT count(*) FROM result"), stored);
  EXPECT_EQ(store.integer("SELECT count(*) FROM content WHERE size > 3"), 500);
  EXPECT_EQ(store.faults(), lines{});
}

}  // namespace
}  // namespace zelk::accumulate
