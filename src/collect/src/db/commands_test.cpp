// The commands that list, show, move and remove runs, on whole datastores.

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/db/export_runs.h"
#include "src/collect/src/db/import_runs.h"
#include "src/collect/src/db/info.h"
#include "src/collect/src/db/prune.h"
#include "src/collect/src/db/query.h"
#include "src/collect/src/db/run_list.h"
#include "src/collect/src/db/show.h"
#include "src/collect/src/db/upkeep.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/test_output.h"

namespace zelk::db {
namespace {

class commands : public testing::Test {
 protected:
  commands()
      : path_(folder_.file("zelk.db")),
        here_(reading::place_of(path_)),
        other_(reading::place_of(folder_.file("other.db"))) {
    reading::add_run(path_, 1, "nightly");
    reading::add_run(path_, 2);
  }

  // What `command` prints; its status is kept.
  template <typename Command>
  std::string printed(const Command& command) {
    const reading::captured_output output;
    status_ = command();
    said_ = output.error();
    return output.out();
  }

  std::string exported(const std::vector<std::string>& runs,
                       const std::string& name = "runs.zelk.tar.zst") {
    export_options options;
    options.runs = runs;
    options.output = folder_.file(name);
    options.force = true;
    printed([&] { return export_runs(here_, options); });
    return options.output;
  }

  int import(const std::string& file) {
    import_options options;
    options.files = {file};
    printed_ = printed([&] { return import_runs(other_, options); });
    return status_;
  }

  void make_other() { accumulate::open_datastore(other_.path); }

  std::int64_t in_other(std::string_view sql) {
    return reading::number_in(other_.path, sql);
  }

  int check(const reading::place& where) {
    printed_ = printed([&] { return check_datastore(where, false, false); });
    return status_;
  }

  datastore::scratch folder_;
  std::string path_;
  reading::place here_;
  reading::place other_;
  int status_ = -1;
  std::string said_;
  std::string printed_;
};

TEST_F(commands, runs_are_listed_the_newest_first) {
  const std::string text = printed([&] { return list_runs(here_, {}); });
  EXPECT_EQ(status_, 0);
  EXPECT_NE(text.find("1m00s  nightly  1/2 +2 not expected      6/1  partial"),
            text.npos)
      << text;
  EXPECT_LT(text.find("\n  2  "), text.find("\n  1  "));
}

TEST_F(commands, runs_are_chosen_by_node_label_and_age) {
  run_list_options options;
  options.json = true;
  const auto count = [&] {
    return nlohmann::json::parse(
               printed([&] { return list_runs(here_, options); }))
        .size();
  };
  EXPECT_EQ(count(), 2U);
  options.label = "nightly";
  EXPECT_EQ(count(), 1U);
  options.nodes = {"node[1-2]"};
  EXPECT_EQ(count(), 1U);
  options.excluded = {"node1,node2"};
  EXPECT_EQ(count(), 0U);
  options = {};
  options.json = true;
  options.since = "1d";
  EXPECT_EQ(count(), 0U);
  options.since = "2025-01-01";
  EXPECT_EQ(count(), 2U);
  for (const char* set : {"node[3-1]", "node[1-", "a b"}) {
    options.nodes = {set};
    EXPECT_THROW(count(), reading::refusal) << set;
  }
  options.nodes.clear();
  options.since = "yesterday";
  EXPECT_THROW(count(), reading::refusal);
}

TEST_F(commands, a_run_whose_process_died_is_not_said_to_run) {
  {
    datastore::database base = reading::open_to_write(here_);
    accumulate::create_run(base, {});
    accumulate::create_run(base, {});
    base.execute("UPDATE run SET owner_pid = 999999999 WHERE number = 4");
  }
  const std::string text = printed([&] { return list_runs(here_, {}); });
  EXPECT_NE(text.find("0  running\n"), text.npos) << text;
  EXPECT_NE(text.find("0  interrupted (its process has ended)\n"), text.npos)
      << text;
  run_list_options options;
  options.json = true;
  const auto runs =
      nlohmann::json::parse(printed([&] { return list_runs(here_, options); }));
  for (const auto& each : runs)
    EXPECT_EQ(each["abandoned"], each["run"] == 4) << each;
  // Looking changes nothing.
  EXPECT_EQ(reading::number_in(path_,
                               "SELECT count(*) FROM v_run WHERE state = "
                               "'running'"),
            2);
}

TEST_F(commands, a_result_is_shown_byte_for_byte) {
  show_options options{"1", "node2", "cpu"};
  EXPECT_EQ(printed([&] { return show_result(here_, options); }),
            std::string("out of \x00 \xff ", 10) + "cpu");
}

TEST_F(commands, a_result_that_is_not_there_is_explained) {
  const auto why = [&](const show_options& options) {
    return reading::complaint_of([&] { show_result(here_, options); });
  };
  EXPECT_EQ(why({"1", "silent", "cpu"}),
            "Run 1 has no result of 'silent' by 'cpu': no answer");
  EXPECT_EQ(why({"1", "nobody"}),
            "Run 1 has no result of 'nobody'; it has results of node[1-3]");
  EXPECT_EQ(
      why({"1", "node1"}),
      "2 results of run 1 are meant; name NODE, PROVIDER and --option, or one "
      "of these by --result, or ask for --header:\n  node1 memory None "
      "--result 1\n  node1 cpu None --result 2");
}

TEST_F(commands, one_of_two_results_of_the_same_kind_is_chosen_by_its_number) {
  accumulate::result_table table(path_, {});
  table.use_run(1);
  datastore_row row =
      accumulate::row_of(accumulate::a_result("node1", 77, "again", "cpu"));
  table.write(row);
  table.flush();
  show_options options{"1", "node1", "cpu"};
  EXPECT_NE(reading::complaint_of([&] {
              show_result(here_, options);
            }).find("node1 cpu None --result 13"),
            std::string::npos);
  options.result = 13;
  EXPECT_EQ(printed([&] { return show_result(here_, options); }), "again");
  options.result = 2;
  EXPECT_EQ(printed([&] { return show_result(here_, options); }),
            std::string("out of \x00 \xff ", 10) + "cpu");
  options.result = 7;
  EXPECT_EQ(reading::complaint_of([&] { show_result(here_, options); }),
            "Run 1 has no result of 'node1' by 'cpu' with the number 7; it has "
            "results of node[1-3]");
}

// Root may write anywhere, so another user looks.
TEST_F(commands, a_datastore_in_a_folder_that_cannot_be_written_is_read) {
  const bool root = ::geteuid() == 0;
  ASSERT_EQ(::chmod(path_.c_str(), 0444), 0);
  ASSERT_EQ(::chmod(folder_.path().c_str(), 0555), 0);
  if (root) {
    ASSERT_EQ(::seteuid(65534), 0);
  }
  const std::string said = reading::complaint_of([&] {
    EXPECT_NE(printed([&] { return list_runs(here_, {}); }).find("nightly"),
              std::string::npos);
  });
  const std::string refused =
      reading::complaint_of([&] { reading::open_to_write(here_); });
  if (root) {
    ASSERT_EQ(::seteuid(0), 0);
  }
  ::chmod(folder_.path().c_str(), 0755);
  EXPECT_EQ(said, "");
  EXPECT_EQ(refused, "Datastore '" + path_ +
                         "': the file or its directory cannot be written to");
}

TEST_F(commands, what_only_the_log_has_is_not_left_out_in_silence) {
  datastore::database writing = reading::open_to_write(here_);
  writing.execute("UPDATE run SET note = 'new'");
  const std::string copy = folder_.file("copy");
  std::filesystem::create_directory(copy);
  std::filesystem::copy(path_, copy + "/zelk.db");
  std::filesystem::copy(path_ + "-wal", copy + "/zelk.db-wal");
  for (const char* name : {"/zelk.db", "/zelk.db-wal"})
    ASSERT_EQ(::chmod((copy + name).c_str(), 0444), 0);
  ASSERT_EQ(::chmod(folder_.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(copy.c_str(), 0555), 0);
  const bool root = ::geteuid() == 0;
  if (root) {
    ASSERT_EQ(::seteuid(65534), 0);
  }
  const std::string said = reading::complaint_of(
      [&] { reading::open_to_read(reading::place_of(copy + "/zelk.db")); });
  if (root) {
    ASSERT_EQ(::seteuid(0), 0);
  }
  ::chmod(copy.c_str(), 0755);
  EXPECT_NE(said.find("it or its directory cannot be written to, and '" + copy +
                      "/zelk.db-wal' cannot be read without"),
            std::string::npos)
      << said;
}

TEST_F(commands, names_with_escapes_reach_no_terminal) {
  accumulate::result_table table(path_, {});
  table.use_run(2);
  const provider_result evil =
      accumulate::a_result("n\x1b[2J", 5, "evil", "p\x1b]0;x\x07");
  datastore_row row = accumulate::row_of(evil);
  table.write(row);
  table.flush();
  accumulate::set_run_label(table.database(), 2, "l\x1b[31m");
  accumulate::set_run_note(table.database(), 2,
                           "\xc2\x9b"
                           "31m\xff\n");
  show_options header{"2"};
  header.header = true;
  run_list_options as_json;
  as_json.json = true;
  query_options query;
  query.sql = "SELECT * FROM v_result";
  std::string all = printed([&] { return list_runs(here_, {}); });
  all += printed([&] { return list_runs(here_, as_json); });
  all += printed([&] { return show_info(here_, {}); });
  all += printed([&] { return show_result(here_, header); });
  all += printed([&] { return run_query(here_, query); });
  all += reading::complaint_of([&] { show_result(here_, {"2"}); });
  all += reading::complaint_of([&] { show_result(here_, {"2", "nobody"}); });
  for (const char c : all)
    ASSERT_TRUE(c == '\n' || (c >= ' ' && c < '\x7f')) << all;
}

TEST_F(commands, a_query_stops_at_its_rows) {
  query_options options;
  options.sql = "SELECT run FROM v_result";
  options.form = "jsonl";
  options.max_rows = 3;
  const std::string text = printed([&] { return run_query(here_, options); });
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(said_,
            "zelk-db: there are more than 3 rows; --max-rows N shows "
            "more\n");
  options.sql.clear();
  options.file = folder_.file("nowhere.sql");
  EXPECT_THROW(run_query(here_, options), reading::refusal);
  options.file = folder_.path();
  EXPECT_THROW(run_query(here_, options), reading::refusal);
}

TEST_F(commands, what_is_exported_is_imported_whole) {
  make_other();
  ASSERT_EQ(import(exported({"1..2"})), 0) << said_;
  EXPECT_EQ(in_other("SELECT sum(results) FROM v_run"), 12);
  EXPECT_EQ(in_other("SELECT count(*) FROM v_missing WHERE reason = 'no "
                     "answer'"),
            2);
  EXPECT_EQ(check(other_), 0) << printed_;
  // Exported again, from where it was imported to, it is the same file.
  const std::string first = datastore::content_of(exported({"1..2"}));
  std::swap(here_, other_);
  EXPECT_TRUE(datastore::content_of(exported({"1..2"}, "again")) == first);
}

TEST_F(commands, importing_twice_gives_nothing_new) {
  make_other();
  const std::string file = exported({"1..2"});
  ASSERT_EQ(import(file), 0);
  ASSERT_EQ(import(file), 0);
  EXPECT_NE(printed_.find("0 new runs and 0 new results; 2 and 12 were there"),
            printed_.npos)
      << printed_;
  EXPECT_EQ(in_other("SELECT count(*) FROM v_run"), 2);
  EXPECT_EQ(in_other("SELECT count(*) FROM v_result"), 12);
}

TEST_F(commands, a_damaged_file_changes_nothing) {
  make_other();
  const std::string good = datastore::content_of(exported({"1..2"}));
  for (const std::size_t size : {good.size() - 1, good.size() / 2}) {
    EXPECT_EQ(import(folder_.write("cut", good.substr(0, size))), 2);
    EXPECT_NE(said_.find("Refused '"), said_.npos);
  }
  std::string bad = good;
  bad[bad.size() / 2] = static_cast<char>(~bad[bad.size() / 2]);
  EXPECT_EQ(import(folder_.write("flipped", bad)), 2);
  for (const std::string& file :
       {folder_.file("nowhere"), folder_.path(), std::string("/dev/zero")})
    EXPECT_THROW(import(file), reading::refusal) << file;
  EXPECT_EQ(in_other("SELECT count(*) FROM v_run"), 0);
  EXPECT_EQ(in_other("SELECT count(*) FROM v_result"), 0);
}

// What an import that was killed leaves: a running run of a dead process.
TEST_F(commands, an_import_that_was_killed_is_completed) {
  const std::string file = exported({"1"});
  {
    accumulate::result_table table(other_.path, {});
    accumulate::run wanted;
    {
      datastore::database base = reading::open_to_read(here_);
      wanted = *accumulate::find_run(base, 1);
    }
    table.use_run(accumulate::create_run(table.database(), wanted));
    const provider_result one = accumulate::a_result(
        "node1", 1001, std::string("out of \x00 \xff ", 10) + "memory");
    datastore_row row = accumulate::row_of(one);
    table.write(row);
    table.flush();
    table.database().execute("UPDATE run SET owner_pid = 999999999");
  }
  ASSERT_EQ(import(file), 0) << said_;
  EXPECT_EQ(in_other("SELECT results FROM v_run"), 6);
  EXPECT_EQ(in_other("SELECT count(*) FROM v_run WHERE state = 'partial'"), 1);
  EXPECT_EQ(in_other("SELECT count(*) FROM v_missing WHERE reason = 'no "
                     "answer'"),
            1);
  EXPECT_EQ(check(other_), 0) << printed_;
}

// The same record may have come by another way.
TEST_F(commands, results_that_another_run_has_stay_there) {
  reading::add_run(other_.path, 1, "by hand");
  ASSERT_EQ(import(exported({"1"})), 0);
  EXPECT_EQ(in_other("SELECT count(*) FROM v_result"), 6);
  EXPECT_EQ(in_other("SELECT sum(results) FROM v_run"), 6);
  EXPECT_NE(printed_.find("1 new run and 0 new results; 0 and 6 were there"),
            printed_.npos)
      << printed_;
  EXPECT_EQ(check(other_), 0) << printed_;
}

TEST_F(commands, a_run_that_is_being_filled_is_not_moved) {
  accumulate::result_table table(other_.path, {});
  accumulate::run wanted;
  {
    datastore::database base = reading::open_to_read(here_);
    wanted = *accumulate::find_run(base, 1);
  }
  accumulate::create_run(table.database(), wanted);  // ours, and we live
  EXPECT_EQ(import(exported({"1"})), 2);
  EXPECT_NE(said_.find("still running here"), said_.npos) << said_;
  std::swap(here_, other_);
  export_options options;
  options.output = folder_.file("x");
  const reading::captured_output output;
  EXPECT_THROW(export_runs(here_, options), reading::refusal);
  EXPECT_FALSE(std::filesystem::exists(options.output));
}

TEST_F(commands, an_export_replaces_nothing_unasked) {
  export_options options;
  options.output = folder_.write("mine", "precious");
  EXPECT_THROW(export_runs(here_, options), reading::refusal);
  EXPECT_EQ(datastore::content_of(options.output), "precious");
  options.force = true;
  options.output = folder_.path();
  EXPECT_THROW(export_runs(here_, options), reading::refusal);
  options.output = "/nowhere/x";
  EXPECT_THROW(export_runs(here_, options), reading::refusal);
  struct stat found = {};
  ASSERT_EQ(::stat(exported({"1"}).c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 0777U, 0600U);
}

TEST_F(commands, an_export_to_a_full_disk_leaves_no_file) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP();
  export_options options;
  options.output = "/dev/full";
  options.force = true;
  EXPECT_THROW(export_runs(here_, options), reading::refusal);
}

class pruning : public commands {
 protected:
  pruning() {
    reading::add_run(path_, 3);
    reading::add_run(path_, 4, "release");
    reading::add_run(path_, 5);
    options_.yes = true;
  }

  // The runs that are left.
  std::string left() {
    printed_ = printed([&] { return prune_runs(here_, options_); });
    datastore::database base = reading::open_to_read(here_);
    return base.text("SELECT group_concat(run) FROM v_run");
  }

  prune_options options_;
};

TEST_F(pruning, keeps_the_newest_and_all_with_a_label) {
  options_.keep = "1";
  EXPECT_EQ(left(), "1,4,5");
  EXPECT_EQ(check(here_), 0) << printed_;
}

TEST_F(pruning, keeps_only_the_labels_that_are_named) {
  options_.keep = "0";
  options_.keep_labels = {"release"};
  EXPECT_EQ(left(), "4");
}

TEST_F(pruning, keeps_what_is_new_enough) {
  options_.keep = "36500d";
  EXPECT_EQ(left(), "1,2,3,4,5");
  EXPECT_EQ(printed_, "nothing to remove\n");
  options_.keep = "1d";
  EXPECT_EQ(left(), "1,4");
}

TEST_F(pruning, removes_nothing_when_it_is_dry) {
  options_.keep = "0";
  options_.dry_run = true;
  EXPECT_EQ(left(), "1,2,3,4,5");
  EXPECT_EQ(std::count(printed_.begin(), printed_.end(), '\n'), 3) << printed_;
}

TEST_F(pruning, is_held_to_the_runs_that_are_named) {
  options_.runs = {"1..3"};
  EXPECT_EQ(left(), "1,4,5");
  EXPECT_NE(said_.find("run 1 (2025-10-10"), said_.npos);
}

TEST_F(pruning, never_removes_a_run_that_is_running) {
  {
    datastore::database base = reading::open_to_write(here_);
    accumulate::reopen_run(base, 2);
  }
  options_.keep = "0";
  options_.keep_labels = {""};
  EXPECT_EQ(left(), "2");
}

TEST_F(pruning, takes_a_run_whose_process_died_for_one_that_has_ended) {
  {
    datastore::database base = reading::open_to_write(here_);
    accumulate::reopen_run(base, 2);
    accumulate::reopen_run(base, 3);
    base.execute("UPDATE run SET owner_pid = 999999999 WHERE number = 3");
  }
  options_.keep = "0";
  EXPECT_EQ(left(), "1,2,4");
}

TEST_F(pruning, needs_an_agreement_without_a_terminal) {
  options_.yes = false;
  options_.keep = "0";
  if (::isatty(STDIN_FILENO) == 0) {
    EXPECT_THROW(prune_runs(here_, options_), reading::refusal);
  }
  options_.keep.clear();
  EXPECT_THROW(prune_runs(here_, options_), reading::refusal);
  for (const char* keep : {"-1", "x", "7x", "1.5", "99999999999999999999"}) {
    options_.keep = keep;
    EXPECT_THROW(prune_runs(here_, options_), reading::refusal) << keep;
  }
  EXPECT_EQ(reading::number_in(path_, "SELECT count(*) FROM v_run"), 5);
}

}  // namespace
}  // namespace zelk::db
