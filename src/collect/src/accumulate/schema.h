// The tables and views of a Zelkara datastore in one SQLite file.
//
// The views v_provider_result, v_result, v_run, v_host, v_missing, v_baseline,
// v_acceptance and v_acceptance_node are the public face and only grow; the
// tables behind them are this folder's alone.
// A file says what it is (application_id) and which version its tables have
// (user_version). All functions throw datastore::store_error with a sentence
// for the user; a file that is refused is left as it was, byte for byte.

#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "src/common/datastore/sqlite.h"

namespace zelk::accumulate {

constexpr std::int64_t datastore_application_id = 0x5A454C4B;  // "ZELK"

// The version that this program writes, and the only one it opens to write.
//
//   2  the views count expected nodes that answered
//   3  a baseline and acceptances (schema_marks.h)
constexpr std::int64_t datastore_version = 3;

// The oldest one that it reads: from there on only tables and views were added.
constexpr std::int64_t oldest_readable_version = 2;

// One step of a migration: from the version before `to`.
struct migration_step {
  std::int64_t to;
  const char* sql;
};

struct migration_report {
  std::int64_t from = 0;
  std::int64_t to = 0;  // equal: nothing was to be done
  std::string copy;     // the older file's copy; empty when none was made
};

// Opens the datastore `path` to write. A missing or empty file becomes a
// datastore of this version (mode 0600). Warns, once, when it lies on a network
// or parallel file system, and then keeps it without a write-ahead log and
// locked for this process, because that log needs memory shared by its users.
// Locks of other processes are waited for as `waiting` says.
datastore::database open_datastore(const std::string& path,
                                   const datastore::patience& waiting = {});

// The same for a path that is known to lie on the file system `network`; ""
// stands for one of this host alone.
datastore::database open_datastore(const std::string& path,
                                   const std::string& network,
                                   const datastore::patience& waiting = {});

// Opens an existing datastore that cannot be written to through the result. It
// may be as old as oldest_readable_version.
datastore::database open_datastore_read_only(
    const std::string& path, const datastore::patience& waiting = {});

// Throws unless `base` is a datastore of this version.
void check_datastore(datastore::database& base);

// Brings the file to this version: copies it to "PATH.vN" first (N: its own
// version), then takes all steps in one transaction. With `dry_run` it only
// tells. Nobody else may be writing.
migration_report migrate_datastore(const std::string& path, bool dry_run,
                                   const datastore::patience& waiting = {});

// The same with another list of steps; the last one's version is the target.
migration_report migrate_datastore(const std::string& path, bool dry_run,
                                   std::span<const migration_step> steps,
                                   const datastore::patience& waiting = {});

}  // namespace zelk::accumulate
