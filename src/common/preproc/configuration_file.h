// The files that the configuration lies in, and the one setting in them that
// all programs of the head node share: where the datastore is.
//
// There are two, of the same form: the site's, etc/zelk.xml, and a person's own
// one, which wins and has less to say. Both are checked against the schema
// before a byte of them is believed; a failure is one error record.

#pragma once

#include <string>

#include "src/common/xml/document.h"

namespace zelk::preproc {

enum class configuration_owner {
  site,
  user,  // only `collect` and `datastore` may stand there
};

// Returns the valid file `path`, or null after one error record. Reads the
// schema share/zelkara/zelk.xsd under `root`, the install root.
xml::unique_doc open_configuration(const std::string& path,
                                   configuration_owner owner,
                                   const std::string& root);

// Looks a variable of the environment up; "" when it is not set.
using environment = std::string (*)(const char* name);

// Returns the path of the user's own file, "" when there is none:
// XDG_CONFIG_HOME/zelkara/zelk.xml, or ~/.config/zelkara/zelk.xml.
std::string user_configuration(environment variable);

// The element datastore/path of a valid configuration, or null.
const xmlNode* datastore_path_element(const xmlNode& zelk);

struct configured_datastore {
  std::string path;     // absolute; "": no configuration says
  bool failed = false;  // a file cannot be used; there was one error record
};

// Returns what the configuration says of the datastore: the user's own file,
// else the site's, which is `file`, else ZELK_CONFIG, else etc/zelk.xml under
// `root`. A site's file that nobody named need not be there.
configured_datastore find_configured_datastore(const std::string& file,
                                               const std::string& root,
                                               environment variable);

}  // namespace zelk::preproc
