#include <cstring>

#include "src/common/preproc/fields.h"
#include "src/common/preproc/preproc.h"
#include "src/common/preproc/provider_options.h"
#include "src/common/xml/complaint.h"
#include "src/common/xml/document.h"
#include "src/common/xml/query.h"
#include "src/common/xml/xml.h"

namespace zelk::preproc {

namespace {

constexpr int exit_bad_config = 1;

// Returns "" after one error record when the path does not fit the record.
std::string output_directory(const xmlNode* zelk, const std::string& path,
                             const Config& config) {
  const xmlNode* element = xml::child(zelk, "output_directory");
  std::string directory =
      element ? text_of(element) : config.install_root + "/var/spool";
  if (directory.size() < sizeof config.output_directory) return directory;
  xml::complain(path, {element ? xml::line_of(*element) : 0,
                       "expected in 'output_directory': an absolute path of at "
                       "most 4095 bytes; found " +
                           std::to_string(directory.size()) + " bytes"});
  return "";
}

}  // namespace

int read_config(Config& config, const std::string& path) {
  xmlDoc* opened = nullptr;
  if (!xml::open_and_validate(
          path, config.install_root + "/share/zelkara/zelk.xsd", opened))
    return exit_bad_config;
  const xml::unique_doc document(opened);
  const xmlNode* zelk = xml::root(*document);

  const std::string directory = output_directory(zelk, path, config);
  if (directory.empty()) return exit_bad_config;
  option_table options;
  if (!read_provider_options(xml::child(zelk, "provider_options"), path,
                             options))
    return exit_bad_config;

  std::memcpy(config.output_directory, directory.c_str(), directory.size() + 1);
  config.provider_configs = std::move(options);
  return 0;
}

}  // namespace zelk::preproc
