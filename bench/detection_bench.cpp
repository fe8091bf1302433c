// Are planted faults found, and is nothing said of healthy nodes?
//
//   detection_bench [--quick] [--nodes N]... [--seeds N] [--show]
//                   [--checks FOLDER]
//
// Two clusters are made for each seed and stored as two runs, a day apart. One
// has each fault of test/synthetic on a node of its own: on 1,000 nodes all of
// them at once, on 64 as many as leave most of each class healthy, other ones
// from seed to seed. In the other cluster all compute nodes were booted with a
// new kernel, which is one finding and none about any node.
//
// Beside it stands what comparing texts finds in the same outputs: who is not
// in the largest group of equal texts. `text` compares all nodes, `class` those
// of a class with each other, which takes knowing the classes. The first figure
// is the share of the faults for which the node with the fault is flagged by
// the provider that shows it.
//
// Bars: every fault found; at most one false finding (a warning or worse, about
// a node without a fault) in 1,000 healthy nodes. --quick, the test, has two
// seeds of 64 nodes, and --show prints what was missed and what is false. Ends
// with 1 when a bar is missed.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "bench/judged_cluster.h"
#include "bench/text_groups.h"
#include "test/synthetic/score.h"

namespace {

using namespace zelk::bench;
using namespace zelk::synthetic;

constexpr std::size_t all_at_once = 500;  // nodes that have room for that

struct wishes {
  std::vector<std::size_t> nodes;
  std::uint64_t seeds = 20;
  bool show = false;
  std::string checks = ZELK_SOURCE_DIR "/etc/checks";
};

// What became of one kind of fault in all clusters.
struct kind_tally {
  std::size_t planted = 0, found = 0, findings = 0, clusters = 0;
  std::size_t text = 0, text_of_class = 0;
  bool of_few = false;  // it is on one node or two
};

struct tally {
  std::map<std::string, kind_tally> kinds;
  std::size_t healthy = 0, wrong = 0, informational = 0;
  std::size_t text_flags = 0, class_flags = 0;  // on healthy nodes
  std::size_t small_class_clusters = 0, small_class_said = 0;
  double make_sec = 0, load_sec = 0, judge_sec = 0, text_sec = 0;
  std::size_t judged = 0;
  // False or informational, check and fact: how often, and an example.
  std::map<std::pair<std::string, std::string>,
           std::pair<std::size_t, std::string>>
      wrong_ones;
  std::map<std::string, std::string> missed;  // kind: an example
};

std::vector<const fault*> of_single_nodes(const cluster& in,
                                          std::uint64_t seed) {
  std::vector<const fault*> wanted;
  for (const fault& each : all_faults()) {
    if (each.reach != spread::all_compute || each.booted_hours_ago == 0)
      wanted.push_back(&each);
  }
  // Another third first, so that each kind has its turn.
  if (in.machines().size() < all_at_once) {
    const auto turn =
        static_cast<std::ptrdiff_t>(seed * wanted.size() / 3 % wanted.size());
    std::rotate(wanted.begin(), wanted.begin() + turn, wanted.end());
  }
  return wanted;
}

std::vector<const fault*> of_everything() {
  std::vector<const fault*> wanted;
  for (const fault& each : all_faults()) {
    if (each.reach == spread::all_compute && each.booted_hours_ago != 0)
      wanted.push_back(&each);
  }
  return wanted;
}

bool is_of_few(const planted& each) {
  return each.what->reach == spread::one || each.what->reach == spread::two;
}

// The providers whose answer the fault changes on that node.
std::vector<std::size_t> shown_by(const cluster& in, const planted& each,
                                  std::size_t node) {
  const auto healthy = answers_of(in, {}, node, 1, true);
  const auto ill = answers_of(in, {each}, node, 1, true);
  std::vector<std::size_t> providers;
  for (std::size_t i = 0; i < ill.size(); ++i) {
    if (ill[i].output != healthy[i].output || ill[i].came != healthy[i].came ||
        ill[i].exit_status != healthy[i].exit_status)
      providers.push_back(i);
  }
  return providers;
}

std::size_t flagged_nodes(const text_groups& by, const cluster& in,
                          const planted& fault) {
  std::size_t flagged = 0;
  for (const std::size_t node : fault.nodes) {
    const auto providers = shown_by(in, fault, node);
    flagged += std::any_of(providers.begin(), providers.end(),
                           [&](std::size_t provider) {
                             return by.is_flagged(provider, node);
                           })
                   ? 1U
                   : 0U;
  }
  return flagged;
}

void compare_texts(const cluster& in, const std::vector<planted>& faults,
                   tally& to) {
  std::set<std::size_t> ill;
  for (const planted& each : faults) {
    if (is_of_few(each)) ill.insert(each.nodes.begin(), each.nodes.end());
  }
  for (const bool of_class : {false, true}) {
    const text_groups groups(in, faults, of_class);
    for (const planted& each : faults) {
      kind_tally& kind = to.kinds[each.what->name];
      (of_class ? kind.text_of_class : kind.text) +=
          flagged_nodes(groups, in, each);
    }
    for (std::size_t node = 0; node < in.machines().size(); ++node) {
      if (!ill.contains(node))
        (of_class ? to.class_flags : to.text_flags) += groups.flags_on(node);
    }
  }
}

void note_wrong(const std::vector<false_finding>& list, const char* word,
                tally& to) {
  for (const false_finding& each : list) {
    auto& known = to.wrong_ones[{word, each.check + " " + each.fact}];
    ++known.first;
    known.second = each.node + ": " + each.message;
  }
}

void take_score(const score& made, tally& to) {
  for (const fault_score& each : made.faults) {
    kind_tally& kind = to.kinds[each.what->name];
    kind.planted += each.planted;
    kind.found += each.found;
    kind.findings += each.findings;
    ++kind.clusters;
    kind.of_few =
        each.what->reach == spread::one || each.what->reach == spread::two;
    if (!each.missed.empty()) to.missed[each.what->name] = each.missed.front();
  }
  to.healthy += made.healthy;
  to.wrong += made.wrong.size();
  to.informational += made.wrong_informational.size();
  note_wrong(made.wrong, "false", to);
  note_wrong(made.wrong_informational, "informational", to);
  ++to.small_class_clusters;
  to.small_class_said += made.small_class_said ? 1U : 0U;
}

void try_cluster(const judge_tools& with, const cluster& in,
                 const std::vector<const fault*>& wanted, tally& to) {
  const scratch_folder folder;
  const auto faults = plant(in, wanted, in.luck().at("faults"));
  stored_runs stored;
  to.make_sec += seconds_of(
      [&] { stored = store(in, faults, plan_for(folder.file("zelk.db"))); });
  const timed_judgement judged =
      judge_runs(with, folder.file("zelk.db"), stored.numbers.back(),
                 stored.numbers.front());
  to.load_sec += judged.load_sec;
  to.judge_sec += judged.judge_sec;
  ++to.judged;
  take_score(score_of(judged.what, in, faults), to);
  to.text_sec += seconds_of([&] { compare_texts(in, faults, to); });
}

tally try_all(const judge_tools& with, std::size_t nodes, std::uint64_t seeds) {
  tally made;
  for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
    const cluster in({.nodes = nodes, .seed = seed},
                     ZELK_SOURCE_DIR "/test/synthetic");
    try_cluster(with, in, of_single_nodes(in, seed), made);
    try_cluster(with, in, of_everything(), made);
  }
  return made;
}

double share(std::size_t part, std::size_t of) {
  return of == 0 ? 0 : static_cast<double>(part) / static_cast<double>(of);
}

// Of those on single nodes: thousands have what all have.
kind_tally sum_of(const tally& of) {
  kind_tally sum;
  for (const auto& [name, each] : of.kinds) {
    if (!each.of_few) continue;
    sum.planted += each.planted;
    sum.found += each.found;
    sum.text += each.text;
    sum.text_of_class += each.text_of_class;
  }
  return sum;
}

void print_kind(const std::string& name, const kind_tally& each) {
  std::printf("%-28s %8zu %8zu %7.3f %9.1f %7.3f %7.3f%s\n", name.c_str(),
              each.planted, each.found, share(each.found, each.planted),
              share(each.findings, each.clusters),
              share(each.text, each.planted),
              share(each.text_of_class, each.planted),
              each.found == each.planted ? "" : "  MISSED");
}

void print_totals(const tally& of) {
  const kind_tally sum = sum_of(of);
  const auto in_1000 = [&](std::size_t count) {
    return 1000 * share(count, of.healthy);
  };
  std::printf("%-28s %8zu %8zu %7.3f %9s %7.3f %7.3f\n", "all on single nodes",
              sum.planted, sum.found, share(sum.found, sum.planted), "",
              share(sum.text, sum.planted),
              share(sum.text_of_class, sum.planted));
  std::printf(
      "\nfalse, in 1,000 healthy nodes (%zu seen):\n"
      "  findings   %10.2f%s   (and %.2f informational)\n"
      "  text       %10.0f   differing outputs; by class %.0f\n",
      of.healthy, in_1000(of.wrong),
      in_1000(of.wrong) <= 1 ? "" : "  MISSED (bar 1)",
      in_1000(of.informational), in_1000(of.text_flags),
      in_1000(of.class_flags));
  std::printf("class of two said to be too small: %zu of %zu clusters\n",
              of.small_class_said, of.small_class_clusters);
  const auto runs = static_cast<double>(of.judged);
  std::printf(
      "seconds a cluster: make %.2f, load two runs %.2f, judge %.2f, "
      "compare texts %.2f\n\n",
      of.make_sec / runs, of.load_sec / runs, of.judge_sec / runs,
      of.text_sec / runs);
}

void print_wrong(const tally& of) {
  for (const auto& [kind, node] : of.missed)
    std::printf("  missed %-26s e.g. on %s\n", kind.c_str(), node.c_str());
  std::vector<std::tuple<std::size_t, std::string, std::string>> lines;
  for (const auto& [what, often] : of.wrong_ones)
    lines.emplace_back(often.first, what.first + ": " + what.second,
                       often.second);
  std::sort(lines.rbegin(), lines.rend());
  for (const auto& [count, what, example] : lines)
    std::printf("  %6zu x %s\n      %s\n", count, what.c_str(),
                example.c_str());
}

bool is_good(const tally& of) {
  const bool all_found =
      std::all_of(of.kinds.begin(), of.kinds.end(), [](const auto& each) {
        return each.second.found == each.second.planted;
      });
  return all_found && of.wrong * 1000 <= of.healthy &&
         of.small_class_said == of.small_class_clusters;
}

bool run(const judge_tools& with, const wishes& by, std::size_t nodes) {
  const tally made = try_all(with, nodes, by.seeds);
  std::printf("%zu nodes, %llu seeds\n", nodes,
              static_cast<unsigned long long>(by.seeds));
  std::printf("%-28s %8s %8s %7s %9s %7s %7s\n", "fault", "planted", "found",
              "recall", "findings", "text", "class");
  for (const auto& [name, each] : made.kinds)
    print_kind(name, each);
  print_totals(made);
  if (by.show) print_wrong(made);
  std::fflush(stdout);
  return is_good(made);
}

wishes read_wishes(int argc, char* argv[]) {
  wishes made;
  for (int i = 1; i < argc; ++i) {
    const bool more = i + 1 < argc;
    if (std::strcmp(argv[i], "--quick") == 0) {
      made.nodes = {64};
      made.seeds = 2;
    } else if (std::strcmp(argv[i], "--show") == 0) {
      made.show = true;
    } else if (std::strcmp(argv[i], "--nodes") == 0 && more) {
      made.nodes.push_back(std::stoul(argv[++i]));
    } else if (std::strcmp(argv[i], "--seeds") == 0 && more) {
      made.seeds = std::stoul(argv[++i]);
    } else if (std::strcmp(argv[i], "--checks") == 0 && more) {
      made.checks = argv[++i];
    } else {
      std::fprintf(stderr,
                   "usage: detection_bench [--quick] [--nodes N]... "
                   "[--seeds N] [--show] [--checks FOLDER]\n");
      std::exit(3);
    }
  }
  if (made.nodes.empty()) made.nodes = {64, 1000};
  return made;
}

}  // namespace

int main(int argc, char* argv[]) {
  const wishes by = read_wishes(argc, argv);
  const judge_tools with(by.checks);
  bool good = true;
  for (const std::size_t nodes : by.nodes)
    good = run(with, by, nodes) && good;
  return good ? 0 : 1;
}
