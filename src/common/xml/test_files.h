// Test support: a folder of files that goes away with its scope.
//
// Built into tests only.

#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace zelk::xml {

class test_files {
 public:
  test_files() {
    std::string name = testing::TempDir() + "zelk_XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) std::abort();
    folder_ = name;
  }
  ~test_files() { std::filesystem::remove_all(folder_); }

  test_files(const test_files&) = delete;
  test_files& operator=(const test_files&) = delete;

  std::string path(const std::string& name) const {
    return folder_ + "/" + name;
  }

  // Writes the file `name`, folders included, and returns its path.
  std::string write(const std::string& name, std::string_view content) const {
    const std::filesystem::path file = path(name);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    if (!out) std::abort();
    return file;
  }

 private:
  std::string folder_;
};

}  // namespace zelk::xml
