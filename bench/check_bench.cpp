// How long it takes to judge a cluster, and how much memory.
//
//   check_bench [--quick] [--keep FOLDER]
//
// Made-up clusters with planted faults are stored; then, each in a process of
// its own that is kept on one core, and after one round that warms the page
// cache:
//
//   judge      a run of 1,000 nodes and 46 providers is read, compared with the
//              run before it and judged: 5 s. The same of 10,000 nodes: 60 s,
//              and less than 1 GiB at its peak
//   history    two runs of 1,000 nodes, out of a hundred that the datastore
//              holds, are read and compared: 3 s
//   page       the page of 4,000 nodes is written: 3 s, less than 5 MiB
//
// Times are of the processor: on one core that does nothing else, of the clock
// on the wall as well. The wall's are printed beside. Of the hundred runs those
// between the first and the last two have the first run's outputs: the rows of
// a long history are all there, its room is not. --quick tries all of it with
// 64 nodes and five runs (and says nothing about bars), --keep keeps the
// datastores and uses those of an earlier call. Ends with 1 when a bar is
// missed.

#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "bench/judged_cluster.h"
#include "src/check/page/page.h"

namespace {

using namespace zelk::bench;
using namespace zelk::synthetic;

struct task {
  const char* name;
  std::size_t nodes;
  std::size_t runs;
  bool page;
  double bar_sec;
  double bar_mib;  // of memory, or of the page
};

constexpr std::array<task, 4> tasks = {{
    {"judge 1,000 nodes", 1000, 2, false, 5, 1024},
    {"judge 10,000 nodes", 10000, 2, false, 60, 1024},
    {"two of a hundred runs, 1,000 nodes", 1000, 100, false, 3, 1024},
    {"page of 4,000 nodes", 4000, 2, true, 3, 5},
}};

// What the child tells in one line.
struct figures {
  double load_sec = 0, judge_sec = 0, page_sec = 0;
  double page_mib = 0, peak_mib = 0;
  double wall_sec = 0;  // of all
  std::size_t findings = 0;
};

constexpr double bytes_per_mib = 1 << 20;

std::string written_page(const zelk::check::judgement& what, figures& to) {
  std::ostringstream page;
  to.page_sec = processor_seconds_of([&] {
    zelk::check::page_options options;
    options.program_version = "0";
    zelk::check::write_page(what, options, page);
  });
  return std::move(page).str();
}

// In the child: all that is measured.
figures measure(const std::string& datastore, std::size_t runs, bool page) {
  figures made;
  const judge_tools with;
  const auto now = static_cast<std::int64_t>(runs);
  const timed_judgement judged = judge_runs(with, datastore, now, now - 1);
  made.load_sec = judged.load_sec;
  made.judge_sec = judged.judge_sec;
  made.findings = judged.what.findings.size();
  if (page)
    made.page_mib =
        static_cast<double>(written_page(judged.what, made).size()) /
        bytes_per_mib;
  made.peak_mib = peak_kib() / 1024;
  return made;
}

void keep_on_one_core() {
  cpu_set_t cores;
  CPU_ZERO(&cores);
  CPU_SET(0, &cores);
  ::sched_setaffinity(0, sizeof cores, &cores);
}

int child(char* argv[]) {
  keep_on_one_core();
  figures made;
  const double wall_sec = seconds_of([&] {
    made = measure(argv[2], std::stoul(argv[3]),
                   std::strcmp(argv[4], "page") == 0);
  });
  std::printf("%.6f %.6f %.6f %.6f %.6f %.6f %zu\n", made.load_sec,
              made.judge_sec, made.page_sec, made.page_mib, made.peak_mib,
              wall_sec, made.findings);
  return 0;
}

figures in_a_process(const std::string& datastore, const task& what,
                     std::size_t runs) {
  const std::string command = "exec /proc/" + std::to_string(::getpid()) +
                              "/exe --child '" + datastore + "' " +
                              std::to_string(runs) +
                              (what.page ? " page" : " no-page");
  FILE* from = ::popen(command.c_str(), "r");
  figures made;
  const int read =
      from == nullptr
          ? 0
          : std::fscanf(from, "%lf %lf %lf %lf %lf %lf %zu", &made.load_sec,
                        &made.judge_sec, &made.page_sec, &made.page_mib,
                        &made.peak_mib, &made.wall_sec, &made.findings);
  if (read != 7 || ::pclose(from) != 0) {
    std::fprintf(stderr, "check_bench: the measuring process failed\n");
    std::exit(2);
  }
  return made;
}

std::vector<const fault*> single_faults() {
  std::vector<const fault*> wanted;
  for (const fault& each : all_faults()) {
    if (each.reach != spread::all_compute) wanted.push_back(&each);
  }
  return wanted;
}

void make_datastore(const std::string& path, std::size_t nodes,
                    std::size_t runs) {
  if (std::filesystem::exists(path)) return;
  const cluster in({.nodes = nodes, .seed = 1},
                   ZELK_SOURCE_DIR "/test/synthetic");
  const auto faults = plant(in, single_faults(), in.luck().at("faults"));
  store_plan how = plan_for(path, runs);
  how.repeated_percent = 100;
  stored_runs stored;
  const double took = seconds_of([&] { stored = store(in, faults, how); });
  std::printf("  made %zu runs of %zu nodes, %zu results, in %.1f s; %.0f MB\n",
              runs, nodes, stored.results, took,
              static_cast<double>(std::filesystem::file_size(path)) / 1e6);
}

bool print_bar(const char* name, double value, const char* unit, double bar,
               bool counts) {
  const bool good = value <= bar || !counts;
  std::printf("  %-22s %10.3f %-4s", name, value, unit);
  if (counts) std::printf("  bar %.0f%s", bar, good ? "" : "  MISSED");
  std::printf("\n");
  return good;
}

bool print_figures(const task& what, const figures& made, bool counts) {
  std::printf("  %-22s %10.3f s\n  %-22s %10.3f s\n", "read both runs",
              made.load_sec, "compare and judge", made.judge_sec);
  bool good = true;
  if (what.page) {
    good =
        print_bar("write the page", made.page_sec, "s", what.bar_sec, counts) &&
        print_bar("size of the page", made.page_mib, "MiB", what.bar_mib,
                  counts);
    std::printf("  %-22s %10.1f MiB\n", "peak memory", made.peak_mib);
  } else {
    good = print_bar("together", made.load_sec + made.judge_sec, "s",
                     what.bar_sec, counts);
    good =
        print_bar("peak memory", made.peak_mib, "MiB", what.bar_mib, counts) &&
        good;
  }
  std::printf("  %-22s %10.3f s\n  %-22s %10zu\n", "all, on the wall",
              made.wall_sec, "findings", made.findings);
  return good;
}

bool try_task(const task& what, const std::string& folder, bool quick) {
  constexpr std::size_t few_nodes = 64, few_runs = 5;
  const std::size_t nodes = quick ? few_nodes : what.nodes;
  const std::size_t runs = quick ? std::min(few_runs, what.runs) : what.runs;
  std::printf("%s\n", what.name);
  const std::string path =
      folder + "/" + std::to_string(nodes) + "x" + std::to_string(runs) + ".db";
  make_datastore(path, nodes, runs);
  in_a_process(path, what, runs);
  const figures made = in_a_process(path, what, runs);
  const bool good = print_figures(what, made, !quick);
  std::fflush(stdout);
  return good;
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc == 5 && std::strcmp(argv[1], "--child") == 0) return child(argv);
  bool quick = false;
  std::string kept;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--quick") == 0) {
      quick = true;
    } else if (std::strcmp(argv[i], "--keep") == 0 && i + 1 < argc) {
      kept = argv[++i];
    } else {
      std::fprintf(stderr, "usage: check_bench [--quick] [--keep FOLDER]\n");
      return 3;
    }
  }
  const scratch_folder folder;
  bool good = true;
  for (const task& each : tasks)
    good = try_task(each, kept.empty() ? folder.file("") : kept, quick) && good;
  return good ? 0 : 1;
}
