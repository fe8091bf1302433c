// Test support: a directory of the test's own, removed with all it holds.

#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

namespace zelk::datastore {

class scratch {
 public:
  scratch() {
    std::string name =
        (std::filesystem::temp_directory_path() / "zelk_XXXXXX").string();
    if (::mkdtemp(name.data())) path_ = name;
  }
  ~scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  scratch(const scratch&) = delete;
  scratch& operator=(const scratch&) = delete;

  std::string file(const std::string& name) const { return path_ + "/" + name; }
  const std::string& path() const { return path_; }

  std::string write(const std::string& name, std::string_view content) const {
    std::ofstream(file(name), std::ios::binary) << content;
    return file(name);
  }

 private:
  std::string path_;
};

inline std::string content_of(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace zelk::datastore
