#include "src/collect/src/provider/command_line.h"

#include "src/common/str/str.h"

namespace zelk {

std::string provider_command_line(const provider_config& description,
                                  const std::string& prefix,
                                  std::int64_t timeout_sec) {
  std::string command = description.command;
  if (description.min_nodes >= 2)
    command = "ZELK_DP_NODEFILE=" + description.nodefile + " " + command;
  // The option set's values are not searched: they are a site's own text.
  command = str::replace(command, "%PROVIDER_AUXILIARY_PATH%",
                         description.auxiliary_path);
  return "ZELK_TIMEOUT=" + std::to_string(timeout_sec) + " " + prefix + command;
}

}  // namespace zelk
