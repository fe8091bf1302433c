#include "src/collect/src/db/guarded_query.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/test_output.h"

namespace zelk::db {
namespace {

constexpr const char* views[] = {"v_provider_result", "v_result", "v_run",
                                 "v_host", "v_missing"};

class a_query : public testing::Test {
 protected:
  a_query() : path_(folder_.file("zelk.db")) { reading::add_run(path_, 1); }

  std::int64_t rows(std::string_view sql, const query_limits& limits = {}) {
    datastore::database base = accumulate::open_datastore_read_only(path_);
    guarded_query query(base, views, sql, limits);
    std::int64_t count = 0;
    while (query.step())
      ++count;
    return count;
  }

  datastore::scratch folder_;
  std::string path_;
};

TEST_F(a_query, reads_every_view) {
  EXPECT_EQ(rows("SELECT * FROM v_provider_result"), 6);
  EXPECT_EQ(rows("SELECT * FROM v_result"), 6);
  EXPECT_EQ(rows("SELECT * FROM v_run"), 1);
  EXPECT_EQ(rows("SELECT * FROM v_host"), 3);
  EXPECT_EQ(rows("SELECT * FROM v_missing"), 1);
}

TEST_F(a_query, may_use_what_a_select_has) {
  for (const char* sql :
       {"SELECT count(*) FROM v_result", "SELECT 1;", "SELECT 1; -- done",
        "WITH a AS (SELECT * FROM v_run) SELECT count(*) FROM a",
        "SELECT r.run FROM main.v_run r JOIN v_host h USING (run) LIMIT 1",
        "SELECT value FROM json_each('[1]')", "VALUES (1)",
        "SELECT max(stdout_size) OVER () FROM v_result LIMIT 1",
        "SELECT \"STDOUT\" FROM V_Provider_Result LIMIT 1",
        "WITH RECURSIVE c(x) AS (SELECT 1 UNION SELECT 2 FROM c) SELECT 1",
        "WITH RECURSIVE c AS (SELECT 1 UNION SELECT 1 FROM c) SELECT * FROM c"})
    EXPECT_EQ(reading::complaint_of([&] { EXPECT_EQ(rows(sql), 1) << sql; }),
              "")
        << sql;
}

// Each of these is somebody's way round.
constexpr const char* tricks[] = {
    "SELECT * FROM run",
    "SELECT * FROM main.run",
    "SELECT * FROM \"result\"",
    "SELECT count(*) FROM content",
    "SELECT (SELECT text FROM name LIMIT 1)",
    "SELECT * FROM v_run WHERE EXISTS (SELECT 1 FROM counter)",
    "WITH v_run AS (SELECT * FROM name) SELECT * FROM v_run",
    "WITH v_run AS MATERIALIZED (SELECT * FROM run) SELECT * FROM v_run",
    "WITH v_run(a) AS (SELECT text FROM name) SELECT a FROM v_run",
    "SELECT * FROM (SELECT * FROM name) AS v_run",
    "SELECT * FROM sqlite_schema",
    "SELECT count(*) FROM sqlite_master",
    "SELECT 1 FROM sqlite_schema",
    "SELECT * FROM temp.sqlite_master",
    "SELECT * FROM sqlite_sequence",
    "SELECT * FROM pragma_table_info('run')",
    "SELECT count(*) FROM pragma_database_list",
    "SELECT * FROM dbstat",
    "SELECT * FROM v_run; SELECT * FROM run",
    "SELECT 1; DELETE FROM run",
    "ATTACH '/etc/passwd' AS x",
    "ATTACH ':memory:' AS x",
    "DETACH main",
    "PRAGMA user_version",
    "PRAGMA query_only = OFF",
    "PRAGMA writable_schema = ON",
    "PRAGMA main.journal_mode = DELETE",
    "DELETE FROM v_run",
    "DELETE FROM run",
    "INSERT INTO run (number) VALUES (1)",
    "UPDATE v_run SET label = 'x' RETURNING label",
    "UPDATE run SET label = 'x' RETURNING label",
    "REPLACE INTO run (number) VALUES (1)",
    "CREATE TABLE t (x)",
    "CREATE TEMP TABLE t AS SELECT * FROM v_run",
    "CREATE TEMP VIEW v_run AS SELECT * FROM run",
    "CREATE VIRTUAL TABLE t USING fts5(x)",
    "DROP TABLE run",
    "DROP VIEW v_run",
    "ALTER TABLE run RENAME TO gone",
    "ALTER TABLE v_run RENAME COLUMN run TO gone",
    "REINDEX",
    "ANALYZE",
    "VACUUM",
    "VACUUM INTO 'copy'",
    "BEGIN",
    "BEGIN EXCLUSIVE",
    "COMMIT",
    "SAVEPOINT x",
    "SELECT load_extension('x')",
    "SELECT LOAD_EXTENSION('x', 'y')",
    "EXPLAIN DELETE FROM run",
    "",
    " ; ",
    "-- only this",
    "SELEC 1",
    "SELECT * FROM v_nothing",
};

TEST_F(a_query, never_reaches_anything_else) {
  const std::string before = datastore::content_of(path_);
  for (const char* sql : tricks)
    EXPECT_THROW(rows(sql), reading::refusal) << sql;
  EXPECT_TRUE(datastore::content_of(path_) == before);
  EXPECT_FALSE(std::filesystem::exists("copy"));
}

TEST_F(a_query, says_which_views_there_are) {
  EXPECT_EQ(reading::complaint_of([&] { rows("SELECT * FROM run"); }),
            "Query: no such table: run; the views are v_provider_result, "
            "v_result, v_run, v_host, v_missing");
  EXPECT_EQ(reading::complaint_of([&] { rows("SELECT 1; SELECT 2"); }),
            "Query: one statement at a time; a second one begins at byte 10");
  EXPECT_EQ(reading::complaint_of([&] { rows("SELECT \x1b FROM v_run"); }),
            "Query: unrecognized token: \"\\x1b\"");
}

TEST_F(a_query, is_stopped_when_its_time_is_up) {
  query_limits limits;
  limits.time = std::chrono::milliseconds(50);
  EXPECT_EQ(reading::complaint_of([&] {
              rows(
                  "WITH RECURSIVE c(x) AS (VALUES(1) UNION ALL SELECT x+1 "
                  "FROM c) SELECT count(*) FROM c",
                  limits);
            }),
            "Query: stopped after 0 s; --timeout S gives it more time");
}

TEST_F(a_query, is_stopped_when_a_value_becomes_too_large) {
  query_limits limits;
  limits.longest_value = 1 << 20;
  EXPECT_EQ(reading::complaint_of([&] {
              rows(
                  "WITH RECURSIVE c(x) AS (VALUES(1) UNION ALL SELECT x+1 "
                  "FROM c WHERE x<2000) SELECT group_concat(hex(zeroblob("
                  "1000))) FROM c",
                  limits);
            }),
            "Query: string or blob too big");
}

TEST_F(a_query, that_fails_on_the_way_says_why) {
  EXPECT_EQ(reading::complaint_of(
                [&] { rows("SELECT abs(-9223372036854775807 - 1)"); }),
            "Query: integer overflow");
  EXPECT_EQ(reading::complaint_of([&] { rows("SELECT zeroblob(2000000000)"); }),
            "Query: string or blob too big");
}

TEST_F(a_query, of_a_megabyte_is_refused) {
  const std::string sql = "SELECT 1 -- " + std::string(2 << 20, 'x');
  EXPECT_THROW(rows(sql), reading::refusal);
  std::string deep(5000, '(');
  EXPECT_THROW(rows("SELECT " + deep + "1" + std::string(5000, ')')),
               reading::refusal);
}

TEST_F(a_query, leaves_the_connection_as_it_was) {
  datastore::database base = accumulate::open_datastore_read_only(path_);
  { guarded_query query(base, views, "SELECT 1", {}); }
  EXPECT_EQ(base.integer("SELECT count(*) FROM run"), 1);
}

}  // namespace
}  // namespace zelk::db
