// A pattern of the standard library is matched by a function that calls itself
// for every character of a repetition. A node that prints a megabyte without a
// blank would so end the program by its stack. The repetitions come behind a
// fixed text, therefore this text is searched first, and the pattern gets no
// more than a window that starts there. Both patterns hold a blank behind their
// fixed text, which neither group can match: windows do not overlap in what
// they examine, and the whole search takes time in proportion to the field.

#include "src/collect/src/utils/shared_dir_check.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "src/common/names/names.h"

namespace zelk {

const std::regex inode_pattern("#####SHAREDDIR_INODE (\\d+)#####",
                               std::regex::ECMAScript);
const std::regex host_pattern("#####ZELK_HOSTNAME (\\S+)#####",
                              std::regex::ECMAScript);

namespace {

constexpr std::string_view inode_opening = "#####SHAREDDIR_INODE ";
constexpr std::string_view host_opening = "#####ZELK_HOSTNAME ";
constexpr std::string_view closing = "#####";

// A host name has at most 255 characters, an inode number 20 digits.
constexpr std::size_t longest_value = 4096;

std::optional<std::string> value_of_first_match(const std::string& field,
                                                std::string_view opening,
                                                const std::regex& pattern) {
  for (std::size_t at = field.find(opening); at != std::string::npos;
       at = field.find(opening, at + 1)) {
    const std::size_t window = std::min(
        field.size() - at, opening.size() + longest_value + closing.size());
    const char* begin = field.data() + at;
    std::cmatch match;
    if (std::regex_search(begin, begin + window, match, pattern,
                          std::regex_constants::match_continuous)) {
      return match[1].str();
    }
  }
  return std::nullopt;
}

}  // namespace

std::string build_shared_dir_check_command(const std::string& directory,
                                           bool omit_hostname) {
  std::string command;
  if (!omit_hostname) command = "echo \"#####ZELK_HOSTNAME `hostname`#####\";";
  command += "if [[ ! -d " + directory + " ]]; then echo " +
             precheck::ZELK_PRECHECK_ND + ";";
  command += "elif [[ ! -w " + directory + " ]]";
  command += " || [[ ! -x " + directory + " ]]";
  command += " || [[ ! -r " + directory + " ]]; then echo " +
             precheck::ZELK_PRECHECK_NON_RW + ";";
  command += "else echo " + precheck::ZELK_PRECHECK_OK + ";fi;";
  command += "stat -c \"#####SHAREDDIR_INODE %i#####\" " + directory + ";";
  return command;
}

std::optional<std::string> reported_inode(const std::string& field) {
  return value_of_first_match(field, inode_opening, inode_pattern);
}

std::optional<std::string> reported_host_name(const std::string& field) {
  return value_of_first_match(field, host_opening, host_pattern);
}

}  // namespace zelk
