#include "src/check/command/configuration.h"

#include "src/common/preproc/fields.h"
#include "src/common/xml/query.h"

namespace zelk::check {

std::optional<std::string> configured_nodefile(
    const std::string& path, preproc::configuration_owner owner,
    const std::string& install_root) {
  const xml::unique_doc document =
      preproc::open_configuration(path, owner, install_root);
  if (!document) return {};
  const xmlNode* element =
      xml::child(xml::child(xml::root(*document), "collect"), "nodefile");
  return element == nullptr ? "" : preproc::text_of(element);
}

}  // namespace zelk::check
