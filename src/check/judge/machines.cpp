#include "src/check/judge/machines.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <unordered_map>

namespace zelk::check {

namespace {

// What gives the facts below, of the providers that come with this system.
constexpr const char* processor_providers[] = {"cpu_topology",
                                               "cpu_flags_microcode"};
constexpr char machine_provider[] = "dmi_bios";
constexpr char memory_provider[] = "mem_total_numa";
constexpr char cards_provider[] = "gpu_inventory";

// Calls `use` with a node's place and value of each that has the fact.
template <typename Use>
void for_each_value(const run_data& run, std::string_view name, Use use) {
  auto column =
      std::lower_bound(run.facts.begin(), run.facts.end(), name,
                       [](const fact_column& each, std::string_view wanted) {
                         return each.name.compare(wanted) < 0;
                       });
  for (; column != run.facts.end() && column->name == name; ++column)
    for (std::size_t node = 0; node < run.nodes.size(); ++node)
      if (node < column->values.size() && column->values[node] != no_value)
        use(node, column->values[node]);
}

using text_field = std::string machine_facts::*;
using number_field = double machine_facts::*;

void put_texts(std::vector<machine_facts>& into, const run_data& run,
               std::string_view fact, text_field field) {
  for_each_value(run, fact, [&](std::size_t node, std::uint32_t value) {
    std::string& text = into[node].*field;
    if (text.empty()) text = run.values.text(value);
  });
}

void put_numbers(std::vector<machine_facts>& into, const run_data& run,
                 std::string_view fact, number_field field) {
  for_each_value(run, fact, [&](std::size_t node, std::uint32_t value) {
    const double number = run.values.number(value).value_or(0);
    double& known = into[node].*field;
    if (known <= 0 && std::isfinite(number)) known = number;
  });
}

void complete(machine_facts& of, const machine_facts& by) {
  for (const text_field field :
       {&machine_facts::processor, &machine_facts::architecture,
        &machine_facts::machine})
    if ((of.*field).empty()) of.*field = by.*field;
  for (const number_field field :
       {&machine_facts::memory, &machine_facts::cards, &machine_facts::sockets})
    if (of.*field <= 0) of.*field = by.*field;
}

bool gave_a_result(const run_data& run, std::size_t node) {
  return std::any_of(run.providers.begin(), run.providers.end(),
                     [node](const provider_info& each) {
                       return node < each.answers.size() &&
                              each.answers[node].what != answer::missing &&
                              each.answers[node].what != answer::not_expected;
                     });
}

}  // namespace

std::vector<machine_facts> machines_in(const run_data& run) {
  std::vector<machine_facts> result(run.nodes.size());
  put_texts(result, run, "cpu.model", &machine_facts::processor);
  put_texts(result, run, "cpuinfo.model_name", &machine_facts::processor);
  put_texts(result, run, "kernel.machine", &machine_facts::architecture);
  put_texts(result, run, "dmi.product_name", &machine_facts::machine);
  put_numbers(result, run, "mem.total", &machine_facts::memory);
  put_numbers(result, run, "gpu.cards", &machine_facts::cards);
  put_numbers(result, run, "cpu.packages", &machine_facts::sockets);
  for (std::size_t i = 0; i < result.size() && i < run.machines.size(); ++i)
    complete(result[i], run.machines[i]);
  return result;
}

void complete(std::vector<machine_facts>& of,
              const std::vector<std::string>& nodes,
              const std::vector<machine_facts>& by,
              const std::vector<std::string>& by_nodes) {
  std::unordered_map<std::string_view, std::size_t> places;
  for (std::size_t i = 0; i < by_nodes.size() && i < by.size(); ++i)
    places.emplace(by_nodes[i], i);
  for (std::size_t i = 0; i < of.size() && i < nodes.size(); ++i)
    if (const auto found = places.find(nodes[i]); found != places.end())
      complete(of[i], by[found->second]);
}

machines_wanted wanted_of(const run_data& run,
                          const std::vector<machine_facts>& known) {
  machines_wanted result;
  for (std::size_t node = 0; node < known.size(); ++node) {
    const machine_facts& of = known[node];
    // A full run says both; who never collects the rest is not asked for it.
    const bool is_enough = !of.processor.empty() && of.memory > 0;
    if (is_enough || !gave_a_result(run, node)) continue;
    result.nodes.insert(run.nodes[node]);
    if (of.processor.empty())
      result.providers.insert(std::begin(processor_providers),
                              std::end(processor_providers));
    if (of.machine.empty()) result.providers.insert(machine_provider);
    if (of.memory <= 0) result.providers.insert(memory_provider);
    result.providers.insert(cards_provider);
  }
  return result;
}

}  // namespace zelk::check
