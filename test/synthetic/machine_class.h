// A class of like machines, as templates see it.
//
//   # comment
//   words intel infiniband      choose lines of templates
//   cpus 96                     value "cpus", the rest of the line
//
// is a file of classes/; its stem is the class's name.

#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

namespace zelk::synthetic {

struct machine_class {
  std::string name;
  std::set<std::string> words;
  std::map<std::string, std::string> values;
};

// Throws std::runtime_error, naming the file.
machine_class read_machine_class(const std::string& path);

// Returns the value of that name. Throws std::runtime_error.
const std::string& value_of(const machine_class& in, std::string_view name);

// Returns the product of numbers and names of values, "stream*0.97". Throws
// std::runtime_error.
double number_of(const machine_class& in, std::string_view expression);

}  // namespace zelk::synthetic
