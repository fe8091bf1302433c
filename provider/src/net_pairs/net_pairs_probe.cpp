// Latency and bandwidth of the network between the nodes of a group, pair by
// pair, without MPI.
//
//   net_pairs_probe                    on the first node of ZELK_DP_NODEFILE
//   net_pairs_probe agent SECONDS      on each node; started by the first one
//
//   NET_PAIRS_ROUNDS     of the tournament; 0: half of them, at least three
//   NET_PAIRS_STREAM_MS  how long bytes flow in each direction of a pair
//   NET_PAIRS_PINGS      round trips of a byte
//   NET_PAIRS_CONNECT_S  patience for a connection, to a node and of a pair
//   NET_PAIRS_SUFFIX     behind a node's name, the name of the network to
//   measure NET_PAIRS_SSH        the program that starts an agent, called as
//   ssh is

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "provider/src/common/settings.h"
#include "provider/src/net_pairs/agent.h"
#include "provider/src/net_pairs/coordinator.h"
#include "provider/src/net_pairs/report.h"
#include "src/common/node/nodelist.h"

namespace zelk::net_pairs {
namespace {

constexpr const char* program = "net_pairs_probe";
// Beside those that every measuring program has.
constexpr int exit_tool_missing = 81;

std::vector<std::string> read_nodes() {
  const std::string path = perf::text_setting("ZELK_DP_NODEFILE", "");
  std::ifstream in(path);
  node::Nodelist list(path);
  if (in) list.parse(in);
  std::vector<std::string> names;
  for (const node::node_entry& one : list.nodes())
    names.push_back(one.name);
  return names;
}

std::string own_path() {
  char path[PATH_MAX];
  const ssize_t size = ::readlink("/proc/self/exe", path, sizeof path);
  if (size < 0) throw system_failure("readlink /proc/self/exe", errno);
  return {path, static_cast<std::size_t>(size)};
}

// For the shell that ssh starts on the other node.
std::string quoted(const std::string& text) {
  std::string made = "'";
  for (const char c : text)
    made += c == '\'' ? "'\\''" : std::string(1, c);
  return made + "'";
}

// The agent gets the time as well: it ends with it, whatever became of us.
struct starter {
  std::string path = own_path();
  std::string ssh = perf::text_setting("NET_PAIRS_SSH", "ssh");
  std::string seconds;
  std::string connect_seconds;
  std::vector<std::string> nodes;

  std::vector<std::string> operator()(std::size_t node) const {
    if (node == 0) return {path, "agent", seconds};
    return {ssh,
            "-T",
            "-x",
            "-a",
            "-o",
            "BatchMode=yes",
            "-o",
            "ConnectTimeout=" + connect_seconds,
            "--",
            nodes[node],
            "exec " + quoted(path) + " agent " + seconds};
  }
};

bool can_be_run(const std::string& name) {
  if (name.find('/') != std::string::npos)
    return ::access(name.c_str(), X_OK) == 0;
  std::string path = perf::text_setting("PATH", "/usr/bin:/bin") + ":";
  for (std::size_t end = path.find(':'); end != std::string::npos;
       end = path.find(':')) {
    if (::access((path.substr(0, end) + "/" + name).c_str(), X_OK) == 0)
      return true;
    path.erase(0, end + 1);
  }
  return false;
}

game_plan make_plan(const std::vector<std::string>& nodes) {
  using perf::number_setting;
  game_plan plan;
  plan.nodes = nodes;
  const auto rounds =
      static_cast<std::size_t>(number_setting("NET_PAIRS_ROUNDS", 0, 0, 65535));
  plan.rounds = rounds == 0 ? usual_rounds(nodes.size()) : rounds;
  plan.how.stream_time =
      milliseconds(number_setting("NET_PAIRS_STREAM_MS", 250, 1, 60'000));
  plan.how.pings = static_cast<std::uint32_t>(
      number_setting("NET_PAIRS_PINGS", 200, 1, 1'000'000));
  plan.connect_patience =
      std::chrono::seconds(number_setting("NET_PAIRS_CONNECT_S", 5, 1, 600));
  const auto seconds = std::chrono::duration<double>(perf::seconds_allowed());
  plan.end = clock::now() + std::chrono::duration_cast<milliseconds>(seconds);
  starter start;
  start.nodes = nodes;
  start.seconds =
      std::to_string(static_cast<long>(perf::seconds_allowed()) + 1);
  start.connect_seconds = std::to_string(
      std::chrono::duration_cast<std::chrono::seconds>(plan.connect_patience)
          .count());
  plan.start_command = start;
  const std::string suffix = perf::text_setting("NET_PAIRS_SUFFIX", "");
  plan.network_name = [nodes, suffix](std::size_t node) {
    return nodes[node] + suffix;
  };
  return plan;
}

int finish(const std::vector<std::string>& nodes, const outcome& all) {
  if (only_permission_missing(all, nodes.size()))
    return perf::stop(program, perf::exit_no_permission,
                      "from " + nodes[0] + " to " + nodes[all.lost[0].node] +
                          ": " + all.lost[0].reason);
  const std::string text = report(nodes, all);
  std::fwrite(text.data(), 1, text.size(), stdout);
  if (unmeasured(all) == 0) return perf::exit_done;
  return perf::stop(program, perf::exit_incomplete,
                    std::to_string(unmeasured(all)) + " of " +
                        std::to_string(all.pairs_planned) +
                        " pairs not measured");
}

int body() {
  const std::vector<std::string> nodes = read_nodes();
  if (nodes.size() < 2)
    return perf::stop(program, perf::exit_not_applicable,
                      "expected two nodes or more in ZELK_DP_NODEFILE");
  const std::string ssh = perf::text_setting("NET_PAIRS_SSH", "ssh");
  if (!can_be_run(ssh))
    return perf::stop(program, exit_tool_missing, "tool missing: " + ssh);
  return finish(nodes, play_tournament(make_plan(nodes)));
}

int agent_body(const char* seconds_text) {
  unsigned seconds = 0;
  const char* end = seconds_text + std::strlen(seconds_text);
  const auto [stopped, error] = std::from_chars(seconds_text, end, seconds);
  if (error != std::errc{} || stopped != end || seconds == 0)
    return perf::stop(program, perf::exit_usage,
                      "agent: expected a number of seconds");
  ::alarm(seconds);
  return run_agent(STDIN_FILENO, STDOUT_FILENO);
}

}  // namespace
}  // namespace zelk::net_pairs

int main(int argc, char** argv) {
  // Whoever reads may be gone: that is told where something is written.
  ::signal(SIGPIPE, SIG_IGN);
  static char** arguments = argv;
  if (argc == 3 && std::strcmp(argv[1], "agent") == 0)
    return zelk::perf::run_program(zelk::net_pairs::program, [] {
      return zelk::net_pairs::agent_body(arguments[2]);
    });
  if (argc != 1)
    return zelk::perf::stop(zelk::net_pairs::program, zelk::perf::exit_usage,
                            "expected no arguments");
  return zelk::perf::run_program(zelk::net_pairs::program,
                                 zelk::net_pairs::body);
}
