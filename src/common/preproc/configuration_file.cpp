#include "src/common/preproc/configuration_file.h"

#include <unistd.h>

#include "src/common/preproc/fields.h"
#include "src/common/xml/complaint.h"
#include "src/common/xml/query.h"
#include "src/common/xml/xml.h"

namespace zelk::preproc {

namespace {

bool has_only_own_children(const std::string& path, const xmlNode& zelk) {
  for (const char* name : {"output_directory", "provider_options"})
    if (const xmlNode* other = xml::child(&zelk, name)) {
      xml::complain(path,
                    {xml::line_of(*other),
                     "expected only 'collect' and 'datastore' in a user's own "
                     "file; found '" +
                         std::string(name) + "'"});
      return false;
    }
  return true;
}

bool exists(const std::string& path) {
  return ::access(path.c_str(), F_OK) == 0;
}

configured_datastore datastore_in(const std::string& path,
                                  configuration_owner owner,
                                  const std::string& root) {
  const xml::unique_doc document = open_configuration(path, owner, root);
  if (!document) return {"", true};
  return {text_of(datastore_path_element(*xml::root(*document))), false};
}

}  // namespace

xml::unique_doc open_configuration(const std::string& path,
                                   configuration_owner owner,
                                   const std::string& root) {
  xmlDoc* opened = nullptr;
  if (!xml::open_and_validate(path, root + "/share/zelkara/zelk.xsd", opened))
    return nullptr;
  xml::unique_doc document(opened);
  if (owner == configuration_owner::user &&
      !has_only_own_children(path, *xml::root(*document)))
    return nullptr;
  return document;
}

std::string user_configuration(environment variable) {
  std::string folder = variable("XDG_CONFIG_HOME");
  if (folder.empty()) {
    folder = variable("HOME");
    if (folder.empty()) return "";
    folder += "/.config";
  }
  const std::string path = folder + "/zelkara/zelk.xml";
  return exists(path) ? path : "";
}

const xmlNode* datastore_path_element(const xmlNode& zelk) {
  return xml::child(xml::child(&zelk, "datastore"), "path");
}

configured_datastore find_configured_datastore(const std::string& file,
                                               const std::string& root,
                                               environment variable) {
  if (const std::string own = user_configuration(variable); !own.empty()) {
    configured_datastore found =
        datastore_in(own, configuration_owner::user, root);
    if (found.failed || !found.path.empty()) return found;
  }
  std::string site = file.empty() ? variable("ZELK_CONFIG") : file;
  if (site.empty()) {
    site = root + "/etc/zelk.xml";
    if (!exists(site)) return {};
  }
  return datastore_in(site, configuration_owner::site, root);
}

}  // namespace zelk::preproc
