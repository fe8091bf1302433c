#include "src/check/judge/fold_absences.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>
#include <utility>

namespace zelk::check {

namespace {

// A thing of a class: option set, name, class.
using thing = std::tuple<std::string_view, std::string_view, std::uint32_t>;

thing thing_in(const hit& what, std::string_view name) {
  return {what.column->fact->option, name, what.in_class};
}

std::string_view family_of(std::string_view fact) {
  return fact.substr(0, fact.find('.'));
}

bool is_lacked(const hit_part& part, const run_view& run) {
  const hit& what = *part.of;
  const bool fits = what.column != nullptr && what.what == shape::odd &&
                    !thing_of(what.column->fact->name).empty();
  return fits &&
         std::all_of(part.nodes.begin(), part.nodes.end(),
                     [&](std::uint32_t node) {
                       return run.value(*what.column, node) == absent_value;
                     });
}

bool is_count(double number) {
  constexpr double most = 4096;  // no node has more of anything
  return number >= 0 && number <= most && number == std::floor(number);
}

// Whether it counts things, and the nodes have less of them than their peers;
// or it says that they must have them.
bool is_less(const hit_part& part, const run_view& run) {
  const hit& what = *part.of;
  if (what.column == nullptr) return false;
  if (what.check->what.kind == rule::present) return true;
  const std::string& unit = what.column->fact->traits.unit;
  if (what.what != shape::odd || what.check->what.direction == side::high ||
      !(unit.empty() || unit == "count"))
    return false;
  const double number = run.number(run.value(*what.column, part.nodes.front()));
  const double peers = run.number(what.reference);
  return is_count(number) && is_count(peers) && number < peers;
}

bool is_among(const std::vector<std::uint32_t>& nodes,
              const std::vector<std::uint32_t>& all) {
  return std::includes(all.begin(), all.end(), nodes.begin(), nodes.end());
}

class folder {
 public:
  folder(std::vector<hit_group>& groups, const run_view& run)
      : groups_(groups), run_(run) {
    for (std::size_t i = 0; i < groups.size(); ++i)
      note(i);
  }

  void fold() {
    for (const auto& [what, all] : lacking_)
      fold(all);
    std::erase_if(groups_,
                  [](const hit_group& each) { return each.parts.empty(); });
  }

 private:
  struct place {
    std::size_t group;
    const hit_part* part;
  };

  void note(std::size_t group);
  void fold(const std::vector<place>& all);
  const place* counter_of(const place& follower) const;
  const place* leader_of(const std::vector<place>& all,
                         const place& follower) const;
  bool leads(const place& a, const place& b) const;

  std::vector<hit_group>& groups_;
  const run_view& run_;
  std::map<thing, std::vector<place>> lacking_;
  // By provider and by the first part of the fact's name.
  std::map<thing, std::vector<place>> less_;
};

void folder::note(std::size_t group) {
  if (groups_[group].is_mixed) return;
  for (const hit_part* part : groups_[group].parts)
    if (is_lacked(*part, run_)) {
      const hit& what = *part->of;
      lacking_[thing_in(what, thing_of(what.column->fact->name))].push_back(
          {group, part});
    } else if (is_less(*part, run_)) {
      const hit& what = *part->of;
      const fact_column& fact = *what.column->fact;
      less_[thing_in(what, fact.provider)].push_back({group, part});
      less_[thing_in(what, family_of(fact.name))].push_back({group, part});
    }
}

// What must be alike says more of a thing that is gone than a measurement.
bool folder::leads(const place& a, const place& b) const {
  const auto rank = [](const place& of) {
    const hit& what = *of.part->of;
    return std::make_tuple(what.check->what.kind == rule::peers, -what.score,
                           std::string_view(what.check->id), of.group);
  };
  return rank(a) < rank(b);
}

const folder::place* folder::leader_of(const std::vector<place>& all,
                                       const place& follower) const {
  const place* best = nullptr;
  for (const place& each : all)
    if (is_among(follower.part->nodes, groups_[each.group].nodes) &&
        (best == nullptr || leads(each, *best)))
      best = &each;
  return best;
}

// The finding that says how many are left.
const folder::place* folder::counter_of(const place& follower) const {
  const hit& what = *follower.part->of;
  const fact_column& fact = *what.column->fact;
  for (const std::string_view name :
       {family_of(fact.name), std::string_view(fact.provider)})
    if (const auto found = less_.find(thing_in(what, name));
        found != less_.end())
      if (const place* leader = leader_of(found->second, follower))
        return leader;
  return nullptr;
}

void folder::fold(const std::vector<place>& all) {
  for (const place& each : all) {
    if (each.part->accepted != not_accepted) continue;
    const place* leader = counter_of(each);
    if (leader == nullptr) leader = leader_of(all, each);
    if (leader == nullptr || leader->group == each.group) continue;
    std::erase(groups_[each.group].parts, each.part);
    groups_[leader->group].parts.push_back(each.part);
  }
}

}  // namespace

std::string_view thing_of(std::string_view fact) {
  constexpr std::string_view digits = "0123456789";
  const std::size_t digit = fact.find_first_of(digits);
  const std::size_t last = fact.rfind('.');
  if (last == fact.npos) return {};
  if (digit < last) return fact.substr(0, fact.find('.', digit));
  return fact.find('.') == last ? std::string_view() : fact.substr(0, last);
}

void fold_absences(std::vector<hit_group>& groups, const run_view& run) {
  folder(groups, run).fold();
}

}  // namespace zelk::check
