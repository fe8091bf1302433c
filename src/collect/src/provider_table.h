// The providers of a run, in the order in which they run.

#pragma once

#include <map>
#include <string>
#include <vector>

#include "src/collect/src/paths.h"
#include "src/common/preproc/config.h"

namespace zelk {

// By provider name, in ascending byte order.
using provider_table = std::map<std::string, provider_info>;

// Returns an entry for each description file. Of two files with one name the
// earlier stays; a file whose base name is shorter than five bytes is dropped.
// Neither is worth a message: lists of files come from patterns.
provider_table build_provider_table(const std::vector<std::string>& files,
                                    const install_paths& paths);

}  // namespace zelk
