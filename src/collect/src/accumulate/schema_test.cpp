#include "src/collect/src/accumulate/schema.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/test_store.h"
#include "src/common/datastore/test_child.h"
#include "src/common/log/captured_log.h"
#include "src/common/names/names.h"

namespace zelk::accumulate {
namespace {

using datastore::child;
using datastore::database;
using datastore::open_mode;
using datastore::statement;
using datastore::store_error;
using lines = std::vector<std::string>;

template <typename Action>
std::string refusal_of(const Action& action) {
  try {
    action();
  } catch (const store_error& error) {
    return error.what();
  }
  return "";
}

class schema : public ::testing::Test {
 protected:
  datastore::scratch place;
  std::string path = place.file("zelk.db");
};

TEST_F(schema, makes_a_file_with_the_settings_that_it_needs) {
  database base = open_datastore(path);
  const std::map<std::string, std::string> settings = {
      {"page_size", "16384"},
      {"journal_mode", "wal"},
      {"synchronous", "2"},
      {"wal_autocheckpoint", "1000"},
      {"user_version", "3"},
      {"application_id", "1514490955"},
      {"journal_size_limit", "67108864"},
  };
  for (const auto& [name, value] : settings)
    EXPECT_EQ(base.text("PRAGMA " + name), value) << name;
  struct stat found = {};
  ASSERT_EQ(::stat(path.c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 0777, 0600U);
}

TEST_F(schema, has_strict_tables_only) {
  database base = open_datastore(path);
  EXPECT_EQ(base.text("SELECT group_concat(name) FROM pragma_table_list WHERE "
                      "type = 'table' AND strict = 0 AND name NOT LIKE "
                      "'sqlite_%'"),
            "");
  EXPECT_THROW(base.execute("INSERT INTO counter VALUES (2, 1, 1, 0, 0)"),
               store_error);
  EXPECT_THROW(base.execute("UPDATE counter SET next_result = 'x'"),
               store_error);
}

TEST_F(schema, shows_the_fifteen_columns_under_their_names) {
  database base = open_datastore(path);
  statement query(base, "SELECT * FROM v_provider_result");
  ASSERT_EQ(query.columns(), 15);
  for (const auto& [name, index] : datastore::column_names)
    EXPECT_EQ(query.column_name(index), name);
}

TEST_F(schema, shows_a_result_as_the_table_of_names_says) {
  a_store store(path);
  provider_result result = a_result("node01", 5'000, "out");
  result.header.exit_status = 7;
  result.header.encoding = 1;
  result.stderr.append(std::string_view("e\0r", 3));
  result.header.stderr_size = 3;
  store.store(result);
  statement query(store.table.database(),
                  "SELECT * FROM v_provider_result WHERE \"Hostname\" = "
                  "'node01'");
  ASSERT_TRUE(query.step());
  EXPECT_EQ(query.integer(0), 1);
  EXPECT_EQ(query.bytes(1), "memory");
  EXPECT_EQ(query.bytes(2), "node01");
  EXPECT_EQ(query.integer(3), 1);
  EXPECT_EQ(query.bytes(4), "node01");
  EXPECT_EQ(query.integer(5), 7);
  EXPECT_EQ(query.integer(6), 1'760'000'000);
  EXPECT_EQ(query.real(7), 1.5);
  EXPECT_EQ(query.integer(8), 1);
  EXPECT_EQ(query.bytes(9), "out");
  EXPECT_EQ(query.type(9), datastore::value_type::text);
  EXPECT_EQ(query.bytes(10), std::string_view("e\0r", 3));
  EXPECT_EQ(query.type(10), datastore::value_type::blob);
  EXPECT_EQ(query.bytes(11), "None");
  EXPECT_EQ(query.integer(12), 3);
  EXPECT_EQ(query.bytes(13), "ada");
  EXPECT_EQ(query.integer(14), 1'760'000'000'005'000);
  EXPECT_FALSE(query.step());
}

TEST_F(schema, shows_an_empty_output_as_empty_text) {
  a_store store(path);
  store.store(a_result("node01", 1, ""));
  EXPECT_EQ(store.text("SELECT typeof(STDOUT) || length(STDOUT) || "
                       "typeof(STDERR) FROM v_provider_result"),
            "text0text");
  EXPECT_EQ(store.text("SELECT stdout_size || typeof(stdout_hash) FROM "
                       "v_result"),
            "0null");
}

TEST_F(schema, shows_results_with_their_run) {
  a_store store(path);
  store.store(a_result("node01", 1, "abc"));
  EXPECT_EQ(store.text("SELECT run || node || provider || ended || stdout_hash "
                       "FROM v_result"),
            "1node01memory2025-10-09T08:53:20Z"
            "ba7816bf8f01cfea414140de5dae2223"
            "b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(store.text("SELECT state || nodes || results FROM v_run"),
            "running11");
  EXPECT_EQ(store.text("SELECT node || results FROM v_host"), "node011");
}

// Without the index one node's results are searched for among all.
TEST_F(schema, finds_one_node_by_indices_alone) {
  database base = open_datastore(path);
  statement plan(base,
                 "EXPLAIN QUERY PLAN SELECT * FROM v_provider_result WHERE "
                 "\"Hostname\" = 'node01'");
  while (plan.step())
    EXPECT_EQ(plan.bytes(3).find("SCAN"), std::string_view::npos)
        << plan.bytes(3);
}

TEST_F(schema, can_be_opened_again_and_by_several_at_once) {
  database first = open_datastore(path);
  database second = open_datastore(path);
  database reader = open_datastore_read_only(path);
  EXPECT_THROW(reader.execute("DELETE FROM run"), store_error);
}

TEST_F(schema, is_made_in_an_empty_file) {
  place.write("zelk.db", "");
  database base = open_datastore(path);
  EXPECT_EQ(base.text("PRAGMA page_size"), "16384");
}

TEST_F(schema, is_made_once_by_many_that_start_at_once) {
  for (int round = 0; round < 5; ++round) {
    const std::string own = place.file(std::to_string(round));
    const auto open = [&](int) {
      const database base = open_datastore(own);
      return 0;
    };
    child first(open), second(open), third(open);
    EXPECT_EQ(first.end() + second.end() + third.end(), 0);
    EXPECT_EQ(open_datastore(own).text("PRAGMA integrity_check"), "ok");
  }
}

TEST_F(schema, refuses_a_database_of_another_program) {
  database(path, open_mode::create).execute("CREATE TABLE t (a)");
  const std::string before = datastore::content_of(path);
  EXPECT_EQ(refusal_of([&] { open_datastore(path); }),
            "Datastore '" + path +
                "': the file is a SQLite database of another program");
  EXPECT_EQ(datastore::content_of(path), before);
}

TEST_F(schema, leaves_a_newer_file_alone_and_names_its_version) {
  open_datastore(path).execute("PRAGMA user_version = 7");
  {
    // Without its log, as after a clean end.
    database base(path, open_mode::read_write);
    ASSERT_TRUE(base.checkpoint());
  }
  const std::string before = datastore::content_of(path);
  const std::string refusal =
      "Datastore '" + path +
      "': it has version 7, this program knows versions up to 3; a newer "
      "Zelkara is needed for it";
  EXPECT_EQ(refusal_of([&] { open_datastore(path); }), refusal);
  EXPECT_EQ(refusal_of([&] { open_datastore_read_only(path); }), refusal);
  EXPECT_EQ(refusal_of([&] { migrate_datastore(path, false); }), refusal);
  EXPECT_EQ(datastore::content_of(path), before);
}

TEST_F(schema, warns_on_a_network_file_system_and_does_without_the_log) {
  log::captured_log log;
  database base = open_datastore(path, "NFS");
  EXPECT_EQ(log.lines(),
            lines{"The datastore '" + path +
                  "' lies on a network file system (NFS): it is slower there, "
                  "locked for this process alone, and not safe when two hosts "
                  "write; a local disk is the right place"});
  EXPECT_EQ(base.text("PRAGMA journal_mode"), "delete");
  base.execute("UPDATE counter SET next_result = 5");
  EXPECT_EQ(std::filesystem::exists(path + "-wal"), false);
  EXPECT_EQ(std::filesystem::exists(path + "-shm"), false);
}

// A wait that nobody explains looks like a hang.
TEST_F(schema, says_what_opening_waits_for_and_gives_up) {
  open_datastore(path);
  const child locker([&](int to) {
    database base = open_datastore(path);
    base.execute("PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE");
    child::say(to, "locked");
    ::pause();
    return 0;
  });
  ASSERT_EQ(locker.heard(), "locked");
  const datastore::patience little{std::chrono::milliseconds(300),
                                   std::chrono::milliseconds(20)};
  const std::string said =
      "Waiting for another process that is writing to the datastore '" + path +
      "', at most 0.3 s";
  log::captured_log log{log::level_warning};
  EXPECT_NE(refusal_of([&] {
              open_datastore(path, little);
            }).find("another process is writing"),
            std::string::npos);
  EXPECT_EQ(log.lines(), lines{said});
  EXPECT_NE(refusal_of([&] { open_datastore_read_only(path, little); }), "");
  EXPECT_NE(refusal_of([&] { migrate_datastore(path, true, little); }), "");
  EXPECT_EQ(log.lines(), (lines{said, said, said}));
}

// A file without a write-ahead log gets one when nobody uses it.
TEST_F(schema, says_that_it_waits_for_readers_of_a_file_without_a_log) {
  open_datastore(path, "NFS");
  const child reader([&](int to) {
    database base(path, open_mode::read_only);
    base.execute("BEGIN; SELECT count(*) FROM run");
    child::say(to, "reading");
    ::pause();
    return 0;
  });
  ASSERT_EQ(reader.heard(), "reading");
  log::captured_log log{log::level_warning};
  EXPECT_NE(refusal_of([&] {
              open_datastore(path, "",
                             {std::chrono::milliseconds(300),
                              std::chrono::milliseconds(20)});
            }),
            "");
  EXPECT_EQ(log.lines(),
            lines{"Waiting for another process that is writing to the "
                  "datastore '" +
                  path + "', at most 0.3 s"});
}

class migration : public schema {
 protected:
  // A datastore of the present version with some rows, and what comes after it.
  migration() {
    a_store store(path);
    for (int i = 0; i < 50; ++i)
      store.write(a_result("node01", i, "output " + std::to_string(i)));
    store.table.flush();
    rows = rows_of(store.table.database());
  }

  static std::string rows_of(database& base) {
    return base.text(
        "SELECT group_concat(\"rowid\" || STDOUT || Unique_timestamp) FROM "
        "v_provider_result");
  }

  const std::vector<migration_step> steps = {
      {3, "this is behind us"},
      {4, "ALTER TABLE run ADD COLUMN colour TEXT NOT NULL DEFAULT 'grey'"},
      {5,
       "CREATE TABLE fact (id INTEGER PRIMARY KEY) STRICT;"
       "INSERT INTO fact SELECT id FROM result"},
  };
  std::string rows;
};

TEST_F(migration, takes_an_older_file_to_the_last_version) {
  const migration_report report = migrate_datastore(path, false, steps);
  EXPECT_EQ(report.from, 3);
  EXPECT_EQ(report.to, 5);
  EXPECT_EQ(report.copy, path + ".v3");
  database base(path, open_mode::read_only);
  EXPECT_EQ(base.integer("PRAGMA user_version"), 5);
  EXPECT_EQ(base.text("SELECT colour FROM run"), "grey");
  EXPECT_EQ(base.integer("SELECT count(*) FROM fact"), 50);
  EXPECT_EQ(rows_of(base), rows);
  database copy(report.copy, open_mode::read_only);
  EXPECT_EQ(copy.integer("PRAGMA user_version"), 3);
  EXPECT_EQ(rows_of(copy), rows);
}

TEST_F(migration, tells_without_doing_on_a_dry_run) {
  const std::string before = datastore::content_of(path);
  const migration_report report = migrate_datastore(path, true, steps);
  EXPECT_EQ(report.from, 3);
  EXPECT_EQ(report.to, 5);
  EXPECT_EQ(report.copy, "");
  EXPECT_EQ(datastore::content_of(path), before);
  EXPECT_FALSE(std::filesystem::exists(path + ".v3"));
}

TEST_F(migration, has_nothing_to_do_in_a_current_file) {
  const migration_report report = migrate_datastore(path, false);
  EXPECT_EQ(report.from, datastore_version);
  EXPECT_EQ(report.to, datastore_version);
  EXPECT_EQ(report.copy, "");
}

TEST_F(migration, leaves_the_file_as_it_was_when_a_step_fails) {
  std::vector<migration_step> broken = steps;
  broken.push_back({5, "CREATE TABLE fact (id)"});
  EXPECT_NE(refusal_of([&] { migrate_datastore(path, false, broken); }), "");
  database base = open_datastore(path);
  EXPECT_EQ(base.integer("SELECT count(*) FROM sqlite_schema WHERE name = "
                         "'fact'"),
            0);
  EXPECT_EQ(rows_of(base), rows);
}

TEST_F(migration, takes_back_a_step_that_leaves_dangling_references) {
  std::vector<migration_step> broken = steps;
  broken.push_back({5, "PRAGMA foreign_keys = OFF; DELETE FROM run"});
  EXPECT_EQ(refusal_of([&] { migrate_datastore(path, false, broken); }),
            "Datastore '" + path +
                "': the migration left references to nothing behind; it was "
                "taken back");
  EXPECT_EQ(open_datastore(path).integer("SELECT count(*) FROM run"), 1);
}

// The copy that is there may be the only good one.
TEST_F(migration, does_not_overwrite_a_copy) {
  place.write("zelk.db.v3", "precious");
  EXPECT_EQ(refusal_of([&] { migrate_datastore(path, false, steps); }),
            "Datastore '" + path + ".v3': File exists");
  EXPECT_EQ(datastore::content_of(path + ".v3"), "precious");
  EXPECT_EQ(open_datastore(path).integer("PRAGMA user_version"), 3);
}

TEST_F(migration, is_whole_or_not_at_all_when_it_is_killed) {
  for (int round = 0; round < 10; ++round) {
    const std::string own = place.file("kill" + std::to_string(round));
    database(path, open_mode::read_only).copy_to(own);
    child migrating([&](int to) {
      child::say(to, "go");
      migrate_datastore(own, false, steps);
      return 0;
    });
    ASSERT_EQ(migrating.heard(), "go");
    ::usleep(static_cast<unsigned>(round) * 1500);
    migrating.end(SIGKILL);
    database base(own, open_mode::read_write);
    const std::int64_t version = base.integer("PRAGMA user_version");
    EXPECT_EQ(base.integer("SELECT count(*) FROM sqlite_schema WHERE name = "
                           "'fact'"),
              version == 5 ? 1 : 0);
    EXPECT_TRUE(version == 3 || version == 5);
    EXPECT_EQ(rows_of(base), rows);
  }
}

constexpr char all_statements[] =
    "SELECT group_concat(type || name || sql) FROM (SELECT type, name, sql "
    "FROM sqlite_schema WHERE sql IS NOT NULL ORDER BY type, name)";

// What was migrated differs in nothing from what was made new.
TEST_F(migration, gives_a_file_of_version_2_what_version_3_has) {
  const std::string wanted = open_datastore(path).text(all_statements);
  take_back_to_version_2(path);
  const migration_report report = migrate_datastore(path, false);
  EXPECT_EQ(report.from, 2);
  EXPECT_EQ(report.to, 3);
  EXPECT_EQ(report.copy, path + ".v2");
  database base = open_datastore(path);
  EXPECT_EQ(base.text(all_statements), wanted);
  EXPECT_EQ(rows_of(base), rows);
  database copy(report.copy, open_mode::read_only);
  EXPECT_EQ(copy.integer("PRAGMA user_version"), 2);
  EXPECT_EQ(rows_of(copy), rows);
}

TEST_F(migration, takes_a_file_of_version_1_over_version_2_to_version_3) {
  const std::string wanted = open_datastore(path).text(all_statements);
  take_back_to_version_2(path);
  database(path, open_mode::read_write)
      .execute(
          "DROP VIEW v_run; CREATE VIEW v_run AS SELECT number AS run FROM "
          "run; PRAGMA user_version = 1");
  const migration_report report = migrate_datastore(path, false);
  EXPECT_EQ(report.from, 1);
  EXPECT_EQ(report.to, 3);
  EXPECT_EQ(report.copy, path + ".v1");
  database base = open_datastore(path);
  EXPECT_EQ(base.text(all_statements), wanted);
  EXPECT_EQ(rows_of(base), rows);
}

TEST_F(migration, of_a_dry_run_tells_all_versions_on_the_way) {
  take_back_to_version_2(path);
  database(path, open_mode::read_write).execute("PRAGMA user_version = 1");
  const migration_report report = migrate_datastore(path, true);
  EXPECT_EQ(report.from, 1);
  EXPECT_EQ(report.to, 3);
  EXPECT_EQ(report.copy, "");
}

TEST_F(schema, of_version_2_is_read_and_not_written) {
  open_datastore(path);
  take_back_to_version_2(path);
  const std::string before = datastore::content_of(path);
  EXPECT_EQ(refusal_of([&] { open_datastore(path); }),
            "Datastore '" + path +
                "': it has version 2, this program writes version 3; 'zelk-db "
                "migrate' brings it to version 3");
  EXPECT_EQ(open_datastore_read_only(path).integer("SELECT count(*) FROM "
                                                   "v_run"),
            0);
  EXPECT_EQ(datastore::content_of(path), before);
}

TEST_F(schema, asks_for_a_migration_when_the_file_is_older) {
  open_datastore(path);
  database(path, open_mode::read_write).execute("PRAGMA user_version = 0");
  EXPECT_EQ(refusal_of([&] { open_datastore(path); }),
            "Datastore '" + path + "': its making was not finished");
}

}  // namespace
}  // namespace zelk::accumulate
