// Whether a provider may run on this node, and the run itself when it may.

#pragma once

#include <cstdint>
#include <string>

#include "src/collect/src/provider/result.h"
#include "src/common/preproc/config.h"

namespace zelk {

enum run_code : std::int32_t {
  run_done = 0,
  run_parse_failed = -1,
  run_nodes_not_met = -2,
  run_failed = -3,
  run_architecture_differs = -4,
};

// Parses the description at `path`, checks architecture and nodes, runs the
// command and fills `record`. `nodefile` is empty when none was given; `prefix`
// is the option set's assignments. Each failure but those of -1 and -4 has been
// logged on return.
std::int32_t check_and_run_provider(
    const std::string& path, const Config& config, const char* nodefile,
    provider_result& record, const std::string& prefix,
    const provider_info& entry,
    const preproc::ProcessedProviderAttributes& option_set);

// The same for a description that has been read: checks it and runs it, and
// keeps `nodefile` in it.
std::int32_t check_and_run_description(
    provider_config& description, const char* nodefile, provider_result& record,
    const std::string& prefix,
    const preproc::ProcessedProviderAttributes& option_set);

}  // namespace zelk
