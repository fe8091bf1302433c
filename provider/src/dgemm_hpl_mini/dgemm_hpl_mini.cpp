// Arithmetic rate of each core and of all together, by multiplying matrices of
// doubles for a while: every core its own, all at the same time.
//
// Cores that share one product would wait for each other, and the rate would be
// that of the slowest: which one it is, and by how much, is what is asked here.
//
//   DGEMM_SECONDS   how long to multiply
//   DGEMM_SIZE      rows of a matrix, rounded up to a multiple of 24; 0: 1152,
//                   or less where memory is short
//   DGEMM_KERNEL    avx512, avx2 or plain instead of the best one
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "provider/src/common/clock_rate.h"
#include "provider/src/common/cpus.h"
#include "provider/src/common/settings.h"
#include "provider/src/common/statistics.h"
#include "provider/src/common/team.h"
#include "provider/src/dgemm_hpl_mini/product.h"

namespace zelk::perf::dgemm {
namespace {

constexpr const char* program = "dgemm_hpl_mini";

struct plan {
  std::string root;
  std::vector<cpu> cores;
  const tile_kernel* kernel = nullptr;
  blocking blocks{};
  std::size_t size = 0;
  double seconds = 0;
};

std::size_t matrix_size(std::size_t cores, std::uint64_t memory) {
  constexpr std::size_t standard = 1152, least = 4 * size_step;
  const auto asked =
      static_cast<std::size_t>(number_setting("DGEMM_SIZE", 0, 0, 20000));
  std::size_t size = asked > 0 ? asked : standard;
  size = (size + size_step - 1) / size_step * size_step;
  const auto fits = [&] {
    return memory == 0 || cores * product_bytes(size) <= memory / 2;
  };
  while (asked == 0 && size > least && !fits())
    size -= size_step;
  if (!fits())
    throw usage_error("matrices of " + std::to_string(size) +
                      " rows for each of " + std::to_string(cores) +
                      " cores do not fit in half of the available memory");
  return size;
}

const tile_kernel* choose_kernel() {
  const std::string name = text_setting("DGEMM_KERNEL", "");
  const tile_kernel* kernel =
      find_kernel(name.empty() ? nullptr : name.c_str());
  if (kernel == nullptr)
    throw usage_error("DGEMM_KERNEL is '" + name +
                      "', expected avx512, avx2 or plain, and one that this "
                      "processor has");
  return kernel;
}

plan make_plan() {
  plan made;
  made.root = root_folder();
  made.cores = one_per_core(place_cpus(made.root, allowed_cpus()));
  made.kernel = choose_kernel();
  made.blocks =
      choose_blocking(*made.kernel, read_caches(made.root, made.cores));
  made.size = matrix_size(made.cores.size(), available_memory(made.root));
  const double asked = seconds_setting("DGEMM_SECONDS", 30, 86400);
  made.seconds = std::min(asked, 0.9 * seconds_allowed());
  return made;
}

struct turn {
  double start, seconds;  // from the common start; of the multiplication alone
};

struct core_record {
  std::vector<turn> turns;
  std::size_t wrong = 0;
  double share = 0;  // of a processor, percent
};

// The rate in GFLOP/s (10^9) over the turns that `chosen` takes.
template <typename Chosen>
double rate_of(const core_record& core, double operations, Chosen chosen) {
  double seconds = 0, turns = 0;
  for (const turn& one : core.turns) {
    if (!chosen(one)) continue;
    seconds += one.seconds;
    ++turns;
  }
  return seconds > 0 ? turns * operations / seconds / 1e9 : 0;
}

struct record {
  std::vector<core_record> cores;
  clock_log clocks;
  double operations = 0;
  double first_heat = 0, last_heat = 0;  // degrees Celsius
  std::size_t unbound = 0;
};

void multiply_for_a_while(const plan& made, std::size_t index, gate& together,
                          record& all) {
  core_record& mine = all.cores[index];
  std::optional<product> own;
  try {
    own.emplace(made.size, *made.kernel, made.blocks, index + 1);
  } catch (...) {
    together.wait();  // or the others would wait for ever
    throw;
  }
  product& matrices = *own;
  matrices.multiply();  // brings the pages in
  together.wait();
  const double start = now();
  const share_clock share;
  while (now() - start < made.seconds || mine.turns.size() < 2) {
    all.clocks.look(index);
    const double begin = now();
    matrices.multiply();
    mine.turns.push_back({begin - start, now() - begin});
    if (!matrices.is_right()) ++mine.wrong;
  }
  mine.share = share.percent();
  if (index == 0) all.operations = matrices.operations();
}

record measure(const plan& made) {
  record all{std::vector<core_record>(made.cores.size()),
             clock_log(made.cores.size())};
  gate together(made.cores.size());
  all.first_heat = hottest_sensor(made.root);
  all.unbound = run_bound(numbers_of(made.cores), [&](std::size_t index) {
    multiply_for_a_while(made, index, together, all);
  });
  all.last_heat = hottest_sensor(made.root);
  return all;
}

void print_plan(const plan& made) {
  std::printf("dgemm.cores: %zu\n", made.cores.size());
  std::printf("dgemm.size: %zu\n", made.size);
  std::printf("dgemm.kernel: %s\n", made.kernel->name);
  std::printf("dgemm.blocks: %zu x %zu\n", made.blocks.rows, made.blocks.depth);
  std::printf("dgemm.seconds: %g\n", made.seconds);
}

double sum_of(const record& all, const auto& chosen) {
  double sum = 0;
  for (const core_record& core : all.cores)
    sum += rate_of(core, all.operations, chosen);
  return sum;
}

void print_cores(const plan& made, const record& all) {
  std::vector<double> rates, shares;
  std::size_t slowest = 0;
  for (std::size_t index = 0; index < all.cores.size(); ++index) {
    rates.push_back(rate_of(all.cores[index], all.operations,
                            [](const turn&) { return true; }));
    shares.push_back(all.cores[index].share);
    if (rates[index] < rates[slowest]) slowest = index;
    std::printf("dgemm.cpu.%d: %.2f GFLOP/s\n", made.cores[index].number,
                rates[index]);
  }
  const spread among = spread_of(rates);
  std::printf("dgemm.core.least: %.2f GFLOP/s\n", among.least);
  std::printf("dgemm.core.median: %.2f GFLOP/s\n", among.median);
  std::printf("dgemm.core.most: %.2f GFLOP/s\n", among.most);
  std::printf("dgemm.core.spread: %.1f %%\n",
              percent_below(among.least, among.most));
  std::printf("dgemm.cpu_share: %.1f %%\n", spread_of(shares).least);
  std::printf("dgemm.core.slowest: cpu %d\n", made.cores[slowest].number);
}

// The fastest turn of any core, which nothing disturbed.
double best_turn(const record& all) {
  double best = 0;
  for (const core_record& core : all.cores) {
    for (const turn& one : core.turns)
      best = std::max(best, all.operations / one.seconds / 1e9);
  }
  return best;
}

void print_node(const plan& made, const record& all) {
  const double half = made.seconds / 2;
  const double first =
      sum_of(all, [half](const turn& one) { return one.start < half; });
  const double second =
      sum_of(all, [half](const turn& one) { return one.start >= half; });
  std::printf("dgemm.node.rate: %.2f GFLOP/s\n",
              sum_of(all, [](const turn&) { return true; }));
  std::printf("dgemm.half.first: %.2f GFLOP/s\n", first);
  std::printf("dgemm.half.second: %.2f GFLOP/s\n", second);
  std::printf("dgemm.half.loss: %.1f %%\n", percent_below(second, first));
  std::printf("dgemm.turn.best: %.2f GFLOP/s\n", best_turn(all));
  std::size_t turns = 0, wrong = 0;
  for (const core_record& core : all.cores) {
    turns += core.turns.size();
    wrong += core.wrong;
  }
  std::printf("dgemm.products: %zu\n", turns);
  std::printf("dgemm.wrong: %zu\n", wrong);
}

void print_heat(const record& all) {
  if (all.last_heat <= 0) {
    std::printf("missing: temperature\n");
    return;
  }
  std::printf("temperature.before: %.1f °C\n", all.first_heat);
  std::printf("temperature.after: %.1f °C\n", all.last_heat);
}

int body() {
  const plan made = make_plan();
  print_plan(made);
  const record all = measure(made);
  print_node(made, all);
  print_cores(made, all);
  all.clocks.print();
  print_told_clocks(made.root, made.cores);
  print_heat(all);
  if (all.unbound == 0) return exit_done;
  return stop(program, exit_incomplete, "a thread could not be bound");
}

}  // namespace
}  // namespace zelk::perf::dgemm

int main() {
  return zelk::perf::run_program(zelk::perf::dgemm::program,
                                 zelk::perf::dgemm::body);
}
