// The worker: runs data providers on this node and delivers their results.
//
// One process, one thread. Set-up either completes or ends the process; from
// the first provider on nothing but a signal does.

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "src/collect/src/delivery.h"
#include "src/collect/src/exit_status.h"
#include "src/collect/src/host_name.h"
#include "src/collect/src/paths.h"
#include "src/collect/src/pid_file.h"
#include "src/collect/src/provider/identity.h"
#include "src/collect/src/provider/requirements.h"
#include "src/collect/src/provider/result.h"
#include "src/collect/src/provider_options.h"
#include "src/collect/src/provider_table.h"
#include "src/collect/src/run_options.h"
#include "src/collect/src/termination.h"
#include "src/common/log/error_log.h"
#include "src/common/names/names.h"
#include "src/common/node/install_root.h"
#include "src/common/preproc/preproc.h"
#include "src/common/str/str.h"

// The worker has no option that tells its version: this text does, to what(1)
// and to the collector, which looks for it in the program's file.
extern const char zelk_version_mark[];
[[gnu::used]] const char zelk_version_mark[] =
    "@(#)zelk_run_provider " ZELK_VERSION ">";

namespace zelk {
namespace {

constexpr char source[] = "src/collect/src/zelk_run_provider";

using option_set = preproc::ProcessedProviderAttributes;

// The parts of a run that every provider of it shares.
struct run_context {
  const run_options& options;
  const Config& config;
  delivery& target;
};

// A missing descriptor 0, 1 or 2 would be taken by the next file opened, and
// log lines would land in it.
void open_missing_standard_descriptors() {
  for (;;) {
    const int fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    if (fd < 0) return;
    if (fd > STDERR_FILENO) {
      ::close(fd);
      return;
    }
  }
}

// A log line for a reader that has gone, or a result over a file size limit, is
// a failed write, not the end of the run.
void make_failed_writes_errors() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

void find_install_root(Config& config, run_options& options) {
  const char* root = std::getenv("ZELK_TEST_INSTALL_ROOT");
  install_root = root != nullptr ? root : node::get_default_path();
  config.install_root = install_root;
  options.config_file = default_config_path(install_root);
}

void set_log_thresholds() {
  log::LOG_OUTPUT = 0;
  log::LOG_LEVEL = log_level_names.at("warning");
  log::LOG_SCOPE_LEVEL = 0;
}

int complain_about_no_provider(const run_options& options,
                               const char* program) {
  log::ErrorLog(source, "main", __LINE__, log::level_error).stream()
      << "Please specify atleast one provider file using the -f command-line "
         "option.";
  print_usage(options, program);
  return exit_setup_failed;
}

// Tells why a provider did not run. Returns whether it did.
bool has_run(std::int32_t code, const std::string& provider) {
  const auto say = [](int level, const std::string& text) {
    log::ErrorLog(source, "main", __LINE__, level).stream() << text;
  };
  switch (code) {
    case run_parse_failed:
      say(log::level_error, "Error parsing the XML file");
      return false;
    case run_nodes_not_met:
      say(log::level_error, "Please check min_nodes, max_nodes and nodefile");
      return false;
    case run_failed:
      say(log::level_error, "Some other error running the provider");
      return false;
    case run_architecture_differs:
      say(log::level_info,
          "The system does not match the architecture required by " + provider);
      return false;
    default:
      return true;
  }
}

void log_run(const provider_result& record,
             std::chrono::system_clock::time_point start) {
  const std::chrono::nanoseconds spent =
      std::chrono::system_clock::now() - start;
  log::ErrorLog(source, "main", __LINE__, log::level_debug).stream()
      << "provider execution time = "
      << static_cast<double>(spent.count()) / 1000000000.0 << " seconds";
  // Composing the summary copies the output, which may be gigabytes.
  if (log::LOG_LEVEL >= log::level_debug) {
    log::ErrorLog(source, "main", __LINE__, log::level_debug).stream()
        << result_summary(record);
  }
}

void run_option_set(const run_context& run, const provider_info& entry,
                    const option_set& set) {
  provider_result record;
  set_option_id(record, set.option_id);
  set_record_text(record, run.options.hostname_override);
  set_hostname(record);
  set_username(record);

  const auto start = std::chrono::system_clock::now();
  const std::int32_t code = check_and_run_provider(
      entry.path, run.config, run.options.nodefile.c_str(), record,
      set.option_text, entry, set);
  if (!has_run(code, entry.name)) return;

  log_run(record, start);
  if (!run.target.deliver(record, entry.path)) {
    log::ErrorLog(source, "main", __LINE__, log::level_error).stream()
        << "Error accumulating provider output.";
  }
}

void run_provider(const run_context& run, const provider_info& entry) {
  if (::access(entry.path.c_str(), R_OK) != 0) {
    log::ErrorLog(source, "main", __LINE__, log::level_error).stream()
        << "Could not open '" << entry.path << "'. Skipping...";
    return;
  }
  std::vector<option_set> sets = preproc::populate_option_vars_map(
      run.config, str::upper(provider_stem(entry.path)));
  if (sets.empty()) sets.emplace_back();
  for (const option_set& set : sets)
    run_option_set(run, entry, set);
}

int run(int argc, char* argv[]) {
  Config config;
  run_options options;
  zelk_run_provider::install_termination_handler();
  make_failed_writes_errors();
  find_install_root(config, options);
  set_log_thresholds();
  read_linger_setting(options);
  if (!parse_arguments(options, argc, argv)) return exit_setup_failed;

  write_pid_file(pid_file_path(str::dirname(options.config_file), host_name()));
  const install_paths paths = paths_under(install_root);
  if (!paths_fit(paths)) {
    std::printf(
        "The binary is located in a directory that is too deep for this tool "
        "to function properly\n");
    return exit_setup_failed;
  }
  // From here on every path is known and the options no longer change.

  set_up_messaging(options.linger);
  const int config_status = preproc::read_config(config, options.config_file);
  if (config_status != 0) return config_status;
  if (!options.provider_config_file.empty() &&
      !merge_provider_options(config, options.provider_config_file))
    return exit_setup_failed;

  const provider_table table =
      build_provider_table(options.provider_files, paths);
  if (table.empty()) return complain_about_no_provider(options, argv[0]);

  const std::unique_ptr<delivery> target = delivery::open(options, config);
  if (target == nullptr) return exit_setup_failed;
  // The messaging library has had its chance to catch signals for itself.
  zelk_run_provider::install_termination_handler();

  for (const auto& [name, entry] : table)
    run_provider({options, config, *target}, entry);
  return exit_ok;
}

}  // namespace
}  // namespace zelk

int main(int argc, char* argv[]) {
  zelk::open_missing_standard_descriptors();
  return zelk::run(argc, argv);
}
