// The element provider_options, wherever it stands.

#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "src/common/preproc/config.h"
#include "src/common/xml/library_types.h"

namespace zelk::preproc {

// Option sets by the upper-cased name of their provider.
using option_table =
    std::unordered_map<std::string, std::shared_ptr<provider_config>>;

// Reads the element `provider_options` of the validated file `path` into
// `table`. Returns false after one error record when it breaks a rule that the
// schema cannot say. A null element has no options.
bool read_provider_options(const xmlNode* provider_options,
                           const std::string& path, option_table& table);

// Merges `over` over the option sets of `config`, as the options of a provider
// options file are merged over those of the configuration.
void merge_options(Config& config, const option_table& over);

}  // namespace zelk::preproc
