#include "src/common/names/version.h"

namespace zelk {

std::string product_version() {
  return ZELK_VERSION;
}

std::string source_commit() {
  return ZELK_COMMIT;
}

std::string version_text(std::string_view program,
                         const std::vector<format_version>& formats) {
  std::string text = std::string(program) + " " + product_version();
  if (const std::string commit = source_commit(); !commit.empty())
    text += " (commit " + commit + ")";
  text += '\n';
  std::string line;
  for (const auto& [name, version] : formats)
    line += (line.empty() ? "" : ", ") + std::string(name) + " version " +
            std::to_string(version);
  return line.empty() ? text : text + line + '\n';
}

}  // namespace zelk
