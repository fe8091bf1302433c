#include "src/check/input/fact_table.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <tuple>

#include "src/common/text/size_text.h"

namespace zelk::check {

namespace {

void append(std::vector<std::uint32_t>& to,
            const std::vector<std::uint32_t>& nodes) {
  to.insert(to.end(), nodes.begin(), nodes.end());
}

void sort_nodes(std::vector<std::uint32_t>& nodes) {
  std::sort(nodes.begin(), nodes.end());
  nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
}

}  // namespace

fact_table::fact_table(run_data& to, const table_limits& limits)
    : to_(to),
      limits_(limits),
      cells_left_(limits.cells),
      columns_left_(limits.columns) {
  to.values = facts::value_table(limits.value_bytes);
}

void fact_table::begin(const std::string& provider, const std::string& option) {
  provider_ = provider;
  option_ = option;
  readers_.clear();
  names_.clear();
  columns_.clear();
  said_.clear();
  unread_.clear();
  cut_.clear();
  silent_.clear();
  empty_ = telling_ = 0;
  facts_ = 0;
}

facts::output_series& fact_table::series(
    const std::shared_ptr<const facts::declaration>& by) {
  for (reader& each : readers_)
    if (each.by == by) return *each.series;
  reader& made = readers_.emplace_back();
  made.by = by;
  made.series =
      std::make_unique<facts::output_series>(by, to_.values, limits_.names);
  return *made.series;
}

fact_table::reader& fact_table::reader_of(const facts::output_series& series) {
  return *std::find_if(
      readers_.begin(), readers_.end(),
      [&](const reader& each) { return each.series.get() == &series; });
}

// no_value when there are too many names.
std::uint32_t fact_table::new_column(const reader& of,
                                     const facts::numbered_fact& fact,
                                     std::int32_t version) {
  const std::string& name = of.series->name(fact);
  const auto known = names_.find(name);
  if (known != names_.end()) return known->second;
  if (columns_.size() >= limits_.names) return no_value;
  const auto place = static_cast<std::uint32_t>(columns_.size());
  columns_.push_back({name, of.series->traits(fact), version, 0, 0});
  names_.emplace(name, place);
  return place;
}

std::uint32_t fact_table::column_of(reader& of,
                                    const facts::numbered_fact& fact,
                                    std::int32_t version) {
  if (fact.name >= of.columns.size())
    of.columns.resize(fact.name + 1, no_value);
  std::uint32_t& place = of.columns[fact.name];
  if (place == no_value) place = new_column(of, fact, version);
  if (place == no_value) return place;
  column& found = columns_[place];
  if (version > found.version) {
    found.version = version;
    found.traits = of.series->traits(fact);
  }
  return place;
}

void fact_table::add(const facts::output_series& from,
                     const facts::numbered_extraction& read,
                     std::int32_t version,
                     const std::vector<std::uint32_t>& nodes, bool is_blank) {
  const bool says_nothing = is_empty(read, is_blank);
  (says_nothing ? empty_ : telling_) += nodes.size();
  bool cut = facts_ + read.facts.size() > limits_.facts;
  if (!cut) {
    reader& by = reader_of(from);
    statement& all = said_.emplace_back();
    all.nodes = nodes;
    all.is_empty = says_nothing;
    all.facts.reserve(read.facts.size());
    for (const facts::numbered_fact& one : read.facts) {
      const std::uint32_t where = column_of(by, one, version);
      cut = cut || where == no_value;
      if (where == no_value) continue;
      columns_[where].nodes += nodes.size();
      all.facts.emplace_back(where, one.value);
    }
    facts_ += all.facts.size();
  }
  if (cut || read.cut) append(cut_, nodes);
  for (const facts::unread_fact& one : read.unread)
    add_unread(one.name, one.reason, nodes);
}

void fact_table::add_unread(const std::string& name, const std::string& reason,
                            const std::vector<std::uint32_t>& nodes) {
  const std::pair key(name, reason);
  const auto known = unread_.find(key);
  if (known != unread_.end())
    append(known->second, nodes);
  else if (unread_.size() < limits_.reasons)
    unread_.emplace(key, nodes);
  else
    append(silent_, nodes);
}

// The columns of most nodes, in order of their names.
std::vector<std::uint32_t> fact_table::kept_columns() {
  std::size_t most = std::max<std::size_t>(columns_left_ / 2, 1);
  most = std::min(most,
                  cells_left_ / 2 / std::max<std::size_t>(to_.nodes.size(), 1));
  std::vector<std::uint32_t> kept(columns_.size());
  std::iota(kept.begin(), kept.end(), 0U);
  std::erase_if(kept, [&](std::uint32_t i) { return columns_[i].nodes == 0; });
  const auto more_nodes = [&](std::uint32_t i, std::uint32_t j) {
    const column& a = columns_[i];
    const column& b = columns_[j];
    return a.nodes != b.nodes ? a.nodes > b.nodes : a.name < b.name;
  };
  std::sort(kept.begin(), kept.end(), more_nodes);
  if (kept.size() > most) kept.resize(most);
  return kept;
}

void fact_table::fill(const std::vector<std::uint32_t>& kept) {
  std::vector<bool> wanted(columns_.size());
  for (const std::uint32_t each : kept) {
    column& from = columns_[each];
    wanted[each] = true;
    from.place = to_.facts.size();
    to_.facts.push_back({std::move(from.name), provider_, option_,
                         std::move(from.traits),
                         node_values(to_.nodes.size(), from.nodes)});
  }
  for (const statement& all : said_) {
    bool cut = false;
    for (const auto& [where, value] : all.facts) {
      cut = cut || !wanted[where];
      if (!wanted[where]) continue;
      node_values& cells = to_.facts[columns_[where].place].values;
      for (const std::uint32_t node : all.nodes)
        cells.set(node, value);
    }
    if (cut) append(cut_, all.nodes);
  }
}

// Lists and counts have a value where nothing is listed, too.
bool fact_table::is_empty(const facts::numbered_extraction& read,
                          bool is_blank) const {
  if (read.what != facts::outcome::read) return false;
  const bool may_be = is_blank || read.facts.empty() || !read.unread.empty();
  return may_be && std::all_of(read.facts.begin(), read.facts.end(),
                               [&](const facts::numbered_fact& one) {
                                 return to_.values.number(one.value) == 0.0 ||
                                        to_.values.text(one.value).empty();
                               });
}

// To have nothing to tell is an answer too, unless most have something.
void fact_table::drop_empty() {
  if (empty_ == 0 || empty_ >= telling_) return;
  for (statement& each : said_) {
    if (!each.is_empty) continue;
    for (const auto& [where, value] : each.facts)
      columns_[where].nodes -= each.nodes.size();
    each.facts.clear();
    add_unread(facts::whole_output,
               "nothing is in it; most others have something in theirs",
               each.nodes);
  }
}

void fact_table::tell_left_out(std::size_t names) {
  if (!cut_.empty())
    unread_[{facts::whole_output,
             "more facts than can be held; " +
                 text::counted(static_cast<std::int64_t>(names), "name") +
                 " kept, those that most nodes have"}] = cut_;
  if (!silent_.empty())
    unread_[{facts::whole_output, "more facts that could not be read"}] =
        silent_;
  for (auto& [key, nodes] : unread_) {
    sort_nodes(nodes);
    to_.unread.push_back({provider_, key.first, key.second, std::move(nodes)});
  }
}

void fact_table::end() {
  drop_empty();
  const std::vector<std::uint32_t> kept = kept_columns();
  fill(kept);
  cells_left_ -= kept.size() * to_.nodes.size();
  columns_left_ -= std::min(columns_left_, kept.size());
  tell_left_out(kept.size());
  begin("", "");
}

void fact_table::finish() {
  to_.values.settle();
  std::sort(to_.facts.begin(), to_.facts.end(),
            [](const fact_column& a, const fact_column& b) {
              return std::tie(a.name, a.provider, a.option) <
                     std::tie(b.name, b.provider, b.option);
            });
  const auto key = [](const unread_fact& of) {
    return std::tie(of.provider, of.name, of.reason);
  };
  std::stable_sort(to_.unread.begin(), to_.unread.end(),
                   [&](const unread_fact& a, const unread_fact& b) {
                     return key(a) < key(b);
                   });
  // A provider's option sets are read one after the other.
  std::vector<unread_fact> merged;
  for (unread_fact& each : to_.unread) {
    if (merged.empty() || key(merged.back()) != key(each)) {
      merged.push_back(std::move(each));
      continue;
    }
    append(merged.back().nodes, each.nodes);
    sort_nodes(merged.back().nodes);
  }
  to_.unread = std::move(merged);
}

}  // namespace zelk::check
