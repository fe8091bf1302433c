// The verdict has four sides, which are reported apart since each has another
// remedy:
//
// - The node sees no such directory, or must not use it: mount it, or change
//   its permissions.
// - The directory is there on all nodes but is not the same: its inode number
//   differs. Each node may have a folder of that name on its own disk, and
//   results written there would never be found.
// - The node has no stat(1), so nobody can tell.
// - The node did not answer at all.
//
// An inode number alone proves nothing. A fresh file system gives its root the
// same number everywhere, so private ones can look shared; and a network file
// system that makes its numbers up can make a shared one look private. Hence
// the second side is a warning in the log and not a refusal.

#include "src/collect/src/utils/extension_output.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <vector>

#include "src/collect/src/utils/shared_dir_check.h"
#include "src/common/log/error_log.h"
#include "src/common/names/names.h"
#include "src/common/node/tokenized_host.h"
#include "src/common/str/str.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/utils";

using label_list = std::vector<std::string>;

struct answers {
  label_list usable;
  label_list not_usable;
  label_list no_directory;
  std::set<std::string> seen;  // every label
  std::set<std::string> with_inode;
  std::size_t inode_count = 0;
  std::map<unsigned long, label_list> by_inode;
};

void log_error(const std::string& text) {
  log::ErrorLog(source, "process_extension_output", __LINE__, log::level_error)
          .stream()
      << text;
}

std::string merged(const label_list& labels) {
  return TokenizedHost::get_merged_hosts(labels);
}

bool contains(const std::string& field, const std::string& word) {
  return field.find(word) != std::string::npos;
}

void read_markers(const std::string& label, const std::string& field,
                  answers& found, std::map<std::string, std::string>& names) {
  if (const std::optional<std::string> inode = reported_inode(field)) {
    const unsigned long number = std::stoul(*inode, nullptr, 10);
    found.with_inode.insert(label);
    found.by_inode[number].push_back(label);
    ++found.inode_count;
  } else if (const std::optional<std::string> name =
                 reported_host_name(field)) {
    if (*name != label) names[label] = *name;
  }
}

void read_field(const std::string& label, const std::string& field,
                answers& found, std::map<std::string, std::string>& names) {
  if (contains(field, precheck::ZELK_PRECHECK_OK)) {
    found.usable.push_back(label);
  } else if (contains(field, precheck::ZELK_PRECHECK_NON_RW)) {
    found.not_usable.push_back(label);
  } else if (contains(field, precheck::ZELK_PRECHECK_ND)) {
    found.no_directory.push_back(label);
  } else {
    read_markers(label, field, found, names);
  }
}

answers read_answers(const std::string& output,
                     std::map<std::string, std::string>& names) {
  answers found;
  for (const std::string& line : str::split(output, '\n', false)) {
    const std::vector<std::string> fields = str::split(line, ':', false);
    if (fields.size() < 2) continue;
    const std::string label = str::strip(fields.front(), "");
    found.seen.insert(label);
    std::for_each(std::next(fields.begin()), fields.end(),
                  [&](const std::string& field) {
                    read_field(label, field, found, names);
                  });
  }
  return found;
}

std::string merged_groups(const answers& found) {
  std::string text;
  for (const auto& [inode, labels] : found.by_inode) {
    if (!text.empty()) text += ",";
    text += "[" + merged(labels) + "]";
  }
  return text;
}

void report_missing(const answers& found, const std::string& directory) {
  log_error(
      "Zelkara requires a readable and writable shared directory across all "
      "nodes. The shared directory " +
      directory +
      " does not exist on certain nodes. Make the directory shared, readable "
      "and writable on nodes : " +
      merged(found.no_directory) + ".");
}

void report_split(const answers& found, const std::string& directory) {
  std::string text =
      "Zelkara requires a readable and writable shared directory across all "
      "nodes. The shared directory " +
      directory;
  if (found.by_inode.size() == found.seen.size()) {
    text +=
        " has unique inode values across the nodes, meaning that it is not "
        "shared across all nodes.";
  } else {
    text +=
        " has unique inode values across some nodes, meaning that it is not "
        "shared across all nodes. The following groups have the same inode "
        "values: " +
        merged_groups(found);
  }
  log_error(text + "\nMake the directory " + directory +
            " shared on all the nodes, or set the Zelkara environment variable "
            "ZELK_SHARED_TEMP_DIR to a different shared directory that is "
            "readable and writable on all nodes");
}

label_list undetected(const answers& found) {
  std::set<std::string> rest = found.seen;
  for (const std::string& label : found.with_inode)
    rest.erase(label);
  for (const std::string& label : found.no_directory)
    rest.erase(label);
  return {rest.begin(), rest.end()};
}

void report_undetected(const label_list& labels, const std::string& directory) {
  log_error(
      "Zelkara requires a readable and writable shared directory across all "
      "nodes but was unable to detect if " +
      directory +
      " meets all these requirements on the nodes: " + merged(labels) +
      ".\n"
      "If the directory is not readable, writable and shared, data collection "
      "may fail.\n"
      "To correctly detect the status of this directory, please ensure that "
      "the tool \"stat\" is installed and available.\n"
      "If the data collection fails, make the " +
      directory +
      " readable, writable, and shared, or set the Zelkara environment "
      "variable ZELK_SHARED_TEMP_DIR to a different shared directory that is.");
}

void report_permissions(const answers& found, const std::string& directory) {
  log_error(
      "Zelkara requires a readable and writable shared directory across all "
      "nodes. The shared directory " +
      directory +
      " is not having right permissions. Make the directory shared, readable "
      "and writable on nodes : " +
      merged(found.not_usable) + ".");
}

label_list unreachable(const std::set<std::string>& nodes,
                       const answers& found) {
  std::set<std::string> rest = nodes;
  for (const label_list* list :
       {&found.usable, &found.not_usable, &found.no_directory}) {
    for (const std::string& label : *list)
      rest.erase(label);
  }
  return {rest.begin(), rest.end()};
}

void report_unreachable(const label_list& labels, int mode) {
  const std::string opening =
      "Unable to access the following nodes: " + merged(labels);
  if (mode == asked_by_ssh) {
    log_error(opening + " using SSH.");
    log_error(
        "Zelkara is configured to use key-based authentication of ssh between "
        "servers.");
    log_error(
        "Verify passwordless ssh is enabled and does not take a long time to "
        "connect, in which case the connection could be timing out.");
    log_error(
        "Otherwise, please configure Zelkara to use Orvane(R) MPI Library for "
        "data collection. For more information about how to configure data "
        "collection, please refer to the Zelkara User Guide.");
  } else {
    log_error(opening + " , using Orvane(R) MPI Library.");
    log_error(
        "Please make sure that Orvane(R) MPI Library is installed and sourced "
        "and that all nodes are accessible via MPI.");
  }
  log_error("For more information, please run with '-l debug'.");
}

}  // namespace

bool process_extension_output(const std::string& output,
                              const std::set<std::string>& nodes,
                              std::map<std::string, std::string>& hostnames,
                              const std::string& directory, int mode) {
  hostnames.clear();
  if (nodes.empty()) return false;

  const answers found = read_answers(output, hostnames);
  const label_list silent = unreachable(nodes, found);

  if (!found.no_directory.empty()) report_missing(found, directory);
  if (found.by_inode.size() > 1) report_split(found, directory);
  if (found.inode_count < found.seen.size()) {
    const label_list unknown = undetected(found);
    if (!unknown.empty()) report_undetected(unknown, directory);
  }
  if (!found.not_usable.empty()) report_permissions(found, directory);
  if (!silent.empty()) report_unreachable(silent, mode);

  return found.no_directory.empty() && found.not_usable.empty() &&
         silent.empty();
}

}  // namespace zelk
