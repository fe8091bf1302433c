// Reading a node file and folding host names, each against a bare getline loop
// over the same text in the same run, so that the ratio holds on any machine.
//
// Bars: a file of 10,000 entries with ranges, and 1,000 labels folded and read
// back, whatever they look like, take less than 10 ms each in a release build.

#include <algorithm>
#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "bench/bench.h"
#include "src/common/node/nodelist.h"
#include "src/common/node/ranges.h"
#include "src/common/node/tokenized_host.h"

namespace {

using zelk::TokenizedHost;
using zelk::bench::least_ms;
using zelk::node::Nodelist;
using labels = std::vector<std::string>;

constexpr double bar_ms = 10;

double floor_ms(const std::string& text) {
  return least_ms([&] {
    std::istringstream in(text);
    std::size_t bytes = 0;
    for (std::string line; std::getline(in, line);)
      bytes += line.size();
    if (bytes == 0) std::puts("no text");
  });
}

void print_row(const char* what, std::size_t names, double taken,
               const std::string& text) {
  const double floor = floor_ms(text);
  std::printf("%-34s %8zu names %8.2f ms  floor %6.3f ms  ratio %6.1f", what,
              names, taken, floor, taken / floor);
}

void print_with_bar(const char* what, std::size_t names, double taken,
                    const std::string& text) {
  print_row(what, names, taken, text);
  std::printf("  bar %.0f ms: %s\n", bar_ms, taken < bar_ms ? "met" : "MISSED");
}

// 10,000 entries with notes and comments; every tenth is a range of 8 names.
std::string node_file() {
  std::string text;
  for (int i = 0; i < 10000; ++i) {
    const std::string n = std::to_string(i);
    if (i % 100 == 0) text += "# rack " + n + "\n";
    text += i % 10 == 0 ? "r" + n + "n[01-08]  role=compute subcluster=gpu\n"
                        : "node" + n + "  role=compute\n";
  }
  return text;
}

std::string million_names() {
  std::string text;
  for (int i = 0; i < 62500; ++i)
    text += "rack" + std::to_string(i) + "n[01-16]\n";
  return text;
}

void bench_parse(const char* what, const std::string& text, bool has_bar) {
  Nodelist list;
  const double taken = least_ms([&] {
    std::istringstream in(text);
    list.parse(in);
  });
  if (has_bar) return print_with_bar(what, list.nodes().size(), taken, text);
  print_row(what, list.nodes().size(), taken, text);
  std::puts("");
}

labels make_labels(std::size_t count,
                   const std::function<std::string(std::size_t)>& label) {
  labels made;
  for (std::size_t i = 0; i < count; ++i)
    made.push_back(label(i));
  return made;
}

// A multiplier that scatters i over 32 bits, so that nothing is in order.
std::string scattered(std::size_t i) {
  return std::to_string(i * 2654435761U % 4294967296U);
}

void bench_fold(const char* shape, const labels& names, bool has_bar) {
  std::string text;
  for (const std::string& name : names)
    text.append(name).push_back('\n');
  std::size_t read_back = 0;
  const double taken = least_ms([&] {
    zelk::node::range_budget budget;
    const std::string folded = TokenizedHost::get_merged_hosts(names);
    read_back = zelk::node::expand_list(folded, budget).names.size();
  });
  if (has_bar) return print_with_bar(shape, read_back, taken, text);
  print_row(shape, read_back, taken, text);
  std::puts("");
}

void bench_shapes(std::size_t count, bool has_bar) {
  const auto fold = [&](const char* shape, auto label) {
    bench_fold(shape, make_labels(count, label), has_bar);
  };
  using std::to_string;
  fold("fold node1 node2 ...",
       [](std::size_t i) { return "node" + to_string(i); });
  fold("fold every second number",
       [](std::size_t i) { return "node" + to_string(2 * i); });
  fold("fold a-1-b-2 ...", [](std::size_t i) {
    return "a-" + to_string(i / 30) + "-b-" + to_string(i % 30);
  });
  fold("fold node1-ib ... (no range)",
       [](std::size_t i) { return "node" + to_string(i) + "-ib"; });
  fold("fold scattered prefixes",
       [](std::size_t i) { return "x" + scattered(i) + "y" + scattered(i); });
  fold("fold 200-byte names", [](std::size_t i) {
    return std::string(190, 'n') + to_string(i) + ".site";
  });
}

}  // namespace

int main() {
  bench_parse("parse 10,000 entries", node_file(), true);
  bench_shapes(1000, true);
  bench_parse("parse 1,000,000 names", million_names(), false);
  bench_shapes(100000, false);
}
