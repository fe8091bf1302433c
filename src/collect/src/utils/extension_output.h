// The verdict on a shared directory, from what all nodes answered to the
// command of shared_dir_check.h.

#pragma once

#include <map>
#include <set>
#include <string>

namespace zelk {

// How the nodes were asked. Whatever is not the remote shell is MPI.
constexpr int asked_by_ssh = 1;
constexpr int asked_by_mpi = 2;

// Returns whether every one of `nodes` answered, and found the directory there
// and usable. Everything that is wrong goes to the log, each with its advice.
// Nodes that see different directories, or cannot tell, are reported but do not
// make it false: file systems exist on which one directory has several inodes.
//
// `output` has lines "LABEL: what the node printed", in any order; other lines
// are passed over. `hostnames` becomes label -> the name that the node gave
// itself, where the two differ. `directory` is what was asked about.
//
// With no `nodes` the answer is false and nothing is logged. Throws
// std::out_of_range for an inode number that does not fit unsigned long.
bool process_extension_output(const std::string& output,
                              const std::set<std::string>& nodes,
                              std::map<std::string, std::string>& hostnames,
                              const std::string& directory, int mode);

}  // namespace zelk
