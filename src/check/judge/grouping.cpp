#include "src/check/judge/grouping.h"

#include <algorithm>
#include <map>
#include <string>
#include <tuple>

#include "src/check/judge/glob.h"

namespace zelk::check {

namespace {

// Of one check, class and state; what is over is one group. Whoever has two
// hundred nodes with two hundred sets of packages wants to read it once.
constexpr std::size_t most_groups = 12;

std::string option_of(const hit& what) {
  return what.column != nullptr ? what.column->fact->option : std::string();
}

using list = std::vector<std::uint32_t>;

// What all parts of a group have in common, but for their nodes.
using kind = std::tuple<std::string, std::string, std::uint32_t, std::uint32_t,
                        bool, shape, std::string, bool>;

kind kind_of(const hit_part& part) {
  const hit& what = *part.of;
  const bool is_silence =
      what.what == shape::answer && what.provider == no_provider;
  return {what.check->id,
          option_of(what),
          what.in_class,
          part.accepted,
          part.known,
          what.what,
          what.what == shape::answer
              ? (is_silence ? "all\n" : "some\n") + what.note
              : std::string(),
          what.blames_nobody};
}

// Where the check names the fact.
std::size_t place_of(const hit& what) {
  if (what.column == nullptr) return what.provider;
  const auto& facts = what.check->facts;
  return static_cast<std::size_t>(
      std::find_if(facts.begin(), facts.end(),
                   [&](const std::string& each) {
                     return matches(each, what.column->fact->name);
                   }) -
      facts.begin());
}

// By the check's order of facts. Columns are in order of their names already.
void put_in_order(std::vector<const hit_part*>& parts) {
  std::stable_sort(parts.begin(), parts.end(),
                   [](const hit_part* a, const hit_part* b) {
                     return place_of(*a->of) < place_of(*b->of);
                   });
}

std::vector<hit_group> by_nodes(const std::vector<const hit_part*>& parts) {
  std::map<list, hit_group> found;
  for (const hit_part* part : parts)
    found[part->nodes].parts.push_back(part);
  std::vector<hit_group> result;
  for (auto& [nodes, group] : found) {
    group.nodes = nodes;
    result.push_back(std::move(group));
  }
  return result;
}

bool share_a_node(const list& a, const list& b) {
  auto left = a.begin();
  auto right = b.begin();
  while (left != a.end() && right != b.end()) {
    if (*left == *right) return true;
    *left < *right ? ++left : ++right;
  }
  return false;
}

// Each node is told with the first fact that it is odd in; other facts that
// show the same follow.
std::vector<hit_group> by_first_fact(
    const std::vector<const hit_part*>& parts) {
  std::vector<hit_group> result;
  list told;
  for (const hit_part* part : parts) {
    hit_group group;
    std::set_difference(part->nodes.begin(), part->nodes.end(), told.begin(),
                        told.end(), std::back_inserter(group.nodes));
    if (group.nodes.empty()) continue;
    list both;
    std::set_union(told.begin(), told.end(), group.nodes.begin(),
                   group.nodes.end(), std::back_inserter(both));
    told = std::move(both);
    group.parts.push_back(part);
    for (const hit_part* other : parts)
      if (other != part && share_a_node(other->nodes, group.nodes))
        group.parts.push_back(other);
    result.push_back(std::move(group));
  }
  return result;
}

hit_group merged(std::vector<hit_group>::iterator first,
                 std::vector<hit_group>::iterator end) {
  hit_group result;
  result.is_mixed = true;
  for (; first != end; ++first) {
    result.nodes.insert(result.nodes.end(), first->nodes.begin(),
                        first->nodes.end());
    result.parts.insert(result.parts.end(), first->parts.begin(),
                        first->parts.end());
  }
  std::sort(result.nodes.begin(), result.nodes.end());
  result.nodes.erase(std::unique(result.nodes.begin(), result.nodes.end()),
                     result.nodes.end());
  return result;
}

void limit_groups(std::vector<hit_group>& groups) {
  if (groups.size() <= most_groups) return;
  std::stable_sort(groups.begin(), groups.end(),
                   [](const hit_group& a, const hit_group& b) {
                     return a.nodes.size() > b.nodes.size();
                   });
  const auto rest =
      groups.begin() + static_cast<std::ptrdiff_t>(most_groups - 1);
  hit_group last = merged(rest, groups.end());
  groups.erase(rest, groups.end());
  groups.push_back(std::move(last));
}

}  // namespace

std::vector<hit_group> group_hits(const std::vector<hit_part>& parts) {
  std::map<kind, std::vector<const hit_part*>> kinds;
  for (const hit_part& part : parts)
    kinds[kind_of(part)].push_back(&part);
  std::vector<hit_group> result;
  for (auto& [key, list] : kinds) {
    put_in_order(list);
    const shape what = std::get<shape>(key);
    const bool is_led = what == shape::outlier || what == shape::everywhere;
    std::vector<hit_group> groups =
        is_led ? by_first_fact(list) : by_nodes(list);
    limit_groups(groups);
    std::move(groups.begin(), groups.end(), std::back_inserter(result));
  }
  return result;
}

}  // namespace zelk::check
