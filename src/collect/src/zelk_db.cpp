// Looks after the datastore: what it holds, and what becomes of it.
//
// What a command does is in db/; here it is only chosen, and how it ends is
// told.

#include <cstdlib>
#include <exception>
#include <iostream>

#include "src/collect/src/accumulate/datastore_location.h"
#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/db/command_line.h"
#include "src/collect/src/db/upkeep.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/cli/standard_output.h"
#include "src/common/log/settings.h"
#include "src/common/names/names.h"
#include "src/common/node/install_root.h"
#include "src/common/str/str.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {
namespace {

reading::place find_place(const command_line& line) {
  const accumulate::datastore_location found =
      accumulate::find_datastore(line.datastore, line.config_file);
  if (!found.problem.empty()) throw reading::refusal(found.problem);
  return {found.path, std::chrono::seconds(line.wait_sec)};
}

int perform(const command_line& line) {
  const reading::place where = find_place(line);
  switch (line.what) {
    case command::info:
      return show_info(where, line.info);
    case command::runs:
      return list_runs(where, line.runs);
    case command::show:
      return show_result(where, line.show);
    case command::query:
      return run_query(where, line.query);
    case command::facts:
      return show_facts(where, line.facts);
    case command::baseline:
      return manage_baseline(where, line.baseline);
    case command::accept:
      return manage_acceptances(where, line.accept);
    case command::export_runs:
      return export_runs(where, line.to_file);
    case command::import_runs:
      return import_runs(where, line.from_file);
    case command::prune:
      return prune_runs(where, line.prune);
    case command::check:
      return check_datastore(where, line.repair, line.quiet);
    case command::vacuum:
      return vacuum_datastore(where, line.quiet);
    case command::migrate:
      return migrate_datastore(where, line.migrate_dry_run, line.quiet);
    case command::init:
      return init_datastore(where, !line.datastore.empty(), line.quiet);
  }
  return accumulate::exit_unusable;
}

void find_install_root() {
  const char* given = std::getenv("ZELK_TEST_INSTALL_ROOT");
  install_root = given != nullptr ? given : node::get_default_path();
}

int complain(const std::exception& error, int status) {
  std::cout.flush();
  // A list of candidates has lines of its own, which are fit to be shown.
  for (const std::string& line : str::split(error.what(), '\n'))
    std::cerr << (line.starts_with(' ') ? "" : "zelk-db: ")
              << text::visible_text(line) << '\n';
  return status;
}

}  // namespace
}  // namespace zelk::db

int main(int argc, char* argv[]) {
  using namespace zelk;
  std::ios::sync_with_stdio(false);
  db::command_line line;
  if (const std::optional<int> status = db::read_command_line(argc, argv, line))
    return cli::checked_output("zelk-db", *status, accumulate::exit_unusable);
  log::LOG_OUTPUT = 0;
  log::LOG_LEVEL = line.log_level;
  db::find_install_root();
  try {
    return cli::checked_output("zelk-db", db::perform(line),
                               accumulate::exit_nothing);
  } catch (const reading::refusal& error) {
    return db::complain(error, accumulate::exit_unusable);
  } catch (const std::exception& error) {
    return db::complain(error, accumulate::exit_nothing);
  }
}
