// Test support: an install tree with providers, and runs of the collector's
// preparation in it with what they print.
//
// Built into tests only.

#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/collect/catalogue.h"
#include "src/collect/src/collect/settings.h"
#include "src/collect/src/collect/surroundings.h"
#include "src/common/preproc/test_tree.h"

namespace zelk::collect {

using words = std::vector<std::string>;

class collect_tree : public preproc::test_tree {
 protected:
  collect_tree() {
    configure("");
    for (const char* name :
         {"ZELK_CONFIG", "ZELK_DB", "ZELK_NODEFILE", "ZELK_LAUNCHER",
          "ZELK_FANOUT", "ZELK_CONNECT_TIMEOUT", "ZELK_ADDRESS",
          "ZELK_SHARED_TEMP_DIR", "SLURM_JOB_NODELIST", "PBS_NODEFILE"})
      ::unsetenv(name);
    ::setenv("XDG_CONFIG_HOME", in_root("home").c_str(), 1);
    ::setenv("ZELK_TEST_INSTALL_ROOT", config_.install_root.c_str(), 1);
  }
  ~collect_tree() override { ::unsetenv("ZELK_TEST_INSTALL_ROOT"); }

  // Writes a file below the install root and returns its path.
  std::string put(const std::string& path, std::string_view text) const {
    const std::filesystem::path file = in_root(path);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
    return file;
  }

  // Writes the configuration with these children.
  std::string configure(const std::string& children) const {
    return put("etc/zelk.xml", "<zelk>\n" + children + "\n</zelk>");
  }

  // Installs a provider; `more` is put into its description.
  std::string install(const std::string& stem,
                      const std::string& more = "") const {
    return put("etc/providers/" + stem + ".xml",
               "<provider>\n<command>true</command>" + more + "</provider>");
  }
  std::string install_cluster(const std::string& stem, int least,
                              int most) const {
    return install(stem, "<requires min_nodes='" + std::to_string(least) +
                             "' max_nodes='" + std::to_string(most) + "'/>");
  }

  collect_settings settings() const {
    collect_settings made;
    made.install_root = config_.install_root;
    made.config_file = in_root("etc/zelk.xml");
    return made;
  }

  void add_suite(collect_settings& to, const std::string& name,
                 const words& members) const {
    suite made;
    made.where = "zelk.xml:2";
    for (const std::string& member : members)
      made.members.push_back({member, "zelk.xml:3"});
    to.suites[name] = made;
  }
};

inline words names_of(const std::vector<planned_provider>& providers) {
  words names;
  for (const planned_provider& one : providers)
    names.push_back(one.stem);
  return names;
}

// A world that has nothing but a name.
struct empty_world {
  std::istringstream input;
  std::vector<std::string> commands;
  util::program_answer reply;  // to each of them
  std::map<std::string, std::string> variables;

  surroundings outside() {
    return {[this](const char* name) { return variables[name]; }, &input,
            [this](const std::string& command) {
              commands.push_back(command);
              return reply;
            },
            [] { return std::string("this-host"); }};
  }
};

}  // namespace zelk::collect
