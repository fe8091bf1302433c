#include "test/synthetic/pair_measurement.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "test/synthetic/chance.h"

namespace zelk::synthetic {

namespace {

// Between the same two machines, from run to run and from pair to pair.
constexpr double latency_spread = 0.03;
constexpr double bandwidth_spread = 0.012;

struct measured {
  std::string pair;
  std::size_t first, second;  // in the group
  double latency, forward, backward;
};

// Neighbours at three distances round the circle, each pair once.
std::vector<std::pair<std::size_t, std::size_t>> rounds(std::size_t size) {
  std::vector<std::pair<std::size_t, std::size_t>> pairs;
  for (std::size_t i = 0; i < size; ++i) {
    for (const std::size_t distance : {1U, 2U, 5U}) {
      const std::size_t other = (i + distance) % size;
      if (other == i) continue;
      pairs.emplace_back(std::min(i, other), std::max(i, other));
    }
  }
  std::sort(pairs.begin(), pairs.end());
  pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
  return pairs;
}

double median_of(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

class pair_report {
 public:
  pair_report(const std::vector<std::string>& group, const machine_class& of,
              const moment& when);
  std::string text();

 private:
  void measure(std::size_t first, std::size_t second, const machine_class& of,
               const moment& when);
  void write_node(std::size_t node);
  void write_all();
  void line(const std::string& source, const char* form, double number);

  const std::vector<std::string>& group_;
  std::vector<measured> pairs_;
  std::string text_;
};

pair_report::pair_report(const std::vector<std::string>& group,
                         const machine_class& of, const moment& when)
    : group_(group) {
  for (const auto& [first, second] : rounds(group.size()))
    measure(first, second, of, when);
}

std::string pair_report::text() {
  line("nodes", "%.0f", static_cast<double>(group_.size()));
  line("rounds", "%.0f", 3);
  line("pairs.measured", "%.0f", static_cast<double>(pairs_.size()));
  line("pairs.unmeasured", "%.0f", 0);
  for (const measured& each : pairs_) {
    line("pair." + each.pair + ".latency_us", "%.2f", each.latency);
    line("pair." + each.pair + ".forward_mb_s", "%.2f", each.forward);
    line("pair." + each.pair + ".backward_mb_s", "%.2f", each.backward);
    line("pair." + each.pair + ".retransmits", "%.0f", 0);
  }
  for (std::size_t i = 0; i < group_.size(); ++i)
    write_node(i);
  write_all();
  return std::move(text_);
}

void pair_report::measure(std::size_t first, std::size_t second,
                          const machine_class& of, const moment& when) {
  measured made{group_[first] + "." + group_[second], first, second, 0, 0, 0};
  const chance here = when.of_node.at(made.pair);
  const auto figure = [&](const char* name, double usual, double spread) {
    return usual * (1 + spread * (0.7 * here.at(name).normal() +
                                  0.7 * here.at(name).at(when.run).normal()));
  };
  const double bandwidth = number_of(of, "pairs_bandwidth");
  made.latency =
      figure("latency", number_of(of, "pairs_latency"), latency_spread);
  made.forward = figure("forward", bandwidth, bandwidth_spread);
  made.backward = figure("backward", bandwidth, bandwidth_spread);
  pairs_.push_back(std::move(made));
}

void pair_report::write_node(std::size_t node) {
  std::vector<double> latencies, bandwidths;
  for (const measured& each : pairs_) {
    if (each.first != node && each.second != node) continue;
    latencies.push_back(each.latency);
    bandwidths.push_back(std::min(each.forward, each.backward));
  }
  const std::string name = "node." + group_[node];
  line(name + ".partners", "%.0f", static_cast<double>(latencies.size()));
  line(name + ".latency_us", "%.2f", median_of(latencies));
  line(name + ".bandwidth_mb_s", "%.2f", median_of(bandwidths));
}

void pair_report::write_all() {
  std::vector<double> latencies, bandwidths;
  for (const measured& each : pairs_) {
    latencies.push_back(each.latency);
    bandwidths.push_back(std::min(each.forward, each.backward));
  }
  line("latency_us.median", "%.2f", median_of(latencies));
  line("latency_us.worst", "%.2f",
       *std::max_element(latencies.begin(), latencies.end()));
  line("bandwidth_mb_s.median", "%.2f", median_of(bandwidths));
  line("bandwidth_mb_s.worst", "%.2f",
       *std::min_element(bandwidths.begin(), bandwidths.end()));
}

void pair_report::line(const std::string& source, const char* form,
                       double number) {
  char text[64];
  const int size = std::snprintf(text, sizeof text, form, number);
  text_ += source + ": ";
  text_.append(text, static_cast<std::size_t>(size));
  text_ += '\n';
}

}  // namespace

std::string pairs_of(const std::vector<std::string>& group,
                     const machine_class& of, const moment& when) {
  return pair_report(group, of, when).text();
}

}  // namespace zelk::synthetic
