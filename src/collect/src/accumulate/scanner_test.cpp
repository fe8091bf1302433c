#include "src/collect/src/accumulate/scanner.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/test_intake.h"
#include "src/common/log/captured_log.h"
#include "src/common/preproc/config.h"
#include "src/common/util/unique_fd.h"

namespace {

// What flock(2) fails with; 0: it works.
int flock_failure = 0;

// What unlinkat(2) fails with; 0: it works.
int unlink_failure = 0;

}  // namespace

// In the place of the C library's.
extern "C" int flock(int fd, int operation) noexcept {
  if (flock_failure == 0)
    return static_cast<int>(::syscall(SYS_flock, fd, operation));
  errno = flock_failure;
  return -1;
}

extern "C" int unlinkat(int directory, const char* name, int flags) noexcept {
  if (unlink_failure == 0)
    return static_cast<int>(::syscall(SYS_unlinkat, directory, name, flags));
  errno = unlink_failure;
  return -1;
}

namespace zelk::accumulate {
namespace {

namespace fs = std::filesystem;

struct scanner_test : public ::testing::Test {
  scanner_test() {
    fs::create_directory(spool);
    options.directories = {spool};
    options.max_record = 1 << 20;
    stored.path = place.file("zelk.db");
    stored.settings = &settings;
    stored.batch_rows = 10;
  }

  scanner& scan() {
    if (!made) {
      store = std::make_unique<result_store>(stored);
      made = std::make_unique<scanner>(
          options, *store, groups, [this] { return stop; },
          [this](const refused_file& file) { refused.push_back(file.reason); });
    }
    return *made;
  }
  const scan_report& pass() {
    EXPECT_TRUE(scan().pass());
    return scan().report();
  }

  std::string put(int number, const std::string& output = "output") const {
    return write("ZELK_MEMORY_node1_1760000000__" + std::to_string(number),
                 bytes_of(a_result("node1", number, output)));
  }
  std::string write(const std::string& name, std::string_view bytes) const {
    std::ofstream(spool + "/" + name, std::ios::binary) << bytes;
    return spool + "/" + name;
  }
  static std::string bytes_of(const provider_result& record) {
    std::string all;
    for (const std::string& part : frames_of(record))
      all += part;
    return all;
  }
  std::size_t files() const {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(spool))
      count += entry.is_regular_file() ? 1 : 0;
    return count;
  }
  std::int64_t rows() {
    return store->database().integer("SELECT count(*) FROM v_result");
  }

  log::captured_log log{log::level_warning};
  datastore::scratch place;
  std::string spool = place.file("spool");
  Config settings;
  scanner_options options;
  store_options stored;
  run_request request;
  run_groups groups{request};
  bool stop = false;
  lines refused;
  std::unique_ptr<result_store> store;
  std::unique_ptr<scanner> made;
};

TEST_F(scanner_test, stores_and_removes) {
  for (int i = 0; i < 25; ++i)
    put(i);
  const scan_report& report = pass();
  EXPECT_EQ(report.stored, 25U);
  EXPECT_EQ(report.found, 25U);
  EXPECT_EQ(files(), 0U);
  EXPECT_EQ(rows(), 25);
  EXPECT_EQ(report.by_run.size(), 1U);
  EXPECT_EQ(log.lines(), lines{});
}

TEST_F(scanner_test, keeps_files_when_told_and_reads_them_once) {
  options.keep = true;
  for (int i = 0; i < 5; ++i)
    put(i);
  EXPECT_EQ(pass().stored, 5U);
  EXPECT_EQ(files(), 5U);
  EXPECT_EQ(pass().duplicates, 0U);
  put(5);
  EXPECT_EQ(pass().stored, 6U);
}

TEST_F(scanner_test, counts_what_is_stored_and_cannot_be_removed) {
  const std::string file = put(1);
  unlink_failure = EACCES;
  EXPECT_EQ(pass().not_removed, 1U);
  EXPECT_EQ(pass().not_removed, 1U);
  unlink_failure = 0;
  EXPECT_EQ(scan().report().stored, 1U);
  EXPECT_TRUE(fs::exists(file));
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(scanner_test, knows_again_what_was_stored_before_a_crash) {
  const std::string file = put(1);
  pass();
  put(1);
  EXPECT_EQ(pass().duplicates, 1U);
  EXPECT_EQ(rows(), 1);
  EXPECT_FALSE(fs::exists(file));
}

TEST_F(scanner_test, comes_back_to_what_is_locked) {
  const std::string path = put(1);
  util::unique_fd writer(::open(path.c_str(), O_RDWR));
  ASSERT_EQ(::flock(writer.get(), LOCK_EX), 0);
  put(2);
  EXPECT_EQ(pass().stored, 1U);
  EXPECT_EQ(scan().report().writing, 1U);
  EXPECT_TRUE(fs::exists(path));
  writer.reset();
  EXPECT_EQ(pass().stored, 2U);
  EXPECT_EQ(scan().report().writing, 0U);
}

TEST_F(scanner_test, leaves_young_pieces_and_moves_old_ones_aside) {
  const std::string whole = bytes_of(a_result("node1", 1));
  const std::string path = write("ZELK_A_n_1__a", whole.substr(0, 738));
  EXPECT_EQ(pass().incomplete, 1U);
  EXPECT_EQ(scan().report().refused, 0U);
  fs::last_write_time(path,
                      fs::file_time_type::clock::now() - std::chrono::hours(1));
  EXPECT_EQ(pass().refused, 1U);
  EXPECT_EQ(scan().report().incomplete, 0U);
  EXPECT_TRUE(fs::exists(spool + "/bad/ZELK_A_n_1__a"));
  EXPECT_EQ(refused, lines{"header says 8 bytes of output, file has 2"});
  // Its writer goes on with another one: that is whole.
  write("ZELK_A_n_1__a", whole);
  EXPECT_EQ(pass().stored, 1U);
}

TEST_F(scanner_test, moves_bad_files_aside_and_goes_on) {
  put(1);
  write("ZELK_BAD_n_1__a", std::string(1000, 'x'));
  put(2);
  EXPECT_EQ(pass().stored, 2U);
  EXPECT_EQ(scan().report().refused, 1U);
  ASSERT_EQ(scan().report().refusals.size(), 1U);
  EXPECT_EQ(scan().report().refusals[0].moved_to, spool + "/bad");
  EXPECT_EQ(pass().refused, 1U);
}

TEST_F(scanner_test, tells_of_strange_files_once) {
  ASSERT_EQ(::symlink("/etc/passwd", (spool + "/ZELK_LINK").c_str()), 0);
  EXPECT_EQ(pass().strange, 1U);
  EXPECT_EQ(pass().strange, 1U);
  EXPECT_EQ(log.lines(),
            lines{"Left alone: '" + spool + "/ZELK_LINK' a symbolic link"});
}

// A file system without locks: whole files are taken, and it is said once.
TEST_F(scanner_test, does_without_locks_where_there_are_none) {
  for (const int failure : {ENOLCK, ENOSYS, EOPNOTSUPP}) {
    flock_failure = failure;
    for (int i = 0; i < 5; ++i)
      put(failure * 10 + i);
    write("ZELK_PIECE_n_1__a", "begun");
    const std::uint64_t before = scan().report().stored;
    pass();
    flock_failure = 0;
    EXPECT_EQ(scan().report().stored, before + 5);
    EXPECT_EQ(scan().report().incomplete, 1U);
  }
  EXPECT_EQ(log.lines(),
            lines{"The file system of '" + spool +
                  "' has no locks: files are taken when they are whole"});
}

TEST_F(scanner_test, stops_between_two_files) {
  for (int i = 0; i < 30; ++i)
    put(i);
  stop = true;
  EXPECT_EQ(pass().found, 1U);
  EXPECT_EQ(scan().report().stored, 1U);
  EXPECT_EQ(files(), 29U);
}

TEST_F(scanner_test, leaves_everything_when_the_store_fails) {
  put(1);
  pass();
  fs::remove(stored.path);
  for (int i = 2; i < 30; ++i)
    put(i);
  EXPECT_FALSE(scan().pass());
  EXPECT_EQ(files(), 28U);
  // No lock is held any more.
  const util::unique_fd other(::open(put(2).c_str(), O_RDWR));
  EXPECT_EQ(::flock(other.get(), LOCK_EX | LOCK_NB), 0);
}

TEST_F(scanner_test, says_once_that_a_directory_cannot_be_read) {
  fs::remove(spool);
  EXPECT_TRUE(pass().unreadable);
  EXPECT_TRUE(pass().unreadable);
  EXPECT_EQ(log.lines().size(), 1U);
  fs::create_directory(spool);
  put(1);
  EXPECT_EQ(pass().stored, 1U);
  EXPECT_FALSE(scan().report().unreadable);
}

TEST_F(scanner_test, puts_everything_into_the_run_it_is_told) {
  store = std::make_unique<result_store>(stored);
  options.run = open_run(store->database(), {});
  store.reset();
  put(1);
  write("ZELK_X_n_1__a", bytes_of(a_result("node1", 100'000'000'000)));
  EXPECT_EQ(pass().by_run.at(options.run), 2U);
}

TEST_F(scanner_test, makes_a_run_for_each_time) {
  put(1);
  write("ZELK_X_n_1__a", bytes_of(a_result("node1", 100'000'000'000)));
  EXPECT_EQ(pass().by_run.size(), 2U);
}

// Of slow files the first ones do not wait for the last.
TEST_F(scanner_test, commits_what_has_waited_long_enough) {
  for (int i = 1; i <= 3; ++i)
    put(i);
  stored.batch_time = std::chrono::milliseconds(0);
  result_store own(stored);
  std::vector<std::int64_t> rows;
  scanner hasty(
      options, own, groups,
      [&] {
        rows.push_back(own.database().integer("SELECT count(*) FROM v_result"));
        return false;
      },
      [](const refused_file&) {});
  EXPECT_TRUE(hasty.pass());
  EXPECT_NE(std::find(rows.begin(), rows.end(), 1), rows.end());
}

}  // namespace
}  // namespace zelk::accumulate
