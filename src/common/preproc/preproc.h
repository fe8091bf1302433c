// Reading of the product configuration, of provider options and of provider
// descriptions (doc/formats.md).
//
// Every file is checked against its schema before a byte of it is believed, and
// each complaint is one error record: file, line, what was expected.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/preproc/config.h"
#include "src/common/xml/library_types.h"

namespace zelk::preproc {

// Fills `config` from the configuration file. Returns 0, or the exit status (1)
// for the process after one error record; `config` is then unchanged. Reads the
// schema share/zelkara/zelk.xsd under config.install_root.
int read_config(Config& config, const std::string& path);

// Returns whether the validated provider options file `path` also keeps the
// rules that its schema cannot say; otherwise there was one error record. To be
// asked before update_provider_options(), which has no way to answer.
bool provider_options_valid(const xmlDoc* document, const std::string& path);

// Merges the provider options of the validated document behind `context` over
// those of `config`: an option whose id the provider has replaces it in its
// place, a new one is appended, a provider not yet named is added. Merges
// nothing, after one error record, when provider_options_valid() is false.
void update_provider_options(Config& config, xmlXPathContext*& context);

// Returns the option sets of the provider with the upper-cased name `key`, in
// the order written; none when the configuration does not name it.
std::vector<ProcessedProviderAttributes> populate_option_vars_map(
    const Config& config, const std::string& key);

// Returns `value` as one word of a POSIX shell: in single quotes, with each
// single quote inside written as '\''. No value can end its own quoting.
std::string shell_quoted(std::string_view value);

class Preprocessor {
 public:
  // Fills `description` from the provider description at `path`. Returns 0, or
  // not 0 after one error record; `description` is then unspecified. `entry` is
  // the file as the worker's table names it: its base name without extension is
  // the default of the provider's name. Reads share/zelkara/description.xsd.
  static std::int32_t parse_provider_config_xml(provider_config& description,
                                                const std::string& path,
                                                const Config& config,
                                                const std::string& entry);
};

}  // namespace zelk::preproc
