// The question that every node is asked about a shared directory, and how the
// answers are found in what it prints.
//
// Only text: how the command gets to the nodes and its output back is the
// caller's. A node prints its host name (if asked), one of the state words
// ZELK_PRECHECK_*, and the directory's inode number if it has stat(1). Logins
// may print whatever they like around it.

#pragma once

#include <optional>
#include <regex>
#include <string>

namespace zelk {

// Returns the command, for bash: its double brackets are unknown to sh.
// `directory` is not quoted; a blank in it splits it on the node.
// `omit_hostname` leaves out the host name, for whoever knows where each answer
// comes from.
std::string build_shared_dir_check_command(const std::string& directory,
                                           bool omit_hostname);

// What an answer holds, in the first group: the inode number in decimal, and
// the node's own host name.
extern const std::regex inode_pattern;
extern const std::regex host_pattern;

// Returns the first group of the first match in `field`, of any length. A
// number or name beyond 4,096 characters is not found.
std::optional<std::string> reported_inode(const std::string& field);
std::optional<std::string> reported_host_name(const std::string& field);

}  // namespace zelk
