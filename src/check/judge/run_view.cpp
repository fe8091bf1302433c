// An absence says something only about a node whose provider told all it had to
// tell. So each answer has a worth: whole (status 0), part (83, "incomplete":
// what is there is right) or nothing. Nothing is ever taken for fine.

#include "src/check/judge/run_view.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <map>

#include "src/check/judge/glob.h"

namespace zelk::check {

namespace {

// "net.{1}.mtu" stands for any name of that form.
std::string pattern_of(const std::string& declared) {
  std::string result;
  bool inside = false;
  for (const char c : declared) {
    if (c == '{') result += '*';
    inside = inside ? c != '}' : c == '{';
    if (!inside && c != '}') result += c;
  }
  return result;
}

bool before(const column_view& a, const column_view& b) {
  if (a.fact->name != b.fact->name) return a.fact->name < b.fact->name;
  if (a.fact->provider != b.fact->provider)
    return a.fact->provider < b.fact->provider;
  return a.fact->option < b.fact->option;
}

bool is_answered(answer what) {
  return what != answer::missing && what != answer::not_expected;
}

}  // namespace

run_view::run_view(const run_data& data, std::int64_t oldest_usec)
    : data_(data) {
  rate_answers(oldest_usec);
  add_columns();
  add_applies();
  add_pivots();
  std::sort(columns_.begin(), columns_.end(), before);
  note_unread();
  note_unreadable();
}

// How much later than the run, or before it if negative, a result is dated.
// Results come from the node's clock and runs from that of the machine that
// collects.
std::int64_t run_view::outside_of_run(std::int64_t ended_usec) const {
  constexpr std::int64_t allowed = std::int64_t{3600} * 1'000'000;
  const run_info& run = data_.run;
  if (ended_usec == 0 || run.started_usec == 0) return 0;
  if (ended_usec < run.started_usec - allowed)
    return ended_usec - run.started_usec;
  if (run.ended_usec != 0 && ended_usec > run.ended_usec + allowed)
    return ended_usec - run.ended_usec;
  return 0;
}

// A clock that is far off says nothing about the age.
bool run_view::is_old(const provider_answer& given,
                      std::int64_t oldest_usec) const {
  if (given.ended_usec == 0) return false;
  const bool is_dated = outside_of_run(given.ended_usec) == 0;
  return (is_dated ? given.ended_usec : data_.run.started_usec) < oldest_usec;
}

void run_view::rate_answers(std::int64_t oldest_usec) {
  const std::size_t count = nodes();
  expected_.assign(count, 0);
  misdated_.assign(count, 0);
  std::vector<std::uint8_t> answered(count, 0);
  for (const provider_info& provider : data_.providers) {
    auto& worths = worth_.emplace_back(count, worth::nothing);
    auto& stale = stale_.emplace_back(count, std::uint8_t{0});
    for (std::size_t node = 0; node < count; ++node) {
      if (node >= provider.answers.size()) continue;
      const provider_answer& given = provider.answers[node];
      if (given.what != answer::not_expected) expected_[node] = 1;
      if (!is_answered(given.what)) continue;
      answered[node] = 1;
      const std::int64_t outside = outside_of_run(given.ended_usec);
      if (std::abs(outside) > std::abs(misdated_[node]))
        misdated_[node] = outside;
      if (is_old(given, oldest_usec))
        stale[node] = 1;
      else if (given.what == answer::ok)
        worths[node] = worth::whole;
      else if (given.what == answer::incomplete)
        worths[node] = worth::part;
    }
  }
  silent_.assign(count, 0);
  for (std::size_t node = 0; node < count; ++node)
    silent_[node] = expected_[node] != 0 && answered[node] == 0;
}

double run_view::number(std::uint32_t value) const {
  if (value >= data_.values.size()) return not_a_number;
  const double number = data_.values.number(value).value_or(not_a_number);
  return std::isfinite(number) ? number : not_a_number;
}

std::uint32_t run_view::provider_of(const fact_column& column) const {
  for (std::size_t i = 0; i < data_.providers.size(); ++i)
    if (data_.providers[i].name == column.provider &&
        data_.providers[i].option == column.option)
      return static_cast<std::uint32_t>(i);
  return no_provider;
}

void run_view::add_columns() {
  columns_.reserve(data_.facts.size());
  for (const fact_column& fact : data_.facts)
    columns_.push_back({&fact, provider_of(fact), {}, true});
}

std::uint32_t run_view::made_value(const std::string& text) {
  for (std::size_t i = 0; i < made_text_.size(); ++i)
    if (made_text_[i] == text)
      return static_cast<std::uint32_t>(data_.values.size() + i);
  made_text_.push_back(text);
  return static_cast<std::uint32_t>(value_count() - 1);
}

// Only where nodes disagree: elsewhere it would be a column of nothing new.
void run_view::add_applies() {
  for (std::size_t i = 0; i < data_.providers.size(); ++i) {
    const provider_info& provider = data_.providers[i];
    bool some = false, others = false;
    for (const provider_answer& each : provider.answers)
      (each.what == answer::not_applicable ? some : others) |=
          each.what == answer::not_applicable || each.what == answer::ok ||
          each.what == answer::incomplete;
    if (!some || !others) continue;
    fact_column& column = made_.emplace_back();
    column.name = std::string(applies_prefix) + provider.name;
    column.provider = provider.name;
    column.option = provider.option;
    column.values.assign(nodes(), no_value);
    for (std::size_t node = 0; node < nodes(); ++node) {
      if (node >= provider.answers.size() || is_stale(i, node)) continue;
      const answer what = provider.answers[node].what;
      if (what == answer::not_applicable)
        column.values.set(node, made_value(applies_no));
      else if (what == answer::ok || what == answer::incomplete)
        column.values.set(node, made_value("yes"));
    }
    columns_.push_back({&column, static_cast<std::uint32_t>(i), {}, false});
  }
}

// "node.n7.bandwidth", told by whichever node led n7's group, is a fact of n7.
void run_view::add_pivots() {
  std::unordered_map<std::string_view, std::size_t> numbers;
  for (std::size_t node = 0; node < nodes(); ++node)
    numbers.emplace(data_.nodes[node], node);
  std::map<std::string, fact_column*> pivots;
  constexpr std::string_view head = "node.";
  for (const fact_column& fact : data_.facts) {
    const std::string_view name = fact.name;
    const std::size_t dot = name.rfind('.');
    if (!name.starts_with(head) || dot < head.size()) continue;
    const auto about =
        numbers.find(name.substr(head.size(), dot - head.size()));
    if (about == numbers.end()) continue;
    const auto told = std::ranges::find_if(
        fact.values, [](std::uint32_t each) { return each != no_value; });
    if (told == fact.values.end()) continue;
    const std::string pivot_name = "node.*" + std::string(name.substr(dot));
    fact_column*& pivot =
        pivots[pivot_name + '\n' + fact.provider + '\n' + fact.option];
    if (pivot == nullptr) {
      pivot = &made_.emplace_back();
      pivot->name = pivot_name;
      pivot->provider = fact.provider;
      pivot->option = fact.option;
      pivot->traits = fact.traits;
      pivot->values.assign(nodes(), no_value);
      columns_.push_back({pivot, provider_of(fact), {}, false});
    }
    pivot->values.set(about->second, *told);
  }
}

void run_view::note_unread() {
  for (const unread_fact& unread : data_.unread) {
    const std::string pattern =
        unread.name == facts::whole_output ? "*" : pattern_of(unread.name);
    const bool exact = !is_pattern(pattern);
    auto from = columns_.begin(), until = columns_.end();
    if (exact) {
      from = std::lower_bound(from, until, pattern,
                              [](const column_view& each, const auto& name) {
                                return each.fact->name < name;
                              });
      until = std::find_if(from, until, [&](const column_view& each) {
        return each.fact->name != pattern;
      });
    }
    for (; from != until; ++from)
      if (from->fact->provider == unread.provider &&
          matches(pattern, from->fact->name))
        from->unread.insert(from->unread.end(), unread.nodes.begin(),
                            unread.nodes.end());
  }
  for (column_view& column : columns_)
    std::sort(column.unread.begin(), column.unread.end());
}

void run_view::note_unreadable(std::uint32_t provider, const unread_fact& why) {
  std::vector<const column_view*> said;
  for (const column_view& each : columns_)
    if (each.provider == provider && each.absence_counts) said.push_back(&each);
  auto& of = unreadable_[provider];
  for (const std::uint32_t node : why.nodes) {
    if (node >= nodes() || worth_[provider][node] == worth::nothing) continue;
    const auto is_said = [&](const column_view* column) {
      const node_values& values = column->fact->values;
      return node < values.size() && values[node] != no_value;
    };
    if (std::any_of(said.begin(), said.end(), is_said)) continue;
    if (of.empty()) of.resize(nodes());
    of[node] = &why;
  }
}

// A reason that is about a whole output may still leave some of its facts.
void run_view::note_unreadable() {
  unreadable_.resize(data_.providers.size());
  for (const unread_fact& why : data_.unread) {
    if (why.name != facts::whole_output) continue;
    for (std::uint32_t i = 0; i < data_.providers.size(); ++i)
      if (data_.providers[i].name == why.provider) note_unreadable(i, why);
  }
}

std::uint32_t run_view::value(const column_view& column,
                              std::size_t node) const {
  const std::uint32_t found =
      node < column.fact->values.size() ? column.fact->values[node] : no_value;
  if (column.provider == no_provider) return found;
  // What is not a provider's own word has no answer of this node behind it.
  if (!column.absence_counts) return found;
  const worth given = worth_[column.provider][node];
  if (given == worth::nothing) return unknown_value;
  if (found != no_value) return found;
  if (given == worth::part) return unknown_value;
  return std::binary_search(column.unread.begin(), column.unread.end(),
                            static_cast<std::uint32_t>(node))
             ? unknown_value
             : absent_value;
}

std::string run_view::text(std::uint32_t value) const {
  if (value < data_.values.size()) return data_.values.text(value);
  const std::size_t made = value - data_.values.size();
  return made < made_text_.size() ? made_text_[made] : "";
}

const column_view* run_view::find(std::string_view name) const {
  const auto place =
      std::lower_bound(columns_.begin(), columns_.end(), name,
                       [](const column_view& each, std::string_view wanted) {
                         return each.fact->name < wanted;
                       });
  return place != columns_.end() && place->fact->name == name ? &*place
                                                              : nullptr;
}

}  // namespace zelk::check
