// Every path that the worker forms.
//
// Text only: nothing here looks at a file system. The install root carries no
// trailing slash, so that "" stands for "/".

#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace zelk {

struct install_paths {
  std::string providers_dir;  // shipped and a site's own descriptions
  std::string share_dir;      // a provider's auxiliary files
};

// The configuration file of an installation.
std::string default_config_path(std::string_view install_root);

install_paths paths_under(std::string_view install_root);

// Returns whether both fit the product's fixed buffers of 4096 bytes.
bool paths_fit(const install_paths& paths);

// The schema of the file that -p names.
std::string provider_schema_path(std::string_view install_root);

std::string pid_file_path(std::string_view config_dir, std::string_view host);

// Returns the base name of a description file without its last four bytes (the
// extension is cut by length alone), or "" for a base name that is shorter than
// five: such a file is no provider.
//
//   /etc/p/memory.xml   memory
//   x.xml               x
//   abcde               a
//   a.xm                ""
std::string provider_stem(std::string_view path);

// The mkstemp(3) template of a result file. Two underscores stand between the
// time and the six template characters; collectors match on that.
//
//   ("/s", "memory", "node07", 1489412345)
//   /s/ZELK_MEMORY_node07_1489412345__XXXXXX
std::string output_file_template(std::string_view directory,
                                 std::string_view stem, std::string_view host,
                                 std::time_t now);

}  // namespace zelk
