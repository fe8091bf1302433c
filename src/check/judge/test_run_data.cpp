#include "src/check/judge/test_run_data.h"

#include <algorithm>
#include <numeric>
#include <random>
#include <set>
#include <tuple>

#include "src/common/facts/fact.h"

namespace zelk::check {

fact_builder& fact_builder::all(const std::string& text) {
  const std::uint32_t value = run_->value(text, nullptr);
  column_.values.assign(run_->count_, value);
  return *this;
}

fact_builder& fact_builder::all(double number) {
  const std::uint32_t value = run_->value(facts::text_of(number), &number);
  column_.values.assign(run_->count_, value);
  return *this;
}

fact_builder& fact_builder::on(std::size_t node, const std::string& text) {
  column_.values.set(node - 1, run_->value(text, nullptr));
  return *this;
}

fact_builder& fact_builder::on(std::size_t node, double number) {
  column_.values.set(node - 1, run_->value(facts::text_of(number), &number));
  return *this;
}

fact_builder& fact_builder::none_on(std::size_t node) {
  column_.values.set(node - 1, no_value);
  return *this;
}

fact_builder& fact_builder::unit(const std::string& name) {
  column_.traits.unit = name;
  return *this;
}

fact_builder& fact_builder::better(facts::better direction) {
  column_.traits.direction = direction;
  return *this;
}

fact_builder& fact_builder::compare(facts::comparison how) {
  column_.traits.compare = how;
  return *this;
}

fact_builder& fact_builder::type(facts::value_type what) {
  column_.traits.type = what;
  return *this;
}

run_builder::run_builder(std::size_t count, std::int64_t usec)
    : count_(count), notes_(count) {
  info_.number = 1;
  info_.started_usec = usec;
  info_.ended_usec = usec;
  info_.state = "complete";
  for (std::size_t i = 1; i <= count; ++i)
    names_.push_back("n" + std::to_string(i));
}

std::uint32_t run_builder::value(const std::string& text,
                                 const double* number) {
  return number != nullptr ? values_.index_of(facts::fact_value(*number))
                           : values_.index_of_text(text);
}

fact_builder& run_builder::add(const std::string& provider,
                               const std::string& name, facts::comparison how,
                               facts::value_type type) {
  fact_builder& made = facts_.emplace_back();
  made.run_ = this;
  made.column_.name = name;
  made.column_.provider = provider;
  made.column_.traits.compare = how;
  made.column_.traits.type = type;
  made.column_.values.assign(count_, no_value);
  return made;
}

fact_builder& run_builder::text(const std::string& provider,
                                const std::string& name) {
  return add(provider, name, facts::comparison::equal, facts::value_type::text);
}

fact_builder& run_builder::number(const std::string& provider,
                                  const std::string& name) {
  return add(provider, name, facts::comparison::outlier,
             facts::value_type::number);
}

fact_builder& run_builder::counter(const std::string& provider,
                                   const std::string& name) {
  return add(provider, name, facts::comparison::counter,
             facts::value_type::integer)
      .better(facts::better::lower);
}

fact_builder& run_builder::list(const std::string& provider,
                                const std::string& name) {
  return add(provider, name, facts::comparison::equal, facts::value_type::list);
}

run_builder& run_builder::ended(const std::string& provider, std::size_t node,
                                answer what, const std::string& reason) {
  provider_answer given;
  given.what = what;
  given.reason = reason;
  answers_.push_back({provider, node, given});
  return *this;
}

run_builder& run_builder::silent(std::size_t node, const std::string& reason) {
  silent_[node - 1] = reason;
  return *this;
}

run_builder& run_builder::unread(const std::string& provider,
                                 const std::string& name, std::size_t node) {
  unread_.push_back(
      {provider, name, "not found", {static_cast<std::uint32_t>(node - 1)}});
  return *this;
}

run_builder& run_builder::notes(std::size_t node, const node_notes& what) {
  notes_.at(node - 1) = what;
  return *this;
}

run_builder& run_builder::rename(std::size_t node, const std::string& name) {
  names_.at(node - 1) = name;
  return *this;
}

run_builder& run_builder::numbered(std::int64_t number) {
  info_.number = number;
  return *this;
}

run_builder& run_builder::of_unknown_machines() {
  is_known_ = false;
  return *this;
}

void run_builder::put_machines(run_data& into) const {
  constexpr std::string_view telling[] = {"cpu.model", "cpuinfo.model_name",
                                          "kernel.machine", "dmi.product_name"};
  const bool is_told =
      std::any_of(facts_.begin(), facts_.end(), [&](const fact_builder& each) {
        return std::count(std::begin(telling), std::end(telling),
                          each.column_.name) != 0;
      });
  if (is_told || !is_known_) return;
  machine_facts alike;
  alike.processor = "one that all have";
  into.machines.assign(count_, alike);
}

run_data run_builder::data() const {
  run_data result;
  result.run = info_;
  put_machines(result);
  result.nodes = names_;
  result.notes = notes_;
  result.values = values_;
  result.unread = unread_;
  std::set<std::string> providers;
  for (const fact_builder& each : facts_) {
    result.facts.push_back(each.column_);
    providers.insert(each.column_.provider);
  }
  for (const made_answer& each : answers_)
    providers.insert(each.provider);
  std::sort(result.facts.begin(), result.facts.end(),
            [](const fact_column& a, const fact_column& b) {
              return std::tie(a.name, a.provider, a.option) <
                     std::tie(b.name, b.provider, b.option);
            });
  provider_answer good;
  good.what = answer::ok;
  good.ended_usec = info_.ended_usec;
  for (const std::string& name : providers) {
    provider_info info;
    info.name = name;
    info.versions = {1};
    info.answers.assign(count_, good);
    for (const made_answer& each : answers_)
      for (std::size_t node = 0; node < count_; ++node)
        if (each.provider == name &&
            (each.node == 0 || each.node == node + 1)) {
          info.answers[node] = each.given;
          info.answers[node].ended_usec = info_.ended_usec;
        }
    for (const auto& [node, reason] : silent_) {
      info.answers.at(node) = {};
      info.answers[node].what = answer::missing;
      info.answers[node].reason = reason;
    }
    result.providers.push_back(std::move(info));
  }
  for (fact_column& each : result.facts)
    for (const auto& [node, reason] : silent_)
      each.values.set(node, no_value);
  result.run.nodes_expected = count_;
  result.run.nodes = count_ - silent_.size();
  return result;
}

run_data run_builder::shuffled(unsigned seed) const {
  run_data result = data();
  std::mt19937 random(seed);
  std::vector<std::size_t> order(count_);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::shuffle(order.begin(), order.end(), random);
  const auto moved = [&order](const auto& list) {
    auto to = list;
    for (std::size_t i = 0; i < order.size(); ++i)
      to[i] = list[order[i]];
    return to;
  };
  result.nodes = moved(result.nodes);
  result.notes = moved(result.notes);
  for (provider_info& each : result.providers)
    each.answers = moved(each.answers);
  std::vector<std::uint32_t> old(result.values.size()), values(old.size());
  std::iota(old.begin(), old.end(), 0U);
  std::shuffle(old.begin(), old.end(), random);
  facts::value_table shuffled;
  for (const std::uint32_t each : old)
    values[each] = shuffled.index_of(result.values.at(each));
  result.values = std::move(shuffled);
  for (fact_column& each : result.facts) {
    node_values old_values = std::move(each.values);
    each.values = node_values(order.size(), order.size());
    for (std::size_t i = 0; i < order.size(); ++i)
      if (const std::uint32_t value = old_values[order[i]]; value != no_value)
        each.values.set(i, values[value]);
  }
  for (unread_fact& each : result.unread)
    for (std::uint32_t& node : each.nodes)
      node = static_cast<std::uint32_t>(
          std::find(order.begin(), order.end(), node) - order.begin());
  std::shuffle(result.providers.begin(), result.providers.end(), random);
  std::shuffle(result.facts.begin(), result.facts.end(), random);
  std::shuffle(result.unread.begin(), result.unread.end(), random);
  return result;
}

}  // namespace zelk::check
