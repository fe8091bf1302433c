// The accumulator: takes provider results in, from a socket or from files, and
// stores them.
//
// What a command does is in accumulate/; here it is only made ready.

#include <cstdlib>
#include <iostream>
#include <string>

#include "src/collect/src/accumulate/command_line.h"
#include "src/collect/src/accumulate/datastore_location.h"
#include "src/collect/src/accumulate/exit_codes.h"
#include "src/common/cli/standard_output.h"
#include "src/common/log/settings.h"
#include "src/common/names/names.h"
#include "src/common/node/install_root.h"
#include "src/common/preproc/preproc.h"

namespace zelk {
namespace {

using accumulate::command_line;

std::string config_path(const command_line& line) {
  if (!line.config_file.empty()) return line.config_file;
  const char* given = std::getenv("ZELK_CONFIG");
  if (given != nullptr && *given != '\0') return given;
  return install_root + "/etc/zelk.xml";
}

// Where workers write when nobody says otherwise.
bool find_spool(const command_line& line, Config& config,
                accumulate::scan_options& scan) {
  if (!scan.files.directories.empty()) return true;
  config.install_root = install_root;
  if (preproc::read_config(config, config_path(line)) != 0) return false;
  scan.files.directories.emplace_back(config.output_directory);
  return true;
}

bool find_datastore(command_line& line, const Config& config) {
  const accumulate::datastore_location place =
      accumulate::find_datastore(line.datastore, line.config_file);
  if (!place.problem.empty()) {
    std::cerr << "zelk-accumulate: " << place.problem << "\n";
    return false;
  }
  accumulate::writer_options& writer = line.listen.writer;
  writer.store.path = line.scan.store.path = place.path;
  writer.store.settings = line.scan.store.settings = &config;
  if (writer.bad_directory.empty()) writer.bad_directory = place.path + ".bad";
  if (writer.unsaved_directory.empty())
    writer.unsaved_directory = place.path + ".unsaved";
  // Only a place that nobody chose is made: a path that was typed may be wrong.
  return !line.datastore.empty() || accumulate::make_folders_of(place.path);
}

void find_install_root() {
  const char* given = std::getenv("ZELK_TEST_INSTALL_ROOT");
  install_root = given != nullptr ? given : node::get_default_path();
}

int run(command_line& line) {
  Config config;
  if (line.what == command_line::command::replay)
    return accumulate::replay(line.replay);
  if (!find_datastore(line, config)) return accumulate::exit_unusable;
  if (line.what == command_line::command::listen)
    return accumulate::listen(line.listen);
  if (!find_spool(line, config, line.scan)) return accumulate::exit_unusable;
  return accumulate::scan(line.scan);
}

}  // namespace
}  // namespace zelk

int main(int argc, char* argv[]) {
  zelk::accumulate::command_line line;
  if (const std::optional<int> status =
          zelk::accumulate::read_command_line(argc, argv, line))
    return zelk::cli::checked_output("zelk-accumulate", *status,
                                     zelk::accumulate::exit_unusable);
  zelk::log::LOG_OUTPUT = 0;
  zelk::log::LOG_LEVEL = line.log_level;
  zelk::find_install_root();
  return zelk::cli::checked_output("zelk-accumulate", zelk::run(line),
                                   zelk::accumulate::exit_nothing);
}
