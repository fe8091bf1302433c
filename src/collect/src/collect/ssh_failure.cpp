#include "src/collect/src/collect/ssh_failure.h"

#include <string.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <vector>

#include "src/common/str/str.h"

namespace zelk::collect {

namespace {

using lines = std::vector<std::string>;

// A line of a failure, for people: nobody reads more of it.
constexpr std::size_t longest_line = 400;

struct saying {
  const char* words;  // in lower case
  ending how;
  const char* common;  // the reason for all nodes; "": the line as it is
};

// In the order of their weight: the host key's change comes with lines about
// other things.
constexpr std::array ssh_sayings{
    saying{"remote host identification has changed", ending::host_key,
           "ssh: the host key has changed"},
    saying{"host key is known for", ending::host_key,
           "ssh: the host key is not known"},
    saying{"host key verification failed", ending::host_key,
           "ssh: Host key verification failed"},
    saying{"could not resolve hostname", ending::unknown_host,
           "ssh: Could not resolve hostname"},
    saying{"permission denied (", ending::login, "ssh: Permission denied"},
    saying{"permission denied, please try again", ending::login,
           "ssh: Permission denied"},
    saying{"too many authentication failures", ending::login,
           "ssh: Too many authentication failures"},
    saying{"no supported authentication methods", ending::login,
           "ssh: No supported authentication methods"},
    saying{"this account is currently not available", ending::login,
           "ssh: This account is currently not available"},
    saying{"your password has expired", ending::login,
           "ssh: the password has expired"},
    saying{"account has expired", ending::login,
           "ssh: the account has expired"},
    saying{"connection refused", ending::refused,
           "ssh: connect to host: Connection refused"},
    saying{"no route to host", ending::no_route,
           "ssh: connect to host: No route to host"},
    saying{"network is unreachable", ending::no_route,
           "ssh: connect to host: Network is unreachable"},
    saying{"network is down", ending::no_route,
           "ssh: connect to host: Network is down"},
    saying{"host is down", ending::no_route,
           "ssh: connect to host: Host is down"},
    saying{"timed out during banner exchange", ending::connect_timeout,
           "ssh: Connection timed out during banner exchange"},
    saying{"connection timed out", ending::connect_timeout,
           "ssh: connect to host: Connection timed out"},
    saying{"operation timed out", ending::connect_timeout,
           "ssh: connect to host: Operation timed out"},
    saying{"not responding", ending::connect_timeout,
           "ssh: the server does not respond"},
    saying{"unable to negotiate", ending::launcher_failed,
           "ssh: Unable to negotiate"},
    saying{"connection reset by", ending::launcher_failed,
           "ssh: Connection reset"},
    saying{"connection closed by", ending::launcher_failed,
           "ssh: Connection closed by the host"},
    saying{"closed by remote host", ending::launcher_failed,
           "ssh: Connection closed by the host"},
};

constexpr std::array slurm_sayings{
    saying{"node failure", ending::lost, ""},
    saying{"communication connection failure", ending::no_route, ""},
    saying{"unable to contact slurm controller", ending::launcher_failed, ""},
    saying{"invalid node name", ending::unknown_host, ""},
    saying{"not known", ending::unknown_host, ""},
    saying{"required node not available", ending::launcher_failed, ""},
    saying{"task launch", ending::launcher_failed, ""},
    saying{"unable to allocate resources", ending::launcher_failed, ""},
    saying{"unable to create step", ending::launcher_failed, ""},
    saying{"error:", ending::launcher_failed, ""},
    saying{"fatal:", ending::launcher_failed, ""},
};

std::string lower(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return result;
}

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != text.npos;
}

// What is no failure: ssh's warnings, its debugging, frames of messages.
bool is_decoration(const std::string& line) {
  return line.empty() || line.starts_with("@@@") || line.starts_with("** ") ||
         line.starts_with("debug") || line.starts_with("Warning: Permanently");
}

lines lines_of(std::string_view said) {
  lines result;
  for (const std::string& line : str::split(said, '\n', true)) {
    std::string shown = printable_line(line);
    if (!is_decoration(shown)) result.push_back(std::move(shown));
  }
  return result;
}

std::string with_prefix(const std::string& program, const std::string& line) {
  return line.starts_with(program + ":") ? line : program + ": " + line;
}

// Where a known key stands that is no longer right: "...known_hosts:3".
std::string offending_key(const lines& said) {
  for (const std::string& line : said) {
    const std::size_t in = line.rfind(" in ");
    if (contains(line, "Offending") && in != line.npos)
      return " (" + line.substr(in + 4) + ")";
  }
  return "";
}

failure silent(const std::string& program, int wait_status) {
  const std::string text =
      program + ": ended with " + ended_with(wait_status) + ", without a word";
  return {ending::launcher_failed, text, text};
}

// The last line is what a program ended for.
failure unrecognised(const std::string& program, const std::string& line,
                     const std::string& node) {
  const std::string text = with_prefix(program, line);
  return {ending::launcher_failed, text, str::replace(text, node, "NODE")};
}

std::optional<failure> recognised(const lines& said) {
  for (const saying& known : ssh_sayings) {
    for (const std::string& line : said) {
      if (!contains(lower(line), known.words)) continue;
      failure result{known.how, with_prefix("ssh", line), known.common};
      if (&known == ssh_sayings.data()) {
        result.reason = known.common + offending_key(said);
      }
      return result;
    }
  }
  return std::nullopt;
}

bool is_name_byte(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' ||
         c == '_';
}

// "node1" is not named by "node10".
bool names(const std::string& line, const std::string& node) {
  for (std::size_t at = line.find(node); at != line.npos;
       at = line.find(node, at + 1)) {
    const std::size_t end = at + node.size();
    const bool starts = at == 0 || !is_name_byte(line[at - 1]);
    const bool ends = end == line.size() || !is_name_byte(line[end]);
    if (starts && ends) return true;
  }
  return false;
}

// "srun: error: Node failure on node4": whose failure it is, is said.
bool names_a_node(const std::string& line) {
  const std::string text = lower(line);
  return contains(text, " on node ") || contains(text, "failure on ");
}

}  // namespace

std::string printable_line(std::string_view line) {
  std::string text = str::strip(line);
  for (char& c : text) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f) c = '?';
  }
  if (text.size() > longest_line) text = text.substr(0, longest_line) + "...";
  return text;
}

std::string ended_with(int wait_status) {
  if (WIFSIGNALED(wait_status)) {
    const int number = WTERMSIG(wait_status);
    const char* words = ::strsignal(number);
    return "signal " + std::to_string(number) + " (" +
           (words == nullptr ? "unknown" : words) + ")";
  }
  return "exit status " + std::to_string(WEXITSTATUS(wait_status));
}

failure ssh_failure(std::string_view said, const std::string& node,
                    int wait_status) {
  const lines all = lines_of(said);
  if (std::optional<failure> known = recognised(all)) return *known;
  if (all.empty()) return silent("ssh", wait_status);
  return unrecognised("ssh", all.back(), node);
}

failure ssh_loss(std::string_view said, const std::string& node,
                 int wait_status) {
  failure result = ssh_failure(said, node, wait_status);
  result.how = ending::lost;
  if (str::strip(said).empty()) {
    result.common_reason = "ssh: the connection broke";
    result.reason = "ssh: the connection to " + node + " broke";
  }
  return result;
}

failure slurm_failure(std::string_view said, const std::string& node,
                      int wait_status) {
  lines mine;
  for (const std::string& line : lines_of(said)) {
    if (names(line, node) || !names_a_node(line)) mine.push_back(line);
  }
  for (const saying& known : slurm_sayings) {
    for (const std::string& line : mine) {
      if (!contains(lower(line), known.words)) continue;
      const std::string text = with_prefix("srun", line);
      return {known.how, text, str::replace(text, node, "NODE")};
    }
  }
  if (mine.empty()) return silent("srun", wait_status);
  return unrecognised("srun", mine.back(), node);
}

failure mpi_failure(std::string_view said, const std::string& node,
                    int wait_status) {
  for (const std::string& line : lines_of(said)) {
    const bool frame = line.find_first_not_of('-') == line.npos;
    if (!frame) return unrecognised("mpirun", line, node);
  }
  return silent("mpirun", wait_status);
}

}  // namespace zelk::collect
