// The provider descriptions that there are, and what each of them says.
//
// A description is read when somebody asks for it: one at fault stops those who
// want it, and nobody else.

#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "src/collect/src/collect/plan.h"
#include "src/collect/src/collect/settings.h"
#include "src/common/preproc/config.h"

namespace zelk::collect {

class catalogue {
 public:
  // Lists etc/providers under the install root; a folder that cannot be read is
  // an empty one.
  explicit catalogue(const collect_settings& settings);

  // Reads the option sets of the configuration and of the file that -p names.
  // Returns false after one error record.
  bool read_options();

  // The names of the installed descriptions, in ascending byte order.
  std::vector<std::string> names() const;
  // Returns the path of an installed description, "" when there is none.
  std::string path_of(const std::string& stem) const;

  // Returns what the description at `path` says, with the time-outs of a single
  // node and --timeout applied, or null after one error record.
  const planned_provider* read(const std::string& path);

  // Returns `provider`, whose groups have `nodes` nodes at most, with its
  // time-outs scaled to them.
  planned_provider scaled(planned_provider provider, int nodes) const;

  // Returns the name of a description file without its extension, which is cut
  // by its length as the worker does it, or "" for a file that cannot be one.
  static std::string stem_of(const std::string& path);

 private:
  void set_options(planned_provider& provider) const;
  std::optional<planned_provider> parsed(const std::string& path) const;

  const collect_settings& settings_;
  Config config_;
  std::map<std::string, std::string> installed_;  // stem -> path
  // Null: at fault, which has been told.
  std::map<std::string, std::unique_ptr<planned_provider>> read_;
};

}  // namespace zelk::collect
