// The small parts of the store that are a function or two.

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <future>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/file_identity.h"
#include "src/collect/src/accumulate/job_thread.h"
#include "src/collect/src/accumulate/name_table.h"
#include "src/collect/src/accumulate/pending_batch.h"
#include "src/collect/src/accumulate/printable.h"
#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/accumulate/test_store.h"

namespace zelk::accumulate {
namespace {

using namespace std::string_literals;

TEST(printable, lets_nothing_through_but_plain_characters) {
  EXPECT_EQ(printable("node01 ~"), "node01 ~");
  EXPECT_EQ(printable("a\nb\x1b\x7f\xff\0c"s), "a?b????c");
  EXPECT_EQ(printable("abcdef", 3), "abc");
  EXPECT_EQ(printable(""), "");
}

TEST(job_thread, does_one_job_after_the_other) {
  job_thread thread;
  int sum = 0;
  for (int i = 1; i <= 100; ++i) {
    thread.start([&sum, i] { sum += i; });
    thread.wait();
    EXPECT_FALSE(thread.busy());
  }
  EXPECT_EQ(sum, 5050);
}

TEST(job_thread, is_busy_until_the_job_is_done) {
  job_thread thread;
  std::atomic<bool> go = false;
  thread.start([&] {
    while (!go)
      ::usleep(100);
  });
  EXPECT_TRUE(thread.busy());
  go = true;
  thread.wait();
  EXPECT_FALSE(thread.busy());
}

TEST(job_thread, finishes_its_job_before_it_ends) {
  std::atomic<int> done = 0;
  {
    job_thread thread;
    thread.start([&] {
      ::usleep(10'000);
      done = 1;
    });
  }
  EXPECT_EQ(done, 1);
}

TEST(job_thread, tells_when_nobody_would_wait_any_more) {
  std::promise<void> told;
  job_thread thread([&] { told.set_value(); });
  thread.start([] {});
  told.get_future().wait();
  EXPECT_FALSE(thread.busy());
}

// SIGTERM has to reach the thread that knows how to end.
TEST(job_thread, takes_no_signals) {
  job_thread thread;
  sigset_t blocked = {};
  thread.start([&] { ::pthread_sigmask(SIG_BLOCK, nullptr, &blocked); });
  thread.wait();
  EXPECT_EQ(::sigismember(&blocked, SIGTERM), 1);
  EXPECT_EQ(::sigismember(&blocked, SIGINT), 1);
  sigset_t own = {};
  ::pthread_sigmask(SIG_BLOCK, nullptr, &own);
  EXPECT_EQ(::sigismember(&own, SIGTERM), 0);
}

TEST(file_identity, sees_removal_replacement_and_a_lost_log) {
  const datastore::scratch place;
  const std::string path = place.write("db", "1");
  file_identity identity(path);
  EXPECT_TRUE(identity.unchanged());
  const std::string log = place.write("db-wal", "log");
  EXPECT_TRUE(identity.unchanged());
  place.write("db", "other content, same file");
  EXPECT_TRUE(identity.unchanged());
  std::filesystem::rename(log, place.file("away"));
  EXPECT_FALSE(identity.unchanged());
  EXPECT_TRUE(identity.same_database());
  std::filesystem::rename(place.file("away"), log);
  EXPECT_TRUE(identity.unchanged());
  std::filesystem::rename(place.write("new", "1"), path);
  EXPECT_FALSE(identity.unchanged());
  EXPECT_FALSE(identity.same_database());
  std::filesystem::remove(path);
  EXPECT_FALSE(identity.same_database());
}

TEST(name_table, gives_each_text_one_number) {
  const datastore::scratch place;
  datastore::database base = open_datastore(place.file("zelk.db"));
  name_table names(base);
  datastore::transaction writing(base);
  const std::int64_t first = names.id("node01");
  EXPECT_NE(names.id(""), first);
  EXPECT_NE(names.id("\xff"), first);
  EXPECT_EQ(names.id("node01"), first);
  names.forget();
  EXPECT_EQ(names.id("node01"), first);
  EXPECT_EQ(base.integer("SELECT count(*) FROM name"), 3);
}

TEST(pending_batch, gives_large_texts_back_and_keeps_small_ones) {
  sha256 hash;
  pending_batch batch;
  datastore_row row = row_of(a_result("n", 1, std::string(1 << 20, 'x')));
  batch.take(hash, row, 1, 1);
  EXPECT_EQ(row.stdout, "");
  EXPECT_GT(batch.bytes(), std::size_t{1} << 20);
  batch.clear();
  EXPECT_TRUE(batch.empty());
  EXPECT_EQ(batch.bytes(), 0U);
  datastore_row small = row_of(a_result("n", 2, "x"));
  batch.take(hash, small, 2, 1);
  EXPECT_LT(small.stdout.capacity(), 5000U);
}

TEST(pending_batch, names_nothing_after_an_earlier_record) {
  sha256 hash;
  pending_batch batch;
  datastore_row first = row_of(a_result("n", 1, "\xff"));
  first.header.padding_1[0] = 1;
  batch.take(hash, first, 1, 1);
  batch.clear();
  datastore_row second = row_of(a_result("n", 1, ""));
  batch.take(hash, second, 2, 1);
  const pending_record& record = batch.records()[0];
  EXPECT_EQ(record.stdout.name, digest{});
  EXPECT_TRUE(record.stdout.text);
  EXPECT_FALSE(record.raw_header);
}

}  // namespace
}  // namespace zelk::accumulate
