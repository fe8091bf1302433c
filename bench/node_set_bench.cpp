// Node sets as typed, read and folded, each against cutting the same names,
// written out, at their commas in the same run, so that the ratio holds on any
// machine.
//
// Bar: 1,000 names of any shape are read and folded in less than 10 ms in a
// release build, with set operators and groups too.

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "bench/bench.h"
#include "src/common/node/node_set.h"
#include "src/common/node/tokenized_host.h"

namespace {

using zelk::TokenizedHost;
using zelk::bench::least_ms;
using zelk::node::expansion;
using zelk::node::node_set;
using zelk::node::parse_node_set;

constexpr double bar_ms = 10;

double floor_ms(std::string_view text) {
  return least_ms([&] {
    std::vector<std::string> fields;
    for (std::size_t at = 0; at <= text.size();) {
      const std::size_t comma = std::min(text.find(',', at), text.size());
      fields.emplace_back(text.substr(at, comma - at));
      at = comma + 1;
    }
    if (fields.empty()) std::puts("no fields");
  });
}

bool met = true;

void bench(const char* what, const std::string& text, bool has_bar,
           const zelk::node::group_source& groups = {}) {
  std::size_t count = 0;
  const double taken = least_ms([&] {
    const node_set set = parse_node_set(text, groups);
    if (!set.problem.empty()) std::puts(set.problem.c_str());
    count = set.names.size();
    if (TokenizedHost::get_merged_hosts(set.names).empty()) std::puts("empty");
  });
  std::string written_out;
  for (const std::string& name : parse_node_set(text, groups).names)
    written_out.append(name).push_back(',');
  const double floor = floor_ms(written_out);
  std::printf("%-30s %8zu names %8.2f ms  floor %7.4f ms  ratio %7.1f", what,
              count, taken, floor, taken / floor);
  if (has_bar) {
    met = met && taken < bar_ms;
    std::printf("  bar %.0f ms: %s", bar_ms, taken < bar_ms ? "met" : "MISSED");
  }
  std::puts("");
}

std::string joined(std::size_t count, char separator,
                   const std::function<std::string(std::size_t)>& label) {
  std::string text = label(0);
  for (std::size_t i = 1; i < count; ++i)
    text.append(1, separator).append(label(i));
  return text;
}

// Scatters i over 32 bits, so that nothing is in order.
std::string scattered(std::size_t i) {
  return std::to_string(i * 2654435761U % 4294967296U);
}

void bench_shapes(std::size_t count, bool has_bar) {
  using std::to_string;
  bench("one range", "node[1-" + to_string(count) + "]", has_bar);
  bench("every second by step", "node[1-" + to_string(2 * count) + "/2]",
        has_bar);
  bench("single names",
        joined(count, ',', [](std::size_t i) { return "node" + to_string(i); }),
        has_bar);
  bench(
      "single names, backward",
      joined(count, ',',
             [count](std::size_t i) { return "node" + to_string(count - i); }),
      has_bar);
  bench("names that do not fold",
        joined(count, ',',
               [](std::size_t i) {
                 return "x" + scattered(i) + "y" + scattered(i) + ".site";
               }),
        has_bar);
  bench("a-1-b-2 ...",
        joined(count, ',',
               [](std::size_t i) {
                 return "a-" + to_string(i / 30) + "-b-" + to_string(i % 30);
               }),
        has_bar);
  bench("a range without half of it",
        "node[1-" + to_string(2 * count) + "]!node[1-" + to_string(2 * count) +
            "/2]",
        has_bar);
}

}  // namespace

int main() {
  bench_shapes(1000, true);
  // Each operator is a pass over the set.
  bench("20 operators",
        "node[1-1000]" + joined(20, '!',
                                [](std::size_t i) {
                                  return i == 0
                                             ? std::string()
                                             : "node" + std::to_string(50 * i);
                                }),
        true);
  bench("a group of 1,000 and a pattern", "@all&n*", true,
        [](std::string_view) {
          return expansion{parse_node_set("n[1-1000]").names, ""};
        });
  bench_shapes(100000, false);
  return met ? 0 : 1;
}
