// A place in a JSON document, as a declaration names it.
//
//   blockdevices[*].name     of each element of the list
//   memory.total             of the object in the object
//   sensors.*.temp           whatever the object's name is
//   disks[0]['serial no']    a name with other characters than a word's
//
// Each * is a group, counted from 1: the name or the number that stood there.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zelk::facts {

struct path_step {
  enum class kind { name, any_name, number, any_number };
  kind what = kind::name;
  std::string name;
  std::size_t number = 0;

  bool takes_name(std::string_view found) const {
    return what == kind::any_name || (what == kind::name && name == found);
  }
  bool takes_number(std::size_t found) const {
    return what == kind::any_number ||
           (what == kind::number && number == found);
  }
};

using json_path = std::vector<path_step>;

// Puts the steps of `text` into `path`. Returns "", or what was expected.
std::string read_json_path(std::string_view text, json_path& path);

// Returns how many groups it has.
std::size_t groups_of(const json_path& path);

}  // namespace zelk::facts
