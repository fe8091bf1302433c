// Test support: an install tree with the shipped schemas, and log lines in it.
//
// Built into tests only.

#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"
#include "src/common/preproc/config.h"
#include "src/common/xml/test_files.h"

namespace zelk::preproc {

using lines = std::vector<std::string>;

class test_tree : public testing::Test {
 protected:
  test_tree() {
    config_.install_root = files_.path("root");
    ship("share/zelkara/zelk.xsd");
    ship("share/zelkara/description.xsd");
    ship("provider/provider.xsd");
  }

  // Writes a file outside the install tree.
  std::string write(const std::string& name, std::string_view text) const {
    return files_.write(name, text);
  }

  std::string in_root(const std::string& path) const {
    return config_.install_root + "/" + path;
  }

  // The log lines so far, without the folder in front of a file's name.
  lines said() const {
    const std::string folder = files_.path("");
    lines all = log_.lines();
    for (std::string& line : all)
      if (line.starts_with(folder)) line.erase(0, folder.size());
    return all;
  }

  Config config_;

 private:
  void ship(const std::string& path) const {
    const std::filesystem::path target = in_root(path);
    std::filesystem::create_directories(target.parent_path());
    std::filesystem::copy_file(std::string(ZELK_SOURCE_DIR "/") + path, target);
  }

  xml::test_files files_;
  log::captured_log log_;
};

}  // namespace zelk::preproc
