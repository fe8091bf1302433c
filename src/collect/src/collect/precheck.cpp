#include "src/collect/src/collect/precheck.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "src/collect/src/collect/precheck_probe.h"
#include "src/collect/src/collect/remote_script.h"
#include "src/collect/src/utils/extension_output.h"
#include "src/common/node/tokenized_host.h"
#include "src/common/util/errno_text.h"
#include "src/common/util/unique_fd.h"

namespace zelk::collect {

namespace {

using names = std::vector<std::string>;
using std::chrono::milliseconds;

constexpr milliseconds look_interval{100};  // at whether to stop

// Returns 0 or errno.
int write_file(const std::string& path, const std::string& text) {
  const util::unique_fd fd(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (!fd) return errno;
  const ssize_t written = ::write(fd.get(), text.data(), text.size());
  if (written < 0) return errno;
  return static_cast<std::size_t>(written) == text.size() ? 0 : ENOSPC;
}

// The token here: a file, and a folder for the nodes' replies that anyone may
// write to, for a worker may run as another user there. Both go with it.
class token {
 public:
  explicit token(const std::string& directory) {
    const std::string nonce = make_nonce();
    files_.text = "zelkara-" + nonce;
    files_.path = directory + "/.zelk-token-" + nonce;
    files_.folder = directory + "/.zelk-replies-" + nonce + "/";
    problem_ = write_file(files_.path, files_.text);
    if (::mkdir(files_.folder.c_str(), 0700) != 0 && problem_ == 0)
      problem_ = errno;
    ::chmod(files_.folder.c_str(), 01777);
  }
  ~token() {
    std::error_code ignored;  // what cannot be removed is a few bytes
    std::filesystem::remove_all(files_.folder, ignored);
    std::filesystem::remove(files_.path, ignored);
  }
  token(const token&) = delete;
  token& operator=(const token&) = delete;

  const token_files& files() const { return files_; }
  int problem() const { return problem_; }  // errno, or 0
  bool has_reply_of(const std::string& node) const {
    return ::access((files_.folder + node).c_str(), F_OK) == 0;
  }

 private:
  token_files files_;
  int problem_ = 0;
};

bool inodes_differ(const precheck_report& report) {
  std::set<std::string> seen;
  for (const auto& [name, facts] : report.nodes) {
    if (!facts.inode.empty()) seen.insert(facts.inode);
  }
  return seen.size() > 1;
}

class findings {
 public:
  findings(const precheck_request& request, precheck_report& report)
      : request_(request), report_(report) {}

  void judge() {
    unreachable();
    workers();
    clocks();
    if (!request_.directory.empty()) directory();
  }

 private:
  // Nodes by what they have in common.
  using groups = std::map<std::string, names>;

  static std::string folded(const names& nodes) {
    return TokenizedHost::get_merged_hosts(nodes) + " (" +
           std::to_string(nodes.size()) + ")";
  }
  void error(const names& nodes, const std::string& text) {
    report_.errors.push_back(folded(nodes) + ": " + text);
  }
  void warning(const names& nodes, const std::string& text) {
    report_.warnings.push_back(folded(nodes) + ": " + text);
  }
  template <typename Condition>
  names nodes_where(Condition condition) const {
    names found;
    for (const auto& [name, facts] : report_.nodes) {
      if (condition(facts)) found.push_back(name);
    }
    return found;
  }

  static std::string advice(ending how);
  void unreachable();
  void workers();
  void checksums();
  void clocks();
  void directory();

  const precheck_request& request_;
  precheck_report& report_;
};

std::string findings::advice(ending how) {
  switch (how) {
    case ending::host_key:
      return "; compare the key, then put it into known_hosts (ssh-keyscan(1)) "
             "or remove the old one (ssh-keygen -R)";
    case ending::login:
      return "; log in with a key and without a question: ssh-copy-id(1)";
    case ending::unknown_host:
      return "; check the spelling, /etc/hosts and the name service";
    case ending::refused:
      return "; is sshd running there?";
    case ending::no_route:
    case ending::connect_timeout:
      return "; is the node up, and is there a firewall between?";
    default:
      return "";
  }
}

void findings::unreachable() {
  std::map<std::pair<std::string, ending>, names> by_reason;
  groups late;
  for (const auto& [name, facts] : report_.nodes) {
    const launch_outcome& outcome = facts.outcome;
    if (!facts.answered) {
      by_reason[{outcome.common_reason, outcome.how}].push_back(name);
    } else if (outcome.how != ending::exited || outcome.status != 0) {
      late[outcome.common_reason].push_back(name);
    }
  }
  for (const auto& [reason, nodes] : by_reason)
    error(nodes, reason.first + advice(reason.second));
  for (const auto& [reason, nodes] : late)
    error(nodes, "not all questions were answered: " + reason);
}

void findings::workers() {
  groups by_problem;
  for (const auto& [name, facts] : report_.nodes) {
    if (!facts.answered || facts.worker == "found") continue;
    by_problem[facts.worker].push_back(name);
  }
  for (const auto& [problem, nodes] : by_problem) {
    error(nodes, request_.worker + " is " + problem +
                     "; install it there, or say where it is: --remote-path");
  }
  groups by_version;
  for (const auto& [name, facts] : report_.nodes) {
    if (!facts.version.empty() && facts.version != request_.version)
      by_version[facts.version].push_back(name);
  }
  for (const auto& [version, nodes] : by_version) {
    error(nodes, "the worker is version " + version + " and not " +
                     request_.version + "; install the same on all nodes");
  }
  checksums();
}

// Of one version there are as many builds as architectures.
void findings::checksums() {
  std::map<std::pair<std::string, std::string>, groups> builds;
  for (const auto& [name, facts] : report_.nodes) {
    if (!facts.checksum.empty())
      builds[{facts.architecture, facts.version}][facts.checksum].push_back(
          name);
  }
  for (const auto& [kind, by_sum] : builds) {
    if (by_sum.size() < 2) continue;
    for (const auto& [sum, nodes] : by_sum) {
      warning(nodes,
              "another build of the worker than on other nodes, of the "
              "same version and architecture (cksum " +
                  sum + ")");
    }
  }
}

void findings::clocks() {
  for (const auto& [name, facts] : report_.nodes) {
    const double offset = facts.clock_offset_s.value_or(0);
    if (std::fabs(offset) < most_clock_offset_s) continue;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.1f s %s",
                  std::floor(std::fabs(offset) * 10) / 10,
                  offset > 0 ? "ahead of" : "behind");
    warning({name}, std::string("its clock is at least ") + text.data() +
                        " ours; start NTP or chrony there");
  }
}

void findings::directory() {
  const std::string& path = request_.directory;
  const names blind = nodes_where(
      [](const node_facts& facts) { return facts.token == "absent"; });
  const names other = nodes_where(
      [](const node_facts& facts) { return facts.token == "other"; });
  const names silent = nodes_where([](const node_facts& facts) {
    return facts.token == "read" && !facts.reply_seen;
  });
  const names unknown = nodes_where([](const node_facts& facts) {
    return facts.answered && facts.token.empty();
  });
  if (!blind.empty())
    error(blind, path +
                     " is not the same directory as here: a file written "
                     "here is not there");
  if (!other.empty())
    error(other, path + " holds another file of the same name than here");
  if (!silent.empty())
    error(silent, "what the node writes into " + path +
                      " is not seen here: it cannot write, or what it writes "
                      "comes late");
  if (!unknown.empty())
    error(unknown, "the node did not say what it sees in " + path +
                       "; does the file system hang?");
  const bool proved =
      blind.empty() && other.empty() && silent.empty() && unknown.empty();
  report_.directory_usable = report_.directory_usable && proved;
  if (proved && inodes_differ(report_)) {
    warning(nodes_where([](const node_facts& facts) { return facts.answered; }),
            "what was said of inode values can be ignored: a file written here "
            "was read on every node");
  }
}

// Fills the report's nodes.
void ask(const precheck_request& request, const token_files& files,
         precheck_report& report, const std::function<bool()>& stop) {
  event_loop loop;
  const std::unique_ptr<launcher> way = make_launcher(request.way, loop);
  if (way == nullptr)
    throw std::invalid_argument("no launcher '" + request.way.kind + "'");
  const std::set<std::string> nodes(request.nodes.begin(), request.nodes.end());
  std::vector<launch> launches;
  launches.reserve(nodes.size());
  for (const std::string& node : nodes)
    launches.push_back(probe_launch(node, request, files));
  way->start(std::move(launches), [&](const launch_outcome& outcome) {
    report.nodes[outcome.node] =
        read_probe(outcome, files, std::chrono::system_clock::now());
  });
  while (report.nodes.size() < nodes.size()) {
    loop.run_once(look_interval);
    if (!report.stopped && stop && stop()) {
      report.stopped = true;
      way->stop();
    }
  }
}

// The analysis of the command's answers; what it finds goes to the log.
void analyse(const precheck_request& request, precheck_report& report) {
  std::string output;
  std::set<std::string> nodes;
  for (const auto& [name, facts] : report.nodes) {
    nodes.insert(name);
    output += directory_lines(facts.outcome);
  }
  std::map<std::string, std::string> hostnames;
  try {
    report.directory_usable = process_extension_output(
        output, nodes, hostnames, request.directory,
        request.way.kind == "ssh" ? asked_by_ssh : asked_by_mpi);
  } catch (const std::out_of_range&) {
    report.directory_usable = false;
    report.errors.push_back(request.directory +
                            ": a node gave a number for it that is none");
  }
}

}  // namespace

precheck_report run_precheck(const precheck_request& request,
                             const std::function<bool()>& stop) {
  precheck_report report;
  report.directory = request.directory;
  std::optional<token> files;
  precheck_request asked = request;
  if (!request.directory.empty() && !is_plain_path(request.directory)) {
    report.errors.push_back("the shared directory '" + request.directory +
                            "': expected an absolute path of letters, digits "
                            "and /._-+,@%:=");
    asked.directory.clear();
  } else if (!request.directory.empty()) {
    files.emplace(request.directory);
    if (files->problem() != 0) {
      report.errors.push_back("cannot write into " + request.directory +
                              " on this machine " +
                              util::errno_text(files->problem()));
    }
  }
  ask(asked, files ? files->files() : token_files{}, report, stop);
  for (auto& [name, facts] : report.nodes)
    facts.reply_seen = files && files->has_reply_of(name);
  if (!asked.directory.empty() && !report.stopped) analyse(asked, report);
  findings(asked, report).judge();
  return report;
}

}  // namespace zelk::collect
