#include "src/check/test_judgement.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <initializer_list>
#include <set>
#include <utility>

namespace zelk::check {

namespace {

using names = std::vector<std::string>;

std::int64_t at(int year, unsigned month, unsigned day, int hour, int minute,
                int second = 0) {
  const std::chrono::sys_days midnight(std::chrono::year(year) /
                                       std::chrono::month(month) /
                                       std::chrono::day(day));
  const auto when = midnight + std::chrono::hours(hour) +
                    std::chrono::minutes(minute) + std::chrono::seconds(second);
  return std::chrono::duration_cast<std::chrono::microseconds>(
             when.time_since_epoch())
      .count();
}

std::string node(int number) {
  return fmt::format("node{:03}", number);
}

names node_range(int first, int last) {
  names result;
  for (int number = first; number <= last; ++number)
    result.push_back(node(number));
  return result;
}

names gpu_nodes() {
  names result;
  for (int number = 1; number <= 8; ++number)
    result.push_back(fmt::format("gpu{:02}", number));
  return result;
}

names all_nodes() {
  names result = gpu_nodes();
  for (const std::string& name : node_range(1, 128))
    result.push_back(name);
  return result;
}

names without(names from, const names& those) {
  std::erase_if(from, [&](const std::string& name) {
    return std::find(those.begin(), those.end(), name) != those.end();
  });
  return from;
}

run_info run_of(std::int64_t number, std::int64_t started) {
  run_info run;
  run.number = number;
  run.uuid = fmt::format("5e1f0a52-7c14-4b6e-9d3a-{:012}", number);
  run.label = "nightly";
  run.state = "complete";
  run.command_line = "zelk-collect @nightly --label nightly";
  run.started_usec = started;
  run.ended_usec = started + 312 * std::int64_t{1'000'000};
  run.nodes_expected = run.nodes = 136;
  run.results_expected = run.results = 1233;
  return run;
}

run_info latest_run() {
  run_info run = run_of(412, at(2025, 11, 21, 2, 0));
  run.state = "partial";
  run.nodes = 134;
  run.results = 1215;
  return run;
}

run_info baseline_run() {
  return run_of(391, at(2025, 11, 1, 2, 0));
}

finding finding_of(const char* check, const char* title, int score,
                   finding_state state, names nodes, std::string message) {
  finding result;
  result.check = check;
  result.title = title;
  result.score = score;
  result.level = severity_of(score);
  result.state = state;
  result.nodes = std::move(nodes);
  result.message = std::move(message);
  result.fingerprint = fmt::format("sha256:{:064x}", result.check.size() * 977);
  result.since = run_name{412, at(2025, 11, 21, 2, 0)};
  return result;
}

finding no_answer() {
  finding result =
      finding_of("no-answer", "a node did not answer", 90, finding_state::fresh,
                 {node(37), node(112)}, "no answer over ssh, 2 tries");
  result.causes = {"the node is down", "its network is"};
  result.advice = {"ping node[037,112] ; look at the console"};
  return result;
}

finding mem_size() {
  finding result = finding_of("mem-size", "less memory than the peers have", 85,
                              finding_state::fresh, {node(71)},
                              "224 GiB; 94 of 95 class A peers have 256 GiB");
  result.class_name = "A";
  result.provider = "memory";
  result.fact = "mem.total";
  result.unit = "GiB";
  result.reference = "256 GiB";
  result.peers = 95;
  result.median = 256;
  result.mad = 0;
  result.values = {{node(71), "224", "256", 224, {}, -12.5}};
  result.causes = {"a memory module is missing or mapped out"};
  result.advice = {
      "dmidecode -t memory on node071 (a module missing or mapped out)"};
  return result;
}

finding stream_low() {
  finding result = finding_of(
      "stream-low", "memory bandwidth of a node clearly below its peers", 80,
      finding_state::fresh, {node(13), node(88)},
      "168.9 and 171.2 GB/s; 92 peers 203.4 +-1.1 (-17.0 %, -15.8 %)");
  result.class_name = "A";
  result.provider = "stream";
  result.option = "full";
  result.fact = "stream.triad";
  result.unit = "GB/s";
  result.reference = "203.4 GB/s";
  result.peers = 92;
  result.median = 203.4;
  result.mad = 1.1;
  result.values = {{node(13), "168.9", "203.1", 168.9, -21.2, -17.0},
                   {node(88), "171.2", "203.9", 171.2, -19.7, -15.8}};
  result.causes = {"missing or slower memory module", "power or thermal limit",
                   "NUMA or huge page setting", "a job left running"};
  result.advice = {
      "numactl -H, power limits, another run: zelk-collect stream -w "
      "node[013,088]",
      "dmesg -T | grep -i -e mce -e edac"};
  return result;
}

finding bios_differs() {
  finding result =
      finding_of("bios-differs", "the firmware is not the peers'", 50,
                 finding_state::unchanged, node_range(101, 104),
                 "2.3; 27 of 31 class B peers have 2.5");
  result.class_name = "B";
  result.provider = "bios";
  result.fact = "bios.version";
  result.reference = "2.5";
  result.peers = 31;
  for (const std::string& name : result.nodes)
    result.values.push_back({name, "2.3", "2.3", {}, {}, {}});
  result.causes = {"left out when the others were updated"};
  result.advice = {"zelk-check --diff bios"};
  result.since = run_name{391, at(2025, 11, 1, 2, 0)};
  return result;
}

finding clock_offset() {
  finding result =
      finding_of("clock-offset", "the clock is off", 40, finding_state::fresh,
                 {node(20)}, "4.1 s (limit 1 s)");
  result.class_name = "A";
  result.provider = "clock";
  result.fact = "clock.offset";
  result.unit = "s";
  result.reference = "at most 1 s";
  result.values = {{node(20), "4.1", "0.002", 4.1, {}, {}}};
  result.causes = {"the time service has stopped"};
  result.advice = {"chronyc tracking"};
  return result;
}

finding timed_out() {
  finding result = finding_of("timeout", "a provider was stopped at its limit",
                              35, finding_state::fresh, {node(55)},
                              "stream stopped after 300 s");
  result.provider = "stream";
  result.option = "full";
  return result;
}

finding kernel_changed() {
  finding result = finding_of(
      "kernel-changed", "the kernel is another one", 10, finding_state::changed,
      without(all_nodes(), {node(37), node(112)}),
      "changed on 134 of 134 nodes: 5.14.0-427 -> 5.14.0-503");
  result.provider = "kernel";
  result.fact = "kernel.release";
  result.is_of_change = true;
  for (const std::string& name : result.nodes)
    result.values.push_back({name, "5.14.0-503", "5.14.0-427", {}, {}, {}});
  return result;
}

finding gpu_ecc() {
  finding result = finding_of("gpu-ecc", "a GPU corrects more errors", 60,
                              finding_state::fixed, {"gpu03"},
                              "12 uncorrected errors; limit 0");
  result.class_name = "G";
  result.provider = "gpu";
  result.fact = "gpu.ecc.uncorrected";
  result.values = {{"gpu03", "0", "12", 0, {}, {}}};
  result.since = run_name{385, at(2025, 10, 28, 2, 0)};
  return result;
}

finding accepted_swap() {
  finding result =
      finding_of("swap-on", "swap is in use", 30, finding_state::unchanged,
                 {"gpu07"}, "8 GiB of swap; 7 of 7 class G peers have none");
  result.class_name = "G";
  result.provider = "memory";
  result.fact = "swap.total";
  result.unit = "GiB";
  result.reference = "0 GiB";
  result.peers = 7;
  result.values = {{"gpu07", "8", "8", 8, {}, {}}};
  acceptance known;
  known.id = 3;
  known.check = "swap-on";
  known.nodes = {"gpu07"};
  known.reason = "test bed of the visualisation group";
  known.who = "ada";
  known.made_usec = at(2025, 10, 2, 9, 30);
  known.until_usec = at(2026, 1, 1, 0, 0);
  result.accepted = known;
  return result;
}

class_view class_of(const char* name, names nodes, const char* processor,
                    const char* memory) {
  return {
      name,
      {{"cpu.model", processor}, {"cpu.sockets", "2"}, {"mem.total", memory}},
      std::move(nodes),
      true,
      ""};
}

const std::vector<std::string>& columns() {
  static const std::vector<std::string> all = {
      "reach",  "bios",  "clock",  "cpu",      "filesystems", "gpu",
      "kernel", "links", "memory", "packages", "stream"};
  return all;
}

std::size_t column(const std::string& name) {
  const auto found = std::find(columns().begin(), columns().end(), name);
  return static_cast<std::size_t>(found - columns().begin());
}

cell_state state_of(severity level) {
  if (level == severity::critical) return cell_state::crit;
  return level == severity::warning ? cell_state::warn : cell_state::info;
}

node_view view_of(const std::string& name) {
  const bool with_gpu = name.front() == 'g';
  node_view view;
  view.name = name;
  view.class_name = with_gpu ? "G" : name <= node(96) ? "A" : "B";
  view.role = with_gpu ? "enhanced" : "compute";
  view.subcluster = "default-subcluster";
  view.what = verdict::healthy;
  view.cells.assign(columns().size(), cell_state::ok);
  if (!with_gpu) view.cells[column("gpu")] = cell_state::not_applicable;
  return view;
}

// Marks the node as what the finding makes of it.
void apply(node_view& view, const finding& found, std::uint32_t index) {
  view.findings.push_back(index);
  if (found.check == "no-answer") {
    for (cell_state& cell : view.cells)
      if (cell == cell_state::ok) cell = cell_state::no_data;
    view.cells[column("reach")] = cell_state::crit;
  } else {
    view.cells[column(found.provider)] =
        found.check == "timeout" ? cell_state::timeout : state_of(found.level);
  }
  if (found.level == severity::critical) view.what = verdict::unhealthy;
  if (found.level == severity::warning && view.what == verdict::healthy)
    view.what = verdict::suspect;
}

std::vector<node_view> views_of(const judgement& judged) {
  std::vector<node_view> views;
  for (const std::string& name : all_nodes()) {
    views.push_back(view_of(name));
    for (std::uint32_t i = 0; i < judged.findings.size(); ++i)
      for (const std::string& bad : judged.findings[i].nodes)
        if (bad == name) apply(views.back(), judged.findings[i], i);
    if (name == "gpu07")
      views.back().cells[column("memory")] = cell_state::accepted;
  }
  return views;
}

// 94 values around 203.4, and the two slow nodes.
distribution stream_values() {
  distribution result;
  result.fact = "stream.triad";
  result.provider = "stream";
  result.option = "full";
  result.unit = "GB/s";
  result.class_name = "A";
  result.direction = facts::better::higher;
  result.values = {168.9, 171.2};
  for (int i = 0; i < 92; ++i)
    result.values.push_back(200.1 + 0.0733 * i);
  result.median = 203.4;
  result.mad = 1.1;
  result.outliers = stream_low().values;
  return result;
}

distribution memory_values() {
  distribution result;
  result.fact = "mem.total";
  result.provider = "memory";
  result.unit = "GiB";
  result.class_name = "A";
  result.direction = facts::better::higher;
  result.values.assign(95, 256);
  result.values.front() = 224;
  result.median = 256;
  result.outliers = mem_size().values;
  return result;
}

difference bios_difference(const char* fact, const char* old_value,
                           const char* new_value) {
  const names minority = node_range(101, 104);
  names majority = without(node_range(97, 128), minority);
  majority = without(majority, {node(112)});
  return {fact, "bios", "",
          "",   "B",    {{new_value, majority}, {old_value, minority}},
          {}};
}

std::vector<coverage_group> coverage() {
  coverage_group silent;
  silent.what = answer::missing;
  silent.reason = "ssh: connect to host: Connection timed out";
  silent.nodes = {node(37), node(112)};
  coverage_group stopped;
  stopped.what = answer::timed_out;
  stopped.provider = "stream";
  stopped.option = "full";
  stopped.reason = "stopped after 300 s (limit 300 s)";
  stopped.nodes = {node(55)};
  coverage_group not_asked;
  not_asked.what = answer::not_expected;
  not_asked.provider = "gpu";
  not_asked.reason = "runs only on role enhanced";
  not_asked.nodes = node_range(1, 128);
  return {silent, stopped, not_asked};
}

history_entry entry(std::int64_t number, std::int64_t started,
                    std::vector<std::pair<std::string, verdict>> bad) {
  history_entry result;
  result.run = run_of(number, started);
  for (const auto& [name, what] : bad)
    ++(what == verdict::unhealthy ? result.counts.unhealthy
                                  : result.counts.suspect);
  result.counts.healthy = 136 - bad.size();
  result.nodes = std::move(bad);
  return result;
}

std::vector<history_entry> history(const judgement& judged) {
  std::vector<std::pair<std::string, verdict>> old_firmware;
  for (const std::string& name : node_range(101, 104))
    old_firmware.emplace_back(name, verdict::suspect);
  auto with_gpu = old_firmware;
  with_gpu.insert(with_gpu.begin(), {"gpu03", verdict::suspect});
  std::vector<history_entry> result = {
      entry(385, at(2025, 10, 28, 2, 0), with_gpu),
      entry(391, at(2025, 11, 1, 2, 0), with_gpu),
      entry(405, at(2025, 11, 19, 2, 0), old_firmware),
      entry(409, at(2025, 11, 20, 2, 0), old_firmware)};
  history_entry now;
  now.run = judged.run;
  now.counts = judged.counts;
  for (const node_view& view : judged.nodes)
    if (view.what != verdict::healthy)
      now.nodes.emplace_back(view.name, view.what);
  result.push_back(std::move(now));
  return result;
}

judged_with settings() {
  judged_with with;
  with.z = 3.5;
  with.min_effect = 5;
  with.min_peers = 5;
  with.peers_by = "class";
  with.max_age_usec = 604'800 * std::int64_t{1'000'000};
  with.limits = {"clock.offset=~:1"};
  with.definition_files = {"etc/checks/hardware.xml", "etc/checks/system.xml"};
  return with;
}

}  // namespace

judgement example_judgement() {
  judgement judged;
  judged.run = latest_run();
  judged.baseline = baseline_run();
  judged.now_usec = at(2025, 11, 21, 5, 12);
  judged.overall = verdict::unhealthy;
  judged.counts = {125, 6, 5, 0};
  judged.columns = columns();
  judged.findings = {no_answer(),     mem_size(),     stream_low(),
                     bios_differs(),  clock_offset(), timed_out(),
                     kernel_changed()};
  judged.accepted = {accepted_swap()};
  judged.fixed = {gpu_ecc()};
  judged.classes = {class_of("A", node_range(1, 96), "Xeon Gold 6448Y", "256"),
                    class_of("B", node_range(97, 128), "Xeon Gold 6338", "256"),
                    class_of("G", gpu_nodes(), "EPYC 7763", "1024")};
  judged.nodes = views_of(judged);
  judged.coverage = coverage();
  judged.distributions = {stream_values(), memory_values()};
  judged.differences = {
      bios_difference("bios.release", "2024-06-11", "2025-04-02"),
      bios_difference("bios.version", "2.3", "2.5")};
  judged.equal_facts = 1187;
  judged.history = history(judged);
  judged.providers = {{"bios", 1},        {"clock", 2},  {"cpu", 4},
                      {"filesystems", 1}, {"gpu", 2},    {"kernel", 3},
                      {"links", 1},       {"memory", 2}, {"packages", 1},
                      {"stream", 3}};
  judged.with = settings();
  return judged;
}

}  // namespace zelk::check
