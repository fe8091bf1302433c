// The command line of zelk-db as one record of options a command.

#pragma once

#include <optional>
#include <string>

#include "src/collect/src/db/accept_command.h"
#include "src/collect/src/db/baseline_command.h"
#include "src/collect/src/db/export_runs.h"
#include "src/collect/src/db/facts_command.h"
#include "src/collect/src/db/import_runs.h"
#include "src/collect/src/db/info.h"
#include "src/collect/src/db/prune.h"
#include "src/collect/src/db/query.h"
#include "src/collect/src/db/run_list.h"
#include "src/collect/src/db/show.h"

namespace zelk::db {

enum class command {
  info,
  runs,
  show,
  query,
  facts,
  baseline,
  accept,
  export_runs,
  import_runs,
  prune,
  check,
  vacuum,
  migrate,
  init,
};

struct command_line {
  command what = command::info;
  info_options info;
  run_list_options runs;
  show_options show;
  query_options query;
  facts_options facts;
  baseline_options baseline;
  accept_options accept;
  export_options to_file;
  import_options from_file;
  prune_options prune;
  bool repair = false;           // check
  bool migrate_dry_run = false;  // migrate

  std::string config_file;  // -c; empty: see preproc/configuration_file.h
  std::string datastore;    // --db; empty: see accumulate/datastore_location.h
  int wait_sec = 30;
  int log_level = 0;
  bool quiet = false;
};

// Reads the command line. Returns the exit status when it is all that there is
// to do: help was asked for, or a mistake was told on standard error.
std::optional<int> read_command_line(int argc, const char* const* argv,
                                     command_line& result);

}  // namespace zelk::db
