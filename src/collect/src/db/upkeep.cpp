#include "src/collect/src/db/upkeep.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <iostream>

#include "src/collect/src/accumulate/datastore_location.h"
#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/accumulate/read_result.h"
#include "src/collect/src/accumulate/repair.h"
#include "src/collect/src/accumulate/runs.h"
#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/db/compact.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/text/size_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

using datastore::database;
using datastore::store_error;

constexpr int sqlite_corrupt = 11;  // of store_error::code(), its low byte

// Faults of one kind that are shown; all are counted.
constexpr std::int64_t most_shown = 100;

std::int64_t file_size(const std::string& path) {
  struct stat found = {};
  return ::stat(path.c_str(), &found) == 0 ? found.st_size : -1;
}

struct faults {
  std::int64_t all = 0;
  std::int64_t repairable = 0;

  void complain(const std::string& text) {
    if (++all <= most_shown) std::cout << text::visible_text(text) << '\n';
    if (all == most_shown + 1) std::cout << "...\n";
  }
};

// SQLite tells of an index that differs from its table in these words; such a
// one is made anew by REINDEX.
bool is_index_fault(std::string_view line) {
  return line.find("missing from index") != line.npos ||
         line.starts_with("wrong # of entries in index") ||
         line.starts_with("non-unique entry in index");
}

void check_structure(database& base, faults& found) {
  datastore::statement query(base, "PRAGMA integrity_check(1000)");
  while (query.step()) {
    const std::string line(query.bytes(0));
    if (line == "ok") continue;
    if (is_index_fault(line)) ++found.repairable;
    found.complain("The file: " + line);
  }
}

// What was found before the file could not be read further counts, too.
faults look(database& base) {
  faults found;
  // One moment of the file, whatever others do meanwhile.
  base.execute("BEGIN");
  try {
    check_structure(base, found);
    accumulate::verify_datastore(
        base, [&](const std::string& text) { found.complain(text); });
    found.repairable += accumulate::count_repairable_faults(base);
  } catch (const store_error& error) {
    if ((error.code() & 0xFF) != sqlite_corrupt) throw;
    found.complain(error.what());
  }
  return found;
}

int verdict(const faults& found, bool quiet) {
  if (found.all == 0) {
    if (!quiet) std::cout << "no fault found\n";
    return accumulate::exit_fine;
  }
  const bool curable = found.all <= found.repairable;
  std::cout << fmt::format("{} found; {}\n", text::counted(found.all, "fault"),
                           curable ? "'zelk-db check --repair' makes them good"
                                   : "not all of them can be made good");
  return curable ? accumulate::exit_partial : accumulate::exit_nothing;
}

void repair(const reading::place& where, bool quiet) {
  database base = reading::open_to_write(where);
  for (const std::int64_t number : accumulate::close_abandoned_runs(base))
    std::cout << fmt::format("run {} was abandoned: closed as interrupted\n",
                             number);
  try {
    const std::int64_t count = accumulate::repair_datastore(base);
    if (count > 0 || !quiet)
      std::cout << fmt::format(
          "counts and indices made anew, {} faults in "
          "them\n",
          count);
  } catch (const store_error& error) {
    if (error.failure() == datastore::store_failure::transient) throw;
    // The check that follows tells what is wrong.
    std::cout << "not repaired: " << text::visible_text(error.what()) << '\n';
  }
}

}  // namespace

int init_datastore(const reading::place& where, bool chosen, bool quiet) {
  if (!chosen && !accumulate::make_folders_of(where.path))
    throw reading::refusal("No datastore was made");
  const bool there = file_size(where.path) > 0;
  try {
    accumulate::open_datastore(where.path, reading::waiting_of(where));
  } catch (const store_error& error) {
    throw reading::refusal(error.what());
  }
  if (!quiet)
    std::cout << (there ? "there is one: " : "made: ")
              << text::visible_text(where.path) << '\n';
  return accumulate::exit_fine;
}

int check_datastore(const reading::place& where, bool with_repair, bool quiet) {
  if (with_repair) repair(where, quiet);
  database base = reading::open_to_read(where);
  return verdict(look(base), quiet);
}

int vacuum_datastore(const reading::place& where, bool quiet) {
  const std::int64_t before = file_size(where.path);
  database base = reading::open_to_write(where);
  compact(base);
  const bool all = base.checkpoint();
  if (!all)
    std::cerr << "zelk-db: somebody is reading; the file shrinks when that "
                 "ends\n";
  if (!quiet)
    std::cout << fmt::format("{} before, {} now\n", text::size_text(before),
                             text::size_text(file_size(where.path)));
  return accumulate::exit_fine;
}

int migrate_datastore(const reading::place& where, bool dry_run, bool quiet) {
  reading::check_file(where.path);
  accumulate::migration_report report;
  try {
    report = accumulate::migrate_datastore(where.path, dry_run,
                                           reading::waiting_of(where));
  } catch (const store_error& error) {
    if (error.failure() == datastore::store_failure::transient) throw;
    throw reading::refusal(error.what());
  }
  if (quiet) return accumulate::exit_fine;
  if (report.from == report.to)
    std::cout << fmt::format("version {}: nothing to do\n", report.from);
  else
    std::cout << fmt::format("version {} {} version {}\n", report.from,
                             dry_run ? "would become" : "is now", report.to);
  if (!report.copy.empty())
    std::cout << "the file as it was: " << text::visible_text(report.copy)
              << '\n';
  return accumulate::exit_fine;
}

}  // namespace zelk::db
