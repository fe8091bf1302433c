// Storing is left to the writer of the accumulator, with all it promises: a
// record that is known is not stored again, a batch is there whole or not at
// all. What it cannot do is store a whole file in one transaction. So a run is
// "running" and ours while its results go in, and gets its own state behind the
// last one: when we are killed between, everybody can see that it is not whole,
// and the next import, which finds fewer results than the file has, goes on.

#include "src/collect/src/db/import_runs.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <optional>

#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/accumulate/expectations.h"
#include "src/collect/src/accumulate/result_table.h"
#include "src/collect/src/db/archive_format.h"
#include "src/collect/src/db/archive_reader.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/run_selection.h"
#include "src/common/log/error_log.h"
#include "src/common/text/size_text.h"
#include "src/common/text/visible_text.h"
#include "src/common/util/errno_text.h"
#include "src/common/util/unique_fd.h"

namespace zelk::db {

namespace {

using accumulate::result_table;
using accumulate::run;
using accumulate::run_state;

constexpr char source[] = "src/collect/src/db/import_runs";

// Expectations that are added in one transaction.
constexpr std::size_t expectations_at_once = 10'000;

struct import_counts {
  std::int64_t runs = 0;
  std::int64_t known_runs = 0;
  std::int64_t results = 0;
  std::int64_t known_results = 0;
  std::vector<std::string> new_runs;  // for people
};

// Why a file is not taken in.
class refused_file : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Runs that are in the file and being filled by somebody at this moment.
class running_runs : public archive_visitor {
 public:
  explicit running_runs(datastore::database& base) : base_(base) {}

  void begin_run(const archived_run& archived) override {
    const std::optional<run> known =
        accumulate::find_run_by_uuid(base_, archived.run.uuid);
    if (known && known->state == run_state::running)
      throw refused_file(reading::name_of_run(*known) +
                         " is the same one and is still running here");
  }

 private:
  datastore::database& base_;
};

class storing : public archive_visitor {
 public:
  storing(result_table& table, import_counts& counts)
      : table_(table), counts_(counts) {
    table_.on_outcome([this](const accumulate::row_outcome& each) {
      if (each.result == accumulate::outcome::rejected) rejected_ = each.reason;
      const bool known = each.result == accumulate::outcome::duplicate;
      known ? ++counts_.known_results : ++counts_.results;
    });
  }

  void begin_run(const archived_run& archived) override;
  void expectation(const accumulate::missing_result& expected) override;
  void begin_results() override;
  void result(provider_result& result) override;
  void end_run() override;

  // After a failure between begin_run() and end_run(): what is there is not the
  // whole run.
  void interrupt() noexcept;

 private:
  void add_expectations();
  void flush();
  void check(int status) const;

  result_table& table_;
  import_counts& counts_;
  archived_run archived_;
  std::int64_t number_ = 0;
  bool complete_ = false;  // the run was there before, with all its results
  std::vector<accumulate::missing_result> expected_;
  std::string rejected_;
};

void storing::begin_run(const archived_run& archived) {
  archived_ = archived;
  datastore::database& base = table_.database();
  const std::optional<run> known =
      accumulate::find_run_by_uuid(base, archived.run.uuid);
  // An interrupted one may be what an import that was killed has left behind.
  complete_ = known && known->results >= archived.records &&
              (known->state != run_state::interrupted ||
               archived.run.state == run_state::interrupted);
  ++(known ? counts_.known_runs : counts_.runs);
  if (complete_) return;
  if (known) accumulate::reopen_run(base, known->number);
  number_ = known ? known->number : accumulate::create_run(base, archived.run);
  table_.use_run(number_);
}

void storing::expectation(const accumulate::missing_result& expected) {
  if (complete_) return;
  expected_.push_back(expected);
  if (expected_.size() >= expectations_at_once) add_expectations();
}

void storing::add_expectations() {
  std::vector<accumulate::expectation> all;
  for (const accumulate::missing_result& each : expected_)
    all.push_back(each.what);
  datastore::database& base = table_.database();
  accumulate::expect_results(base, number_, all,
                             archived_.run.results_expected);
  accumulate::set_missing_reasons(base, number_, expected_);
  expected_.clear();
}

void storing::begin_results() {
  if (!complete_) add_expectations();
}

// The table tells its own failures; what is thrown here says what it means.
void storing::check(int status) const {
  if (status == datastore::DataStoreExtension::OPERATION_SUCCESSFULL) return;
  const std::string reason = table_.health().reason;
  throw reading::failure("Not all results were stored" +
                         (reason.empty() ? "" : ": " + reason) +
                         "; importing the file again goes on where this ended");
}

void storing::result(provider_result& result) {
  if (complete_) {
    ++counts_.known_results;
    return;
  }
  datastore_row row;
  row.header = result.header;
  row.stdout = result.stdout.view();
  row.stderr = result.stderr.view();
  row.nodes_csv = std::move(result.nodes_csv);
  check(table_.write(row));
}

void storing::flush() {
  check(table_.flush());
  if (!rejected_.empty())
    throw reading::failure("A result was not stored: " + rejected_);
}

void storing::end_run() {
  if (complete_) return;
  flush();
  accumulate::close_run(table_.database(), number_, archived_.run.state, "",
                        archived_.run.ended_usec);
  if (const auto run = accumulate::find_run(table_.database(), number_))
    counts_.new_runs.push_back(reading::name_of_run(*run));
  number_ = 0;
}

void storing::interrupt() noexcept {
  if (number_ == 0 || complete_) return;
  try {
    accumulate::close_run(table_.database(), number_, run_state::interrupted,
                          "the import was interrupted");
  } catch (const std::exception& error) {
    log::ErrorLog(source, __func__, __LINE__, log::level_debug).stream()
        << "Run " << number_ << " stays open: " << error.what();
  }
}

util::unique_fd open_file(const std::string& name) {
  util::unique_fd fd(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  const int code = errno;
  if (!fd) throw refused_file("it cannot be opened " + util::errno_text(code));
  struct stat found = {};
  if (::fstat(fd.get(), &found) == -1 || !S_ISREG(found.st_mode))
    throw refused_file("it is not a file");
  return fd;
}

// Throws when none of them is a file: then nothing is begun.
void check_files(const std::vector<std::string>& names) {
  std::string why;
  for (const std::string& name : names) {
    try {
      open_file(name);
      return;
    } catch (const refused_file& error) {
      why += (why.empty() ? "" : "\n") +
             ("'" + text::visible_text(name) + "': " + error.what());
    }
  }
  throw reading::refusal(why);
}

void import_file(result_table& table, const std::string& name,
                 const import_options& options, import_counts& counts) {
  const util::unique_fd fd = open_file(name);
  running_runs all_at_rest(table.database());
  read_archive(fd.get(), options.max_record, all_at_rest);
  if (::lseek(fd.get(), 0, SEEK_SET) == -1)
    throw refused_file("it cannot be read twice " + util::errno_text(errno));
  storing into(table, counts);
  try {
    read_archive(fd.get(), options.max_record, into);
  } catch (...) {
    into.interrupt();
    throw;
  }
}

void print_counts(const std::string& name, const import_counts& counts) {
  std::cout << text::visible_text(name) << ": "
            << text::counted(counts.runs, "new run") << " and "
            << text::counted(counts.results, "new result") << "; "
            << counts.known_runs << " and " << counts.known_results
            << " were there\n";
  for (const std::string& run : counts.new_runs)
    std::cout << "  " << run << '\n';
}

// Returns whether the file was taken in.
bool import_one(result_table& table, const std::string& name,
                const import_options& options) {
  import_counts counts;
  std::string why;
  try {
    import_file(table, name, options, counts);
    if (!options.quiet) print_counts(name, counts);
    return true;
  } catch (const archive_error& error) {
    why = error.what();
  } catch (const refused_file& error) {
    why = error.what();
  }
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
      << "Refused '" << text::visible_text(name)
      << "': " << text::visible_text(why);
  return false;
}

}  // namespace

int import_runs(const reading::place& where, const import_options& options) {
  if (options.files.empty()) throw reading::refusal("import needs a FILE");
  check_files(options.files);
  // Looked at first, as by all commands: it must be there, and be one.
  reading::open_to_write(where);
  accumulate::result_table_options settings;
  settings.busy_limit = where.wait;
  result_table table(where.path, settings);
  accumulate::close_abandoned_runs(table.database());
  std::size_t taken = 0;
  for (const std::string& name : options.files)
    taken += import_one(table, name, options) ? 1U : 0U;
  table.checkpoint();
  if (taken == options.files.size()) return accumulate::exit_fine;
  return taken == 0 ? accumulate::exit_nothing : accumulate::exit_partial;
}

}  // namespace zelk::db
