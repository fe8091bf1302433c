#include "src/collect/src/accumulate/schema.h"

#include <sys/stat.h>

#include <chrono>
#include <thread>

#include "src/collect/src/accumulate/schema_marks.h"
#include "src/collect/src/accumulate/schema_sql.h"
#include "src/collect/src/accumulate/schema_views.h"
#include "src/common/datastore/file_system.h"
#include "src/common/log/error_log.h"

namespace zelk::accumulate {

namespace {

using datastore::database;
using datastore::open_mode;
using datastore::patience;
using datastore::store_error;
using datastore::store_failure;

constexpr char source[] = "src/collect/src/accumulate/schema";

// Four times SQLite's default: rows of 1 KiB and more fill larger pages better,
// and are stored 1.4 times as fast. Set before the first table, or never.
constexpr char page_size[] = "PRAGMA page_size = 16384";

// FULL: COMMIT returns when the log is on the disk, not when the system has
// it. The log is copied back every 16 MiB and cut to 64 MiB when a long reader
// has let it grow. The cache holds the upper pages of the indices of some ten
// million results.
constexpr char connection_settings[] =
    "PRAGMA synchronous = FULL;"
    "PRAGMA wal_autocheckpoint = 1000;"
    "PRAGMA journal_size_limit = 67108864;"
    "PRAGMA cache_size = -32768;"
    "PRAGMA temp_store = MEMORY;";

constexpr std::chrono::milliseconds switch_pause{10};

store_error refused(const database& base, const std::string& why) {
  return {store_failure::fatal, "Datastore '" + base.path() + "': " + why};
}

std::int64_t version_of(database& base) {
  return base.integer("PRAGMA user_version");
}

bool is_empty(database& base) {
  return version_of(base) == 0 && base.integer("PRAGMA application_id") == 0 &&
         base.integer("SELECT count(*) FROM sqlite_schema") == 0;
}

// Throws unless `base` is a datastore of `newest` or an older version.
void check_kind(database& base, std::int64_t newest) {
  if (base.integer("PRAGMA application_id") != datastore_application_id)
    throw refused(base, "the file is a SQLite database of another program");
  const std::int64_t version = version_of(base);
  if (version < 1) throw refused(base, "its making was not finished");
  if (version > newest)
    throw refused(base, "it has version " + std::to_string(version) +
                            ", this program knows versions up to " +
                            std::to_string(newest) +
                            "; a newer Zelkara is needed for it");
}

// Throws unless `base` has a version from `oldest` to the present one.
void check_version(database& base, std::int64_t oldest, const char* does) {
  check_kind(base, datastore_version);
  const std::int64_t version = version_of(base);
  if (version >= oldest) return;
  throw refused(base, "it has version " + std::to_string(version) +
                          ", this program " + does + " version " +
                          std::to_string(oldest) +
                          (oldest < datastore_version ? " and later" : "") +
                          "; 'zelk-db migrate' brings it to version " +
                          std::to_string(datastore_version));
}

// Looks through a connection that cannot change anything: what is refused has
// to stay as it is. An empty file is nobody's.
void check_before_writing(const std::string& path, const patience& waiting) {
  struct stat found = {};
  if (::stat(path.c_str(), &found) == -1 || found.st_size == 0) return;
  database base(path, open_mode::read_only, waiting);
  if (!is_empty(base)) check_datastore(base);
}

void create_schema(database& base) {
  datastore::transaction creation(base);
  // Another process may have been faster.
  if (!is_empty(base)) return;
  base.execute(create_tables);
  base.execute(create_views);
  base.execute(create_marks);
  base.execute("PRAGMA application_id = " +
               std::to_string(datastore_application_id));
  base.execute("PRAGMA user_version = " + std::to_string(datastore_version));
  creation.commit();
}

// The write-ahead log needs memory that all processes share, and so does not
// work between hosts. Alone on the file and with a rollback journal SQLite asks
// the file system for nothing but honest writes.
void settle_on_network(database& base, const std::string& network) {
  log::ErrorLog(source, __func__, __LINE__, log::level_warning).stream()
      << "The datastore '" << base.path() << "' lies on a network file system ("
      << network << "): it is slower there, locked for this process alone, and "
      << "not safe when two hosts write; a local disk is the right place";
  base.execute("PRAGMA locking_mode = EXCLUSIVE");
  base.execute("PRAGMA journal_mode = DELETE");
}

// SQLite does not wait for this lock by itself when two that begin at the same
// time would wait for each other.
std::string switch_to_log(database& base, const patience& waiting) {
  const auto end = std::chrono::steady_clock::now() + waiting.limit;
  for (;;) {
    try {
      return base.text("PRAGMA journal_mode = WAL");
    } catch (const store_error& error) {
      if (error.failure() != store_failure::transient ||
          std::chrono::steady_clock::now() >= end)
        throw;
    }
    std::this_thread::sleep_for(switch_pause);
  }
}

void settle_here(database& base, const patience& waiting) {
  if (switch_to_log(base, waiting) != "wal")
    throw refused(base, "a write-ahead log cannot be kept beside it");
}

void copy_aside(database& base, migration_report& report) {
  report.copy = base.path() + ".v" + std::to_string(report.from);
  base.copy_to(report.copy);
}

void take_steps(database& base, std::span<const migration_step> steps) {
  datastore::transaction migration(base);
  // Another process may have been faster.
  const std::int64_t from = version_of(base);
  for (const migration_step& step : steps) {
    if (step.to <= from) continue;
    base.execute(step.sql);
    base.execute("PRAGMA user_version = " + std::to_string(step.to));
  }
  if (!base.text("PRAGMA foreign_key_check").empty())
    throw refused(base,
                  "the migration left references to nothing behind; "
                  "it was taken back");
  migration.commit();
}

}  // namespace

database open_datastore(const std::string& path, const patience& waiting) {
  return open_datastore(path, datastore::network_file_system(path), waiting);
}

database open_datastore(const std::string& path, const std::string& network,
                        const patience& waiting) {
  check_before_writing(path, waiting);
  database base(path, open_mode::create, waiting);
  if (is_empty(base)) base.execute(page_size);
  if (network.empty())
    settle_here(base, waiting);
  else
    settle_on_network(base, network);
  base.execute(connection_settings);
  if (is_empty(base)) create_schema(base);
  check_datastore(base);
  return base;
}

database open_datastore_read_only(const std::string& path,
                                  const patience& waiting) {
  database base(path, open_mode::read_only, waiting);
  check_version(base, oldest_readable_version, "reads");
  return base;
}

void check_datastore(database& base) {
  check_version(base, datastore_version, "writes");
}

migration_report migrate_datastore(const std::string& path, bool dry_run,
                                   const patience& waiting) {
  static const std::string new_views = std::string(drop_views) + create_views;
  const migration_step steps[] = {{2, new_views.c_str()}, {3, create_marks}};
  static_assert(datastore_version == 3, "a step leads to each version");
  return migrate_datastore(path, dry_run, steps, waiting);
}

migration_report migrate_datastore(const std::string& path, bool dry_run,
                                   std::span<const migration_step> steps,
                                   const patience& waiting) {
  database base(path, dry_run ? open_mode::read_only : open_mode::read_write,
                waiting);
  migration_report report;
  report.to = steps.back().to;
  check_kind(base, report.to);
  report.from = version_of(base);
  if (dry_run || report.from == report.to) return report;
  base.execute("PRAGMA synchronous = FULL");
  copy_aside(base, report);
  take_steps(base, steps);
  return report;
}

}  // namespace zelk::accumulate
