#include "src/collect/src/provider_options.h"

#include <memory>

#include <libxml/tree.h>
#include <libxml/xpath.h>

#include "src/collect/src/paths.h"
#include "src/common/log/error_log.h"
#include "src/common/log/output_log.h"
#include "src/common/preproc/preproc.h"
#include "src/common/xml/xml.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/zelk_run_provider";

using unique_doc = std::unique_ptr<xmlDoc, void (*)(xmlDoc*)>;

}  // namespace

bool merge_provider_options(Config& config, const std::string& path) {
  xmlDoc* opened = nullptr;
  const bool valid = xml::open_and_validate(
      path, provider_schema_path(config.install_root), opened);
  const unique_doc document(opened, xmlFreeDoc);
  if (!valid || !preproc::provider_options_valid(opened, path)) {
    log::ErrorLog(source, "main", __LINE__, log::level_error).stream()
        << "Failed to open and validate xml " << path;
    return false;
  }
  xmlXPathContext* context = xmlXPathNewContext(document.get());
  if (context == nullptr) {
    log::OutputLog().stream() << "Error reading config file :" << path;
    return false;
  }
  preproc::update_provider_options(config, context);
  xmlXPathFreeContext(context);
  return true;
}

}  // namespace zelk
