// A value is told once: when two checks look at one fact, each node is left to
// the one with the higher score.

#include "src/check/judge/find_hits.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "src/check/judge/built_in_checks.h"
#include "src/check/judge/comparison.h"
#include "src/check/judge/glob.h"

namespace zelk::check {

hit comparison::made(const check_definition& check, shape what,
                     std::uint32_t in_class) const {
  hit result;
  result.check = &check;
  result.score = check.score;
  result.what = what;
  result.column = &column;
  result.provider = column.provider;
  result.in_class = in_class;
  return result;
}

namespace {

class column_judge {
 public:
  column_judge(const run_view& run, const classes& groups, const run_pair* pair,
               const troubled& before, check_plan& plan,
               const judge_options& options)
      : run_(run),
        groups_(groups),
        pair_(pair),
        before_(before),
        plan_(plan),
        options_(options),
        values_(run, groups),
        claimed_(run.nodes(), 0) {}

  found_hits judge_all() {
    found_.seen.all = plan_.has_all();
    found_.seen.answers = plan_.tells_of_answers();
    if (!found_.seen.all) found_.seen.columns.assign(run_.columns().size(), 0);
    for (const column_view& column : run_.columns())
      judge(column);
    drop_not_agreed();
    judge_wanted();
    find_untold(run_, plan_, options_, found_.seen);
    return std::move(found_);
  }

 private:
  void judge(const column_view& column);
  void note_seen(const column_view& column, const column_checks& checks);
  void apply(const comparison& of, const check_definition& check);
  void apply_generic(const comparison& of);
  void drop_claimed(const column_view& column);
  void drop_not_agreed();
  void judge_wanted();
  void note_shown(const column_view& column, const column_checks& checks);
  void note_distribution(const column_view& column, const class_values& of);

  const run_view& run_;
  const classes& groups_;
  const run_pair* pair_;
  const troubled& before_;
  check_plan& plan_;
  const judge_options& options_;
  column_values values_;
  std::vector<hit> hits_;              // of the column in hand
  std::vector<std::uint8_t> claimed_;  // by node: how it is told
  // Of checks that want several facts to agree: how many facts they look at.
  std::map<const check_definition*, std::size_t> facts_of_;
  found_hits found_;
};

// Of a node, in the column in hand. What is said of a group blames nobody, so
// that a node may be blamed for the same value by another check.
constexpr std::uint8_t told_of_group = 1;
constexpr std::uint8_t told = 2;

bool is_numeric(const column_view& column) {
  return column.fact->traits.compare == facts::comparison::outlier;
}

void column_judge::apply(const comparison& of, const check_definition& check) {
  switch (check.what.kind) {
    case rule::differs:
      return find_differing(of, check, hits_);
    case rule::peers:
      find_outliers(of, check, hits_);
      return find_lacking(of, check, hits_);
    case rule::range:
      return find_out_of_range(of, check, hits_);
    case rule::value:
      return find_bad_values(of, check, hits_);
    case rule::unique:
      return find_not_unique(of, check, hits_);
    case rule::changed:
      return find_changed(of, check, hits_);
    case rule::growth:
      return find_grown(of, check, hits_);
    case rule::present:
      return find_not_present(of, check, hits_);
    case rule::absent:
      return find_present(of, check, hits_);
    case rule::none:
      return;
  }
}

void column_judge::apply_generic(const comparison& of) {
  const fact_column& fact = *of.column.fact;
  const auto generic = [&](const char* ending) {
    return plan_.generic(fact.provider, ending);
  };
  const facts::comparison declared = fact.traits.compare;
  if (declared == facts::comparison::unstable) return;
  if (declared == facts::comparison::state) {
    if (const auto* check = generic(generic::state))
      find_bad_states(of, *check, hits_);
    return;
  }
  if (const auto* check = generic(generic::differs)) {
    if (declared == facts::comparison::equal)
      find_differing(of, *check, hits_);
    else if (declared == facts::comparison::outlier ||
             declared == facts::comparison::counter)
      find_lacking(of, *check, hits_);
  }
  if (declared == facts::comparison::outlier)
    if (const auto* check = generic(generic::outlier))
      find_outliers(of, *check, hits_);
  if (declared == facts::comparison::unique)
    if (const auto* check = generic(generic::not_unique))
      find_not_unique(of, *check, hits_);
  if (declared == facts::comparison::counter &&
      fact.traits.direction == facts::better::lower)
    if (const auto* check = generic(generic::grew))
      find_grown(of, *check, hits_);
}

// A node that was odd in the baseline and is not now has changed back; that is
// told as a trouble that is gone.
void column_judge::drop_claimed(const column_view& column) {
  const std::vector<std::uint32_t>* odd_before = nullptr;
  if (pair_ != nullptr) {
    const auto found = before_.find(pair_->before_of(column));
    if (found != before_.end()) odd_before = &found->second;
  }
  std::stable_sort(hits_.begin(), hits_.end(), [](const hit& a, const hit& b) {
    return a.score > b.score;
  });
  std::vector<std::uint32_t> marked;
  for (hit& each : hits_) {
    if (each.what == shape::everywhere) continue;
    const bool is_change = each.what == shape::changed;
    std::erase_if(each.nodes, [&](std::uint32_t node) {
      return claimed_[node] == told ||
             (is_change && claimed_[node] == told_of_group) ||
             (is_change && odd_before != nullptr &&
              std::binary_search(odd_before->begin(), odd_before->end(), node));
    });
    // One rule may find a node twice, in two of its hits.
    for (const std::uint32_t node : each.nodes)
      claimed_[node] =
          std::max(claimed_[node], each.blames_nobody ? told_of_group : told);
    marked.insert(marked.end(), each.nodes.begin(), each.nodes.end());
  }
  for (const std::uint32_t node : marked)
    claimed_[node] = 0;
  for (hit& each : hits_)
    if (!each.nodes.empty()) found_.hits.push_back(std::move(each));
}

// Whether somebody who asked for a few checks asked for one of this fact.
void column_judge::note_seen(const column_view& column,
                             const column_checks& checks) {
  if (found_.seen.all) return;
  bool is_seen = !checks.named.empty();
  for (const char* ending :
       {generic::differs, generic::outlier, generic::not_unique, generic::grew,
        generic::state})
    is_seen = is_seen ||
              (checks.generic && plan_.generic(column.fact->provider, ending));
  is_seen = is_seen || (checks.generic_change &&
                        plan_.generic(column.fact->provider, generic::changed));
  found_.seen
      .columns[static_cast<std::size_t>(&column - run_.columns().data())] =
      is_seen;
}

void column_judge::judge(const column_view& column) {
  const column_checks checks = plan_.for_column(column);
  note_seen(column, checks);
  const bool is_idle = checks.named.empty() && column.fact->traits.compare ==
                                                   facts::comparison::unstable;
  if (is_idle) return;
  hits_.clear();
  values_.take(column);
  const comparison of{run_, groups_, options_, pair_, column, values_};
  for (const check_definition* check : checks.named) {
    if (check->what.min_facts > 1) ++facts_of_[check];
    apply(of, *check);
  }
  if (checks.generic) apply_generic(of);
  const bool is_setting =
      column.fact->traits.compare == facts::comparison::equal;
  if (is_setting && checks.generic_change)
    if (const auto* check =
            plan_.generic(column.fact->provider, generic::changed))
      find_changed(of, *check, hits_);
  drop_claimed(column);
  note_shown(column, checks);
}

void column_judge::note_distribution(const column_view& column,
                                     const class_values& of) {
  std::vector<double> ascending;
  for (const node_entry& each : of.entries)
    if (const double number = run_.number(each.value); !std::isnan(number))
      ascending.push_back(number);
  if (ascending.size() < 2) return;
  std::sort(ascending.begin(), ascending.end());
  const double middle = std::abs(median_of(ascending));
  const double width = ascending.back() - ascending.front();
  shown_column shown{&column, of.number, false, 0, 0};
  shown.weight = middle > 0 ? width / middle : width;
  for (auto each = found_.hits.rbegin();
       each != found_.hits.rend() && each->column == &column; ++each)
    shown.is_odd = shown.is_odd || each->in_class == of.number ||
                   each->in_class == no_class;
  found_.distributions.push_back(shown);
}

void column_judge::note_shown(const column_view& column,
                              const column_checks& checks) {
  const bool has_peers = std::any_of(
      checks.named.begin(), checks.named.end(),
      [](const auto* each) { return each->what.kind == rule::peers; });
  const bool is_setting =
      column.fact->traits.compare == facts::comparison::equal && !has_peers;
  if (is_setting && values_.is_equal_everywhere()) ++found_.equal_facts;
  for (const class_values& each : values_.by_class()) {
    if (each.counted.size() < 2) continue;
    if (has_peers || is_numeric(column))
      note_distribution(column, each);
    else if (is_setting && !is_identity(each))
      found_.differences.push_back(
          {&column, each.number, false, 0,
           each.entries.size() - each.counted.front().nodes});
  }
}

// Now and then a measurement is disturbed; hardly ever are several of a node in
// the same direction.
void column_judge::drop_not_agreed() {
  const auto wants = [this](const hit& each) -> std::size_t {
    if (each.what != shape::outlier || facts_of_.count(each.check) == 0)
      return 1;
    return std::min(each.check->what.min_facts, facts_of_[each.check]);
  };
  std::map<std::pair<const check_definition*, std::uint32_t>, std::size_t>
      agreed;
  for (const hit& each : found_.hits)
    if (wants(each) > 1)
      for (const std::uint32_t node : each.nodes)
        ++agreed[{each.check, node}];
  for (hit& each : found_.hits)
    if (const std::size_t wanted = wants(each); wanted > 1)
      std::erase_if(each.nodes, [&](std::uint32_t node) {
        return agreed[{each.check, node}] < wanted;
      });
  std::erase_if(found_.hits,
                [](const hit& each) { return each.nodes.empty(); });
}

// A fact that no node has is in no column. It is missed on the nodes whose
// provider answered.
void column_judge::judge_wanted() {
  for (const check_definition* check : plan_.wanted())
    for (const std::string& name : check->facts) {
      if (is_pattern(name) || run_.find(name) != nullptr) continue;
      hit found;
      found.check = check;
      found.score = check->score;
      found.what = shape::against;
      found.note = name + " must be there";
      for (std::uint32_t i = 0; i < run_.data().providers.size(); ++i) {
        const provider_info& provider = run_.data().providers[i];
        if (provider.name != check->what.provider) continue;
        found.provider = i;
        for (std::uint32_t node = 0; node < run_.nodes(); ++node)
          if (node < provider.answers.size() && !run_.is_stale(i, node) &&
              provider.answers[node].what == answer::ok)
            found.nodes.push_back(node);
      }
      std::sort(found.nodes.begin(), found.nodes.end());
      found.nodes.erase(std::unique(found.nodes.begin(), found.nodes.end()),
                        found.nodes.end());
      if (!found.nodes.empty()) found_.hits.push_back(std::move(found));
    }
}

}  // namespace

found_hits find_hits(const run_view& run, const classes& groups,
                     const run_pair* pair, const troubled& before,
                     check_plan& plan, const judge_options& options) {
  return column_judge(run, groups, pair, before, plan, options).judge_all();
}

}  // namespace zelk::check
