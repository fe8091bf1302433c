#include "src/collect/src/provider_table.h"

namespace zelk {

provider_table build_provider_table(const std::vector<std::string>& files,
                                    const install_paths& paths) {
  provider_table table;
  for (const std::string& path : files) {
    const std::string name = provider_stem(path);
    if (name.empty()) continue;
    table.emplace(
        name,
        provider_info{name, path, paths.providers_dir, paths.share_dir, {}});
  }
  return table;
}

}  // namespace zelk
