// One run of a provider's command, into a record.
//
// Whether the provider may run here has been settled before.

#pragma once

#include <string>

#include "src/collect/src/provider/result.h"
#include "src/common/preproc/config.h"

namespace zelk {

// Runs the command of `description` under its scaled time-out and fills what
// the run tells of `record`, and the description's `timestamp`. `prefix` is the
// option set's assignments. Returns false, after one error record, when the
// command could not be started or the clock not be read; then only num_nodes of
// `record` may have changed. A command that fails is a result, not a failure.
bool run_provider_command(
    provider_config& description, provider_result& record,
    const std::string& prefix,
    const preproc::ProcessedProviderAttributes& option_set);

}  // namespace zelk
