// Test support: declarations made of the text of a description.
//
// Built into tests only.

#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/facts/declaration.h"
#include "src/common/facts/test_printed.h"
#include "src/common/log/captured_log.h"
#include "src/common/xml/test_files.h"

namespace zelk::facts {

using lines = std::vector<std::string>;

constexpr char shipped_schema[] =
    ZELK_SOURCE_DIR "/share/zelkara/description.xsd";

// A text of any length.
inline std::string many(std::size_t count, char c) {
  std::string text;
  text.resize(count, c);
  return text;
}

class declaration_fixture : public testing::Test {
 protected:
  // Reads a provider "disk" with these facts, each on a line of its own from
  // line 2 on. Null when they are faulty.
  std::shared_ptr<const declaration> declared(const std::string& format,
                                              const std::string& facts) {
    const std::string path = files_.write(
        "disk.xml", "<provider><command>x</command><facts format='" + format +
                        "'>\n" + facts + "</facts></provider>");
    return declaration::read(path, shipped_schema);
  }

  // Returns the facts of `output` as test_printed.h shows them.
  std::string read(const std::string& format, const std::string& facts,
                   std::string_view output, int exit_status = 0) {
    const auto by = declared(format, facts);
    if (!by) return "faulty";
    return printed(by->read_output(output, exit_status));
  }

  // The log lines so far, without the folder in front of a file's name.
  lines said() const {
    const std::string folder = files_.path("");
    lines all = log_.lines();
    for (std::string& line : all)
      for (std::size_t at; (at = line.find(folder)) != line.npos;)
        line.erase(at, folder.size());
    return all;
  }

  xml::test_files files_;

 private:
  log::captured_log log_;
};

}  // namespace zelk::facts
