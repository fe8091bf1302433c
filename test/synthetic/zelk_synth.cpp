// zelk-synth: writes a made-up cluster into a datastore, for trying things out.
//
//   zelk-synth --nodes 64 --seed 7 --fault lost-dimm --fault silent zelk.db
//   zelk-synth --list

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "test/synthetic/cluster.h"
#include "test/synthetic/faults.h"
#include "test/synthetic/store_cluster.h"

namespace {

using namespace zelk::synthetic;

struct wishes {
  cluster_size size;
  store_plan how;
  std::vector<std::string> faults;
  bool all = false;
  bool list = false;
};

void list_faults() {
  for (const fault& each : all_faults())
    std::printf("%-26s %s\n", each.name.c_str(), each.what.c_str());
}

std::vector<const fault*> chosen(const wishes& by) {
  std::vector<const fault*> found;
  for (const fault& each : all_faults()) {
    bool wanted = by.all && each.reach != spread::all_compute;
    for (const std::string& name : by.faults)
      wanted = wanted || name == each.name;
    if (wanted) found.push_back(&each);
  }
  if (!by.all && found.size() != by.faults.size())
    throw std::runtime_error("no such fault; --list names them");
  return found;
}

void add_options(CLI::App& app, wishes& by) {
  app.add_option("datastore", by.how.path, "the file to make or add to");
  app.add_option("--nodes", by.size.nodes, "machines [64]");
  app.add_option("--seed", by.size.seed, "the same, the same cluster [1]");
  app.add_option("--runs", by.how.runs, "a day apart [2]");
  app.add_option("--repeated", by.how.repeated_percent,
                 "percent of the answers of middle runs as in the first [0]");
  app.add_option("--fault", by.faults, "plant it; may be repeated")
      ->allow_extra_args(false);
  app.add_flag("--all-faults", by.all, "plant all for which there is room");
  app.add_flag("--list", by.list, "name the faults");
}

void write(const wishes& by) {
  if (by.how.path.empty()) throw std::runtime_error("which datastore?");
  const cluster made(by.size, ZELK_SOURCE_DIR "/test/synthetic");
  const auto faults = plant(made, chosen(by), made.luck().at("faults"));
  for (const planted& each : faults) {
    std::printf("%-26s", each.what->name.c_str());
    for (const std::size_t node : each.nodes)
      std::printf(" %s", made.machines()[node].name.c_str());
    std::printf("\n");
  }
  const stored_runs stored = store(made, faults, by.how);
  std::printf("%zu runs, %zu results, %.1f MB\n", stored.numbers.size(),
              stored.results, static_cast<double>(stored.bytes) / 1e6);
}

}  // namespace

int main(int argc, char* argv[]) {
  try {
    wishes by;
    by.how.descriptions = ZELK_SOURCE_DIR "/etc/providers";
    by.how.schema = ZELK_SOURCE_DIR "/share/zelkara/description.xsd";
    CLI::App app("Writes a made-up cluster into a datastore.", "zelk-synth");
    add_options(app, by);
    CLI11_PARSE(app, argc, argv);
    if (by.list)
      list_faults();
    else
      write(by);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zelk-synth: %s\n", error.what());
    return 2;
  }
}
