#include "src/common/datastore/sqlite.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/datastore/test_child.h"
#include "src/common/datastore/test_scratch.h"
#include "src/common/log/captured_log.h"

namespace zelk::datastore {
namespace {

using namespace std::string_literals;
using std::chrono::milliseconds;

struct thrown {
  store_failure failure = store_failure::row;
  std::string text = "nothing was thrown";
};

template <typename Action>
thrown thrown_by(const Action& action) {
  try {
    action();
  } catch (const store_error& error) {
    return {error.failure(), error.what()};
  }
  return {};
}

class sqlite : public ::testing::Test {
 protected:
  database with_table() {
    database base(path, open_mode::create);
    base.execute("CREATE TABLE t (a ANY UNIQUE) STRICT");
    return base;
  }

  scratch place;
  std::string path = place.file("test.db");
};

TEST_F(sqlite, makes_a_file_that_only_its_owner_reads) {
  const mode_t mask = ::umask(0);
  database base = with_table();
  base.execute("PRAGMA journal_mode = WAL; INSERT INTO t VALUES (1)");
  ::umask(mask);
  for (const char* end : {"", "-wal", "-shm"}) {
    SCOPED_TRACE(end);
    struct stat found = {};
    ASSERT_EQ(::stat((path + end).c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0600U);
  }
}

TEST_F(sqlite, opens_nothing_that_is_not_there) {
  for (const open_mode mode : {open_mode::read_only, open_mode::read_write}) {
    const thrown error = thrown_by([&] { database(path, mode); });
    EXPECT_EQ(error.failure, store_failure::fatal);
    EXPECT_EQ(error.text,
              "Datastore '" + path + "': No such file or directory");
  }
  EXPECT_NE(::access(path.c_str(), F_OK), 0);
}

TEST_F(sqlite, names_a_directory_a_pipe_and_a_missing_folder) {
  EXPECT_EQ(thrown_by([&] { database(place.path(), open_mode::create); }).text,
            "Datastore '" + place.path() + "': Is a directory");
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(thrown_by([&] { database(path, open_mode::create); }).text,
            "Datastore '" + path + "': not a regular file");
  EXPECT_EQ(thrown_by([&] {
              database(place.file("no/where.db"), open_mode::create);
            }).text,
            "Datastore '" + place.file("no/where.db") +
                "': No such file or directory");
}

TEST_F(sqlite, knows_what_is_no_database) {
  place.write("test.db", std::string(5000, 'x'));
  const thrown error =
      thrown_by([&] { database(path, open_mode::read_write); });
  EXPECT_EQ(error.failure, store_failure::fatal);
  EXPECT_EQ(error.text,
            "Datastore '" + path + "': the file is not a datastore");
  EXPECT_EQ(content_of(path), std::string(5000, 'x'));
}

// These names mean something else to SQLite.
TEST_F(sqlite, takes_every_name_for_a_file) {
  ASSERT_EQ(::chdir(place.path().c_str()), 0);
  for (const std::string& name : {":memory:"s, "file:x?mode=memory"s, "a b"s}) {
    SCOPED_TRACE(name);
    database(name, open_mode::create).execute("CREATE TABLE t (a)");
    EXPECT_EQ(::access(place.file(name).c_str(), F_OK), 0);
  }
  ASSERT_EQ(::chdir("/"), 0);
}

TEST_F(sqlite, refuses_to_write_what_it_may_only_read) {
  with_table();
  ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
  ASSERT_EQ(::chmod(place.path().c_str(), 0755), 0);
  child reader([&](int to) {
    if (::getuid() == 0 && ::setuid(65534) == -1) return 1;
    child::say(to,
               thrown_by([&] { database(path, open_mode::read_write); }).text);
    database(path, open_mode::read_only).execute("SELECT * FROM t");
    return 0;
  });
  EXPECT_EQ(reader.heard(),
            "Datastore '" + path +
                "': the file or its directory cannot be written to");
  EXPECT_EQ(reader.end(), 0);
}

TEST_F(sqlite, never_writes_when_opened_to_read) {
  with_table();
  database base(path, open_mode::read_only);
  EXPECT_EQ(
      thrown_by([&] { base.execute("INSERT INTO t VALUES (1)"); }).failure,
      store_failure::fatal);
  const std::string other = place.file("other.db");
  const thrown attach =
      thrown_by([&] { base.execute("ATTACH '" + other + "' AS other"); });
  EXPECT_NE(attach.text, thrown().text);
  EXPECT_NE(::access(other.c_str(), F_OK), 0);
}

TEST_F(sqlite, gives_values_back_as_they_were) {
  database base = with_table();
  std::string every_byte;
  for (int i = 0; i < 256; ++i)
    every_byte += static_cast<char>(i);
  const std::vector<std::pair<std::string, value_type>> cases = {
      {"", value_type::text},
      {"a", value_type::text},
      {"\0a"s, value_type::blob},
      {"gr\xc3\xbc", value_type::text},
      {"\xff", value_type::blob},
      {every_byte, value_type::blob},
      {std::string(64 << 20, 'x'), value_type::text},
  };
  statement insert(base, "INSERT INTO t VALUES (?1)");
  for (const auto& [bytes, type] : cases)
    insert.bind_bytes(1, bytes).run();
  statement query(base, "SELECT a FROM t ORDER BY rowid");
  for (const auto& [bytes, type] : cases) {
    ASSERT_TRUE(query.step());
    EXPECT_EQ(query.type(0), type);
    EXPECT_TRUE(query.bytes(0) == bytes);
  }
  EXPECT_FALSE(query.step());
}

TEST_F(sqlite, binds_an_empty_view_as_an_empty_value) {
  database base = with_table();
  statement query(base, "SELECT ?1, ?2, ?3");
  query.bind_text(1, {}).bind_blob(2, {}).bind(3, std::nan(""));
  ASSERT_TRUE(query.step());
  EXPECT_EQ(query.type(0), value_type::text);
  EXPECT_EQ(query.type(1), value_type::blob);
  EXPECT_EQ(query.type(2), value_type::null);
}

TEST_F(sqlite, holds_a_row_responsible_for_its_own_faults) {
  database base = with_table();
  statement insert(base, "INSERT INTO t VALUES (?1)");
  insert.bind(1, std::int64_t{7}).run();
  EXPECT_EQ(thrown_by([&] { insert.bind(1, std::int64_t{7}).run(); }).failure,
            store_failure::row);
  // The statement can be used again.
  insert.bind(1, std::int64_t{8}).run();
  EXPECT_EQ(base.integer("SELECT count(*) FROM t"), 2);
  EXPECT_EQ(base.last_id(), 2);
}

TEST_F(sqlite, says_what_is_wrong_with_a_statement) {
  database base = with_table();
  const thrown error = thrown_by([&] { statement(base, "SELEKT 1"); });
  EXPECT_EQ(error.text,
            "Datastore '" + path + "': near \"SELEKT\": syntax error");
}

TEST_F(sqlite, tells_what_stands_behind_the_first_statement) {
  database base = with_table();
  EXPECT_EQ(statement(base, "SELECT 1; SELECT 2").rest(), " SELECT 2");
  EXPECT_TRUE(statement(base, "SELECT 1").read_only());
  EXPECT_FALSE(statement(base, "DELETE FROM t").read_only());
}

TEST_F(sqlite, describes_its_columns) {
  database base = with_table();
  statement query(base, "SELECT 1 AS one, 2.5 AS two, NULL");
  ASSERT_TRUE(query.step());
  EXPECT_EQ(query.columns(), 3);
  EXPECT_EQ(query.column_name(0), "one");
  EXPECT_EQ(query.integer(0), 1);
  EXPECT_EQ(query.real(1), 2.5);
  EXPECT_EQ(query.bytes(2), "");
}

TEST_F(sqlite, gives_nothing_for_a_query_without_a_row) {
  database base = with_table();
  EXPECT_EQ(base.integer("SELECT a FROM t"), 0);
  EXPECT_EQ(base.text("SELECT a FROM t"), "");
}

TEST_F(sqlite, rolls_back_what_is_not_committed) {
  database base = with_table();
  {
    transaction left(base);
    base.execute("INSERT INTO t VALUES (1)");
    EXPECT_TRUE(base.in_transaction());
  }
  EXPECT_FALSE(base.in_transaction());
  transaction kept(base);
  base.execute("INSERT INTO t VALUES (2)");
  kept.commit();
  EXPECT_EQ(base.text("SELECT group_concat(a) FROM t"), "2");
}

TEST_F(sqlite, takes_back_a_savepoint_alone) {
  database base = with_table();
  transaction whole(base);
  base.execute("INSERT INTO t VALUES (1)");
  {
    savepoint left(base);
    base.execute("INSERT INTO t VALUES (2)");
  }
  {
    savepoint kept(base);
    base.execute("INSERT INTO t VALUES (3)");
    kept.keep();
  }
  whole.commit();
  EXPECT_EQ(base.text("SELECT group_concat(a) FROM t"), "1,3");
}

TEST_F(sqlite, says_that_it_waits_and_gives_up_in_time) {
  with_table();
  child holder([&](int to) {
    database base(path, open_mode::read_write);
    transaction held(base);
    child::say(to, "held");
    ::pause();
    return 0;
  });
  ASSERT_EQ(holder.heard(), "held");

  log::captured_log log;
  database base(path, open_mode::read_write);
  base.set_busy_limit(milliseconds(150), milliseconds(30));
  const auto start = std::chrono::steady_clock::now();
  const thrown error = thrown_by([&] { transaction wanted(base); });
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(error.failure, store_failure::transient);
  EXPECT_EQ(error.text, "Datastore '" + path +
                            "': another process is writing to it and does "
                            "not end");
  EXPECT_GE(waited, milliseconds(150));
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{
                "Waiting for another process that is writing to the "
                "datastore '" +
                path + "', at most 0.15 s"}));

  // When the other one has died the lock is free.
  holder.end(SIGKILL);
  EXPECT_EQ(thrown_by([&] { transaction wanted(base); }).text, thrown().text);
}

TEST_F(sqlite, goes_on_as_soon_as_the_other_has_ended) {
  with_table();
  child holder([&](int to) {
    database base(path, open_mode::read_write);
    transaction held(base);
    base.execute("INSERT INTO t VALUES (1)");
    child::say(to, "held");
    ::usleep(100'000);
    held.commit();
    return 0;
  });
  ASSERT_EQ(holder.heard(), "held");
  database base(path, open_mode::read_write);
  transaction wanted(base);
  base.execute("INSERT INTO t VALUES (2)");
  wanted.commit();
  EXPECT_EQ(base.integer("SELECT count(*) FROM t"), 2);
  EXPECT_EQ(holder.end(), 0);
}

TEST_F(sqlite, takes_a_full_disk_for_passing) {
  // A database of at most 20 pages is a disk that is full after 20 pages.
  database base = with_table();
  base.execute("PRAGMA max_page_count = 20");
  const thrown error = thrown_by([&] {
    for (;;)
      base.execute("INSERT INTO t VALUES (randomblob(4000))");
  });
  EXPECT_EQ(error.failure, store_failure::transient);
  EXPECT_EQ(error.text, "Datastore '" + path + "': the disk is full");
}

TEST_F(sqlite, takes_a_file_that_ends_early_for_damaged) {
  with_table().execute(
      "INSERT INTO t SELECT randomblob(3000) FROM (VALUES (1),(2),(3),(4))");
  ASSERT_EQ(::truncate(path.c_str(), 8192), 0);
  const thrown error = thrown_by([&] {
    database base(path, open_mode::read_write);
    base.execute("SELECT sum(length(a)) FROM t");
  });
  EXPECT_EQ(error.failure, store_failure::fatal);
}

TEST_F(sqlite, copies_a_database_that_is_in_use) {
  database base = with_table();
  base.execute("PRAGMA journal_mode = WAL; INSERT INTO t VALUES (42)");
  const std::string copy = place.file("copy.db");
  base.copy_to(copy);
  EXPECT_EQ(database(copy, open_mode::read_only).integer("SELECT a FROM t"),
            42);
  struct stat found = {};
  ASSERT_EQ(::stat(copy.c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 0777, 0600U);
  EXPECT_EQ(thrown_by([&] { base.copy_to(copy); }).text,
            "Datastore '" + copy + "': File exists");
}

TEST_F(sqlite, cuts_the_log_unless_somebody_reads) {
  database base = with_table();
  base.execute("PRAGMA journal_mode = WAL; INSERT INTO t VALUES (1)");
  database other(path, open_mode::read_only);
  statement reading(other, "SELECT a FROM t");
  ASSERT_TRUE(reading.step());
  base.execute("INSERT INTO t VALUES (2)");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(base.checkpoint());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  reading.reset();
  EXPECT_TRUE(base.checkpoint());
  EXPECT_EQ(content_of(path + "-wal"), "");
}

TEST_F(sqlite, can_be_interrupted_by_another_thread) {
  database base = with_table();
  std::atomic<bool> ended = false;
  std::thread impatient([&] {
    // An interrupt before the statement has begun is not kept for it.
    while (!ended) {
      ::usleep(10'000);
      base.interrupt();
    }
  });
  const thrown error = thrown_by([&] {
    base.execute(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) "
        "SELECT count(*) FROM n");
  });
  ended = true;
  impatient.join();
  EXPECT_EQ(error.failure, store_failure::transient);
}

}  // namespace
}  // namespace zelk::datastore
