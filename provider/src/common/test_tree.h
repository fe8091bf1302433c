// A folder of made files that a test reads as /proc and /sys.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace zelk::perf {

class test_tree {
 public:
  test_tree() {
    std::string name =
        (std::filesystem::temp_directory_path() / "zelk_perf.XXXXXX").string();
    root_ = ::mkdtemp(name.data());
  }
  test_tree(const test_tree&) = delete;
  test_tree& operator=(const test_tree&) = delete;
  ~test_tree() { std::filesystem::remove_all(root_); }

  const std::string& root() const { return root_; }

  void put(const std::string& path, const std::string& text) const {
    const std::filesystem::path file = root_ + path;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << text;
  }

 private:
  std::string root_;
};

}  // namespace zelk::perf
