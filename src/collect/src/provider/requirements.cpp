#include "src/collect/src/provider/requirements.h"

#include <sys/utsname.h>

#include <string_view>

#include "src/collect/src/provider/nodefile.h"
#include "src/collect/src/provider/run_command.h"
#include "src/common/log/error_log.h"
#include "src/common/preproc/preproc.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/provider/requirements";

// Values of provider_config::architecture; every other one is a machine that
// this product is not built for.
constexpr std::int32_t architecture_x86_64 = 1;
constexpr std::int32_t architecture_any = 2;

bool machine_matches(std::int32_t architecture) {
  if (architecture == architecture_any) return true;
  utsname machine = {};
  if (::uname(&machine) != 0) {
    // A node that cannot describe itself is one to learn about, so it runs.
    log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
        << "Unable to acquire machine data using uname.\n";
    return true;
  }
  return architecture == architecture_x86_64 &&
         std::string_view(machine.machine) == "x86_64";
}

// What is read here is for the checks alone: the run reads the file again.
bool nodes_suffice(const provider_config& description) {
  const auto say = [&](int level, const char* before, const char* behind) {
    log::ErrorLog(source, "nodes_suffice", __LINE__, level).stream()
        << before << description.name << behind;
  };
  if (description.nodefile.empty()) {
    say(log::level_error,
        "No nodelist provided for a data provider that requires a cluster: '",
        "'");
    return false;
  }
  std::uint16_t count = 0;
  std::string names;
  if (!read_nodefile(description.nodefile.c_str(), count, names)) {
    say(log::level_error, "Unable to read nodefile for data provider '", "'");
    return false;
  }
  if (count < description.min_nodes) {
    say(log::level_error,
        "Minimum number of nodes required to run data provider '",
        "' not met.");
    return false;
  }
  if (count > description.max_nodes) {
    say(log::level_warning,
        "Nodefile contains more nodes than required by the data provider: '",
        "'");
  }
  return true;
}

}  // namespace

std::int32_t check_and_run_provider(
    const std::string& path, const Config& config, const char* nodefile,
    provider_result& record, const std::string& prefix,
    const provider_info& entry,
    const preproc::ProcessedProviderAttributes& option_set) {
  provider_config description;
  if (preproc::Preprocessor::parse_provider_config_xml(description, path,
                                                       config, entry.path) != 0)
    return run_parse_failed;
  return check_and_run_description(description, nodefile, record, prefix,
                                   option_set);
}

std::int32_t check_and_run_description(
    provider_config& description, const char* nodefile, provider_result& record,
    const std::string& prefix,
    const preproc::ProcessedProviderAttributes& option_set) {
  if (!machine_matches(description.architecture))
    return run_architecture_differs;
  description.nodefile = nodefile;
  // Exactly one node: the node this runs on, whatever a node file says. None at
  // all is a provider for a cluster of any size.
  if (description.min_nodes != 1 && !nodes_suffice(description))
    return run_nodes_not_met;
  if (!run_provider_command(description, record, prefix, option_set))
    return run_failed;
  return run_done;
}

}  // namespace zelk
