#include "src/collect/src/db/upkeep.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/db/info.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/test_output.h"
#include "src/common/datastore/test_child.h"

namespace zelk::db {
namespace {

class upkeep : public testing::Test {
 protected:
  upkeep() : path_(folder_.file("zelk.db")), here_(reading::place_of(path_)) {
    reading::add_run(path_, 1);
  }

  void damage(const std::string& sql) {
    datastore::database base = accumulate::open_datastore(path_);
    base.execute("PRAGMA foreign_keys = OFF");
    base.execute(sql);
  }

  int check(bool repair = false) {
    const reading::captured_output output;
    const int status = check_datastore(here_, repair, false);
    said_ = output.out();
    return status;
  }

  datastore::scratch folder_;
  std::string path_;
  reading::place here_;
  std::string said_;
};

TEST_F(upkeep, finds_nothing_in_what_the_accumulator_made) {
  EXPECT_EQ(check(), 0) << said_;
  EXPECT_EQ(said_, "no fault found\n");
}

TEST_F(upkeep, makes_wrong_counts_good) {
  damage("UPDATE run SET results = 99, nodes = 0");
  EXPECT_EQ(check(), 1) << said_;
  EXPECT_NE(said_.find("check --repair"), said_.npos);
  EXPECT_EQ(check(true), 0) << said_;
  EXPECT_EQ(reading::number_in(path_, "SELECT results FROM v_run"), 6);
  EXPECT_EQ(check(), 0);
}

TEST_F(upkeep, makes_a_lost_look_up_table_good) {
  damage("UPDATE counter SET content_indexed = (SELECT max(id) FROM content)");
  EXPECT_EQ(check(), 1) << said_;
  EXPECT_EQ(check(true), 0) << said_;
}

TEST_F(upkeep, tells_when_an_output_is_another_one) {
  damage("UPDATE content SET body = 'forged', size = 6 WHERE id = 1");
  EXPECT_EQ(check(), 2);
  EXPECT_NE(said_.find("Output 1 is not what its hash says"), said_.npos);
  EXPECT_EQ(check(true), 2) << "what is lost cannot be made good";
}

TEST_F(upkeep, tells_when_a_header_is_another_one) {
  damage("UPDATE result SET exit_status = 1 WHERE id = 2");
  EXPECT_EQ(check(), 2);
  EXPECT_NE(said_.find("Result 2 is not the record"), said_.npos);
}

TEST_F(upkeep, tells_when_something_refers_to_nothing) {
  damage("DELETE FROM host WHERE id = 1");
  EXPECT_EQ(check(), 2);
  EXPECT_NE(said_.find("refers to nothing"), said_.npos);
}

TEST_F(upkeep, survives_any_page_of_rubbish) {
  reading::open_to_write(here_).checkpoint();
  const std::string good = datastore::content_of(path_);
  constexpr std::size_t page = 16384;
  for (std::size_t at = page; at < good.size(); at += page) {
    std::string bad = good;
    for (std::size_t i = 0; i < page; ++i)
      bad[at + i] = static_cast<char>(i * 31 + at / page);
    const std::string path = folder_.write("bad.db", bad);
    std::filesystem::remove(path + "-wal");
    std::filesystem::remove(path + "-shm");
    const reading::captured_output output;
    try {
      EXPECT_NE(check_datastore(reading::place_of(path), false, false), 0)
          << at / page << output.out();
    } catch (const reading::refusal&) {
    }
  }
}

TEST_F(upkeep, is_refused_for_what_is_no_datastore) {
  const std::string other = folder_.file("other.db");
  datastore::database(other, datastore::open_mode::create)
      .execute("CREATE TABLE t (x)");
  const std::string newer =
      folder_.write("newer.db", datastore::content_of(path_));
  reading::open_to_write(reading::place_of(newer))
      .execute("PRAGMA user_version = 99");
  const std::string paths[] = {
      folder_.file("nowhere"),
      folder_.path(),
      folder_.write("text", std::string(5000, 'x')),
      folder_.write("empty", ""),
      folder_.write("short", datastore::content_of(path_).substr(0, 700)),
      other,
      newer,
      "/dev/zero"};
  for (const std::string& path : paths) {
    SCOPED_TRACE(path);
    const reading::captured_output output;
    const bool plain = std::filesystem::is_regular_file(path);
    const std::string before = plain ? datastore::content_of(path) : "";
    EXPECT_THROW(check_datastore(reading::place_of(path), true, false),
                 reading::refusal);
    EXPECT_THROW(vacuum_datastore(reading::place_of(path), false),
                 reading::refusal);
    EXPECT_THROW(show_info(reading::place_of(path), {}), reading::refusal);
    if (path != folder_.file("nowhere")) {
      EXPECT_THROW(migrate_datastore(reading::place_of(path), false, false),
                   reading::refusal);
    }
    if (plain) {
      EXPECT_TRUE(datastore::content_of(path) == before);
    }
  }
  EXPECT_FALSE(std::filesystem::exists(folder_.file("nowhere")));
}

TEST_F(upkeep, names_the_version_that_is_too_new) {
  reading::open_to_write(here_).execute("PRAGMA user_version = 99");
  EXPECT_NE(reading::complaint_of([&] {
              show_info(here_, {});
            }).find("it has version 99, this program knows versions up to"),
            std::string::npos);
}

TEST_F(upkeep, gives_space_back) {
  damage(
      "WITH RECURSIVE c(x) AS (VALUES(1) UNION ALL SELECT x+1 FROM c WHERE "
      "x<200) INSERT INTO name (text) SELECT hex(zeroblob(10000)) || x FROM c");
  damage("DELETE FROM name WHERE length(text) > 10000");
  reading::open_to_write(here_).checkpoint();
  const auto before = std::filesystem::file_size(path_);
  const reading::captured_output output;
  EXPECT_EQ(vacuum_datastore(here_, false), 0);
  EXPECT_LT(std::filesystem::file_size(path_), before / 4);
  EXPECT_EQ(check(), 0) << said_;
}

// An accumulator holds the lock: first a word about it, then an end.
TEST_F(upkeep, waits_for_a_writer_and_then_gives_up) {
  reading::place impatient = here_;
  impatient.wait = std::chrono::seconds(1);
  const datastore::child writer([&](int to) {
    datastore::database base = accumulate::open_datastore(path_);
    datastore::transaction locked(base);
    datastore::child::say(to, "locked");
    ::pause();
    return 0;
  });
  ASSERT_EQ(writer.heard(), "locked");
  const reading::captured_output output;
  const std::string said =
      reading::complaint_of([&] { vacuum_datastore(impatient, false); });
  EXPECT_NE(said.find("another process is writing"), said.npos) << said;
  EXPECT_NE(reading::complaint_of([&] {
              check_datastore(impatient, true, false);
            }).find("another process is writing"),
            std::string::npos);
  EXPECT_EQ(check_datastore(impatient, false, true), 0) << "reading goes on";
  EXPECT_EQ(show_info(impatient, {}), 0);
}

TEST_F(upkeep, makes_a_datastore_once) {
  const reading::place there = reading::place_of(folder_.file("new.db"));
  const reading::captured_output output;
  EXPECT_EQ(init_datastore(there, true, false), 0);
  EXPECT_EQ(init_datastore(there, true, false), 0);
  EXPECT_EQ(output.out(),
            "made: " + there.path + "\nthere is one: " + there.path + "\n");
  struct stat found = {};
  ::stat(there.path.c_str(), &found);
  EXPECT_EQ(found.st_mode & 0777U, 0600U);
  EXPECT_THROW(init_datastore(reading::place_of("/nowhere/x.db"), true, false),
               reading::refusal);
  EXPECT_THROW(init_datastore(reading::place_of(folder_.write("text", "hello")),
                              true, false),
               reading::refusal);
}

TEST_F(upkeep, has_nothing_to_migrate_yet) {
  const reading::captured_output output;
  EXPECT_EQ(migrate_datastore(here_, true, false), 0);
  EXPECT_EQ(migrate_datastore(here_, false, false), 0);
  EXPECT_EQ(output.out(),
            "version 3: nothing to do\nversion 3: nothing to do\n");
  EXPECT_FALSE(std::filesystem::exists(path_ + ".v3"));
}

TEST_F(upkeep, tells_the_old_version_and_the_new_one) {
  accumulate::take_back_to_version_2(path_);
  const reading::captured_output output;
  EXPECT_EQ(migrate_datastore(here_, true, false), 0);
  EXPECT_EQ(migrate_datastore(here_, false, false), 0);
  EXPECT_EQ(output.out(),
            "version 2 would become version 3\nversion 2 is now version 3\n"
            "the file as it was: " +
                path_ + ".v2\n");
  EXPECT_EQ(reading::number_in(path_, "SELECT count(*) FROM v_acceptance"), 0);
  EXPECT_EQ(check_datastore(here_, false, true), 0);
}

TEST_F(upkeep, reads_version_2_and_says_what_brings_it_up_to_date) {
  accumulate::take_back_to_version_2(path_);
  const reading::captured_output output;
  EXPECT_EQ(show_info(here_, {}), 0);
  EXPECT_EQ(check_datastore(here_, false, false), 0);
  EXPECT_NE(output.out().find("schema     version 2; 'zelk-db migrate' brings "
                              "it to version 3\n"),
            std::string::npos)
      << output.out();
  EXPECT_THROW(vacuum_datastore(here_, true), reading::refusal);
}

TEST_F(upkeep, says_that_a_file_to_migrate_is_empty) {
  const std::string empty = folder_.write("empty", "");
  EXPECT_EQ(reading::complaint_of([&] {
              migrate_datastore(reading::place_of(empty), false, false);
            }),
            "Datastore '" + empty + "': the file is empty");
}

}  // namespace
}  // namespace zelk::db
