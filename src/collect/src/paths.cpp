#include "src/collect/src/paths.h"

#include "src/common/str/str.h"

namespace zelk {

namespace {

constexpr std::size_t longest_path = 4095;   // bytes, and a terminator
constexpr std::size_t extension_length = 4;  // ".xml"

std::string under(std::string_view root, std::string_view rest) {
  return std::string(root).append(rest);
}

}  // namespace

std::string default_config_path(std::string_view install_root) {
  return under(install_root, "/etc/zelk.xml");
}

install_paths paths_under(std::string_view install_root) {
  return {under(install_root, "/etc/providers"),
          under(install_root, "/provider/share")};
}

bool paths_fit(const install_paths& paths) {
  return paths.providers_dir.size() <= longest_path &&
         paths.share_dir.size() <= longest_path;
}

std::string provider_schema_path(std::string_view install_root) {
  return under(install_root, "/provider/provider.xsd");
}

std::string pid_file_path(std::string_view config_dir, std::string_view host) {
  return under(config_dir, "/pidfile_").append(host);
}

std::string provider_stem(std::string_view path) {
  std::string base = str::basename(path);
  if (base.size() <= extension_length) return {};
  base.resize(base.size() - extension_length);
  return base;
}

std::string output_file_template(std::string_view directory,
                                 std::string_view stem, std::string_view host,
                                 std::time_t now) {
  std::string path(directory);
  path.append("/ZELK_").append(str::upper(stem));
  path.append("_").append(host);
  path.append("_").append(std::to_string(now));
  return path.append("_").append("_XXXXXX");
}

}  // namespace zelk
