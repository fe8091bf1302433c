#include "provider/src/net_pairs/report.h"

#include <algorithm>

#include "provider/src/common/statistics.h"

namespace zelk::net_pairs {
namespace {

std::string line(const std::string& source, const std::string& text) {
  return source + ": " + text + '\n';
}

std::string line(const std::string& source, double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.2f", value);
  return line(source, std::string(text));
}

std::string pair_lines(const std::string& names, const pair_figures& found) {
  const std::string source = "pair." + names;
  return line(source + ".latency_us", found.latency_us) +
         line(source + ".forward_mb_s", found.forward_mb_s) +
         line(source + ".backward_mb_s", found.backward_mb_s) +
         line(source + ".retransmits", std::to_string(found.retransmits));
}

// Of one node, or of all.
struct figures {
  std::vector<double> latencies;
  std::vector<double> rates;

  void add(const pair_figures& found) {
    latencies.push_back(found.latency_us);
    rates.push_back(found.forward_mb_s);
    rates.push_back(found.backward_mb_s);
  }
};

std::string node_lines(const std::string& name, const figures& of) {
  if (of.latencies.empty()) return "";
  const std::string source = "node." + name;
  return line(source + ".partners", std::to_string(of.latencies.size())) +
         line(source + ".latency_us", perf::spread_of(of.latencies).median) +
         line(source + ".bandwidth_mb_s", perf::spread_of(of.rates).median);
}

std::string summary_lines(const figures& all) {
  if (all.latencies.empty()) return "";
  const perf::spread latency = perf::spread_of(all.latencies);
  const perf::spread rate = perf::spread_of(all.rates);
  return line("latency_us.median", latency.median) +
         line("latency_us.worst", latency.most) +
         line("bandwidth_mb_s.median", rate.median) +
         line("bandwidth_mb_s.worst", rate.least);
}

bool refuses_login(const std::string& reason) {
  for (const char* words : {"Permission denied", "Host key verification failed",
                            "Too many authentication failures"}) {
    if (reason.find(words) != std::string::npos) return true;
  }
  return false;
}

}  // namespace

std::string report(const std::vector<std::string>& nodes, const outcome& all) {
  std::string text = line("nodes", std::to_string(nodes.size()));
  text += line("rounds", std::to_string(all.rounds_played));
  text += line("pairs.measured",
               std::to_string(all.pairs_planned - unmeasured(all)));
  text += line("pairs.unmeasured", std::to_string(unmeasured(all)));
  std::vector<figures> of_node(nodes.size());
  figures of_all;
  std::string failed;
  for (const pair_outcome& one : all.pairs) {
    const auto [first, second] = one.pair;
    if (!one.found) {
      failed += line("pair." + nodes[first] + "." + nodes[second] + ".failed",
                     one.reason);
      continue;
    }
    text += pair_lines(nodes[first] + "." + nodes[second], *one.found);
    of_node[first].add(*one.found);
    of_node[second].add(*one.found);
    of_all.add(*one.found);
  }
  for (std::size_t node = 0; node < nodes.size(); ++node)
    text += node_lines(nodes[node], of_node[node]);
  text += summary_lines(of_all);
  for (const node_loss& loss : all.lost)
    text += line("node." + nodes[loss.node] + ".failed", loss.reason);
  return text + failed;
}

std::size_t unmeasured(const outcome& all) {
  const auto found = std::count_if(
      all.pairs.begin(), all.pairs.end(),
      [](const pair_outcome& one) { return one.found.has_value(); });
  return all.pairs_planned - static_cast<std::size_t>(found);
}

bool only_permission_missing(const outcome& all, std::size_t nodes) {
  return all.lost.size() + 1 == nodes &&
         std::all_of(
             all.lost.begin(), all.lost.end(),
             [](const node_loss& one) { return refuses_login(one.reason); });
}

}  // namespace zelk::net_pairs
