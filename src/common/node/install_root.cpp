#include "src/common/node/install_root.h"

#include <filesystem>
#include <system_error>

#include "src/common/log/error_log.h"

namespace zelk::node {

namespace fs = std::filesystem;

constexpr char source[] = "src/common/node/install_root";

std::string install_root_of(std::string_view program) {
  const std::string root =
      fs::path(program).parent_path().parent_path().string();
  return root == "/" ? "" : root;
}

std::string get_default_path() {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (error) {
    log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
        << "Unable to find the running program through /proc/self/exe: "
        << error.message();
    return "";
  }
  return install_root_of(program.string());
}

}  // namespace zelk::node
