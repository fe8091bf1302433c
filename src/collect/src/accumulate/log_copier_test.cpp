#include "src/collect/src/accumulate/log_copier.h"

#include <signal.h>
#include <sys/resource.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/schema.h"
#include "src/common/datastore/test_child.h"
#include "src/common/datastore/test_scratch.h"

namespace zelk::accumulate {
namespace {

constexpr std::uintmax_t mib = std::uintmax_t{1} << 20;

class log_copier_test : public ::testing::Test {
 protected:
  // A transaction of about a mebibyte, and what is done behind it.
  void commit_a_mebibyte() {
    base.execute("INSERT INTO bulk VALUES (randomblob(1000000))");
    copier.committed();
  }
  std::uintmax_t size(const std::string& end) const {
    return std::filesystem::file_size(path + end);
  }

  datastore::scratch place;
  std::string path = place.file("zelk.db");
  datastore::database base = open_datastore(path);
  log_copier copier{base};
  const int made = (base.execute("CREATE TABLE bulk (body BLOB)"), 0);
};

TEST_F(log_copier_test, leaves_a_short_log_where_it_is) {
  for (int i = 0; i < 10; ++i)
    commit_a_mebibyte();
  copier.wait();
  EXPECT_GE(size("-wal"), 10 * mib * 9 / 10);
  EXPECT_LT(size(""), mib);
}

TEST_F(log_copier_test, copies_beside_a_writer_who_has_not_ended) {
  for (int i = 0; i < 20; ++i)
    commit_a_mebibyte();
  copier.wait();
  base.execute("BEGIN IMMEDIATE");
  EXPECT_GE(size(""), 14 * mib);
  base.execute("ROLLBACK");
}

TEST_F(log_copier_test, begins_a_long_log_anew) {
  for (int i = 0; i < 200; ++i)
    commit_a_mebibyte();
  copier.wait();
  EXPECT_LT(size("-wal"), 80 * mib);
  EXPECT_GE(size(""), 120 * mib);
  EXPECT_EQ(base.integer("SELECT count(*) FROM bulk"), 200);
  EXPECT_EQ(base.text("PRAGMA integrity_check"), "ok");
}

// A reader keeps the log from beginning anew, never from being written.
TEST_F(log_copier_test, lets_the_log_grow_while_somebody_reads_its_beginning) {
  datastore::database reader(path, datastore::open_mode::read_only);
  commit_a_mebibyte();
  reader.execute("BEGIN");
  EXPECT_EQ(reader.integer("SELECT count(*) FROM bulk"), 1);
  for (int i = 0; i < 80; ++i)
    commit_a_mebibyte();
  copier.wait();
  EXPECT_EQ(reader.integer("SELECT count(*) FROM bulk"), 1);
  reader.execute("COMMIT");
  for (int i = 0; i < 2; ++i)
    commit_a_mebibyte();
  copier.wait();
  EXPECT_EQ(base.integer("SELECT count(*) FROM bulk"), 83);
  EXPECT_GE(size(""), 70 * mib);
}

// The disk takes the log and no longer the database. The copier may be told
// next time that all is well, so the log has to stay whole.
TEST(log_copier, loses_nothing_when_the_disk_fails_to_take_the_copy) {
  const datastore::scratch place;
  const std::string path = place.file("zelk.db");
  datastore::child limited([&](int to) {
    ::signal(SIGXFSZ, SIG_IGN);
    bool told = false;
    {
      datastore::database base = open_datastore(path);
      log_copier copier(base);
      base.execute("CREATE TABLE bulk (body BLOB)");
      const auto commit = [&] {
        base.execute("INSERT INTO bulk VALUES (randomblob(1000000))");
        copier.committed();
      };
      for (int i = 0; i < 30; ++i)
        commit();
      copier.wait();
      base.checkpoint();
      const rlimit limit = {32 * mib, 32 * mib};
      ::setrlimit(RLIMIT_FSIZE, &limit);
      for (int i = 0; i < 20; ++i)
        commit();
      copier.wait();
      try {
        copier.check();
      } catch (const datastore::store_error& error) {
        told = error.input_output();
      }
      copier.keep_log();
    }
    datastore::child::say(to, told ? "told" : "not told");
    return 0;
  });
  EXPECT_EQ(limited.heard(), "told");
  EXPECT_EQ(limited.end(), 0);
  EXPECT_GE(std::filesystem::file_size(path + "-wal"), 18 * mib);
  datastore::database again = open_datastore(path);
  EXPECT_EQ(again.integer("SELECT count(*) FROM bulk"), 50);
  EXPECT_EQ(again.text("PRAGMA integrity_check"), "ok");
}

}  // namespace
}  // namespace zelk::accumulate
