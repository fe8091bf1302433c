// Where the product is installed.

#pragma once

#include <string>
#include <string_view>

namespace zelk::node {

// Returns the install root of a program.
//
//   install_root_of("/opt/zelkara/bin/zelk-check")    "/opt/zelkara"
//   install_root_of("/bin/zelk-check")                ""  for "/", so that a
//                                                     caller may append "/etc"
std::string install_root_of(std::string_view program);

// Returns the install root of the running program, found through /proc/self/exe
// so that the tree may be moved, mounted or linked to from anywhere. "" also
// when the program cannot be found, after one error record.
std::string get_default_path();

}  // namespace zelk::node
