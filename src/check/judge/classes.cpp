// The sizes of a node fall with faults: a memory module, a card or a socket is
// lost. Were a class made of every size, the node with 15 of 16 modules would
// be the only one of its class, and healthy. Hence:
//
//  - Nodes are first parted by what no fault changes: processor model, machine,
//    role. A value that is not known fits the largest group of those that agree
//    in the rest, and a machine that is alone with its name fits the others
//    with its processors: a replaced board has a blank name.
//  - Within such a group, the nodes are parted by size: memory in steps of more
//    than 3 %, number of graphics cards, of sockets. A part with at least
//    min_peers nodes and a tenth of the group is a class; so is a smaller one
//    that has more memory (by a quarter) or more cards than the largest part.
//    All others belong to the part that is nearest to them.

#include "src/check/judge/classes.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

namespace zelk::check {

namespace {

constexpr double memory_step = 1.03;  // reserved memory differs by less
constexpr double more_memory = 1.25;
constexpr std::size_t one_in = 10;  // of a group: the least part of its own

struct size_key {
  double memory = 0;  // the step's largest, KiB; 0: not known
  double cards = 0;
  double sockets = 0;

  auto tied() const { return std::tie(memory, cards, sockets); }
  bool operator<(const size_key& other) const { return tied() < other.tied(); }
  bool operator==(const size_key& other) const {
    return tied() == other.tied();
  }
};

// What of a node no fault changes. "" is not known.
struct kind_key {
  std::string processor, machine, role;

  auto tied() const { return std::tie(processor, machine, role); }
  bool operator<(const kind_key& other) const { return tied() < other.tied(); }
};

using members = std::vector<std::uint32_t>;

class class_finder {
 public:
  class_finder(const run_view& run, const std::vector<machine_facts>& machines,
               const judge_options& options)
      : run_(run), machines_(machines), options_(options) {}

  std::vector<node_class> find();
  members unknown() const { return unknown_; }

 private:
  kind_key kind_of(std::uint32_t node) const;
  std::map<kind_key, members> kinds(const members& nodes) const;
  void leave_out_unknown(std::map<kind_key, members>& kinds);
  void join_incomplete(std::map<kind_key, members>& kinds) const;
  void part_by_size(const kind_key& kind, const members& nodes);
  std::map<size_key, members> sizes(const members& nodes) const;
  bool is_own_class(const size_key& key, std::size_t count,
                    const size_key& main, std::size_t all) const;
  void by_hand_or_note(members& rest);
  void add(std::string name,
           std::vector<std::pair<std::string, std::string>> key, members nodes);
  std::string note_of(std::uint32_t node) const;

  const run_view& run_;
  const std::vector<machine_facts>& machines_;
  const judge_options& options_;
  std::vector<node_class> found_;
  members unknown_;
};

kind_key class_finder::kind_of(std::uint32_t node) const {
  const machine_facts& known = machines_[node];
  kind_key result;
  result.processor =
      known.processor.empty() ? known.architecture : known.processor;
  result.machine = known.machine;
  if (node < run_.data().notes.size())
    result.role = run_.data().notes[node].role;
  return result;
}

std::map<kind_key, members> class_finder::kinds(const members& nodes) const {
  std::map<kind_key, members> result;
  for (const std::uint32_t node : nodes)
    result[kind_of(node)].push_back(node);
  return result;
}

// Whether a node of `key` may be of kind `other`, but for its machine's name.
bool fits(const kind_key& key, const kind_key& other) {
  return key.role == other.role &&
         (key.processor.empty() || key.processor == other.processor);
}

void class_finder::join_incomplete(std::map<kind_key, members>& kinds) const {
  const std::map<kind_key, members> before = kinds;
  for (const auto& [key, nodes] : before) {
    const bool is_vague = key.processor.empty() || key.machine.empty();
    if (!is_vague && nodes.size() > 1) continue;
    const kind_key* best = nullptr;
    for (const auto& [other, peers] : before) {
      if (&other == &key || other.processor.empty() || !fits(key, other))
        continue;
      if (peers.size() < options_.min_peers || peers.size() <= nodes.size())
        continue;
      if (best == nullptr || peers.size() > before.at(*best).size())
        best = &other;
    }
    if (best == nullptr) continue;
    members& to = kinds[*best];
    to.insert(to.end(), nodes.begin(), nodes.end());
    std::sort(to.begin(), to.end());
    kinds.erase(key);
  }
}

std::map<size_key, members> class_finder::sizes(const members& nodes) const {
  std::vector<std::pair<double, std::uint32_t>> by_memory;
  for (const std::uint32_t node : nodes)
    by_memory.emplace_back(machines_[node].memory, node);
  std::sort(by_memory.begin(), by_memory.end(), std::greater<>());
  std::map<size_key, members> result;
  double step = 0, last = 0;
  for (const auto& [memory, node] : by_memory) {
    if (last == 0 || memory * memory_step < last) step = memory;
    last = memory;
    result[{step, machines_[node].cards, machines_[node].sockets}].push_back(
        node);
  }
  for (auto& [key, list] : result)
    std::sort(list.begin(), list.end());
  return result;
}

bool class_finder::is_own_class(const size_key& key, std::size_t count,
                                const size_key& main, std::size_t all) const {
  if (key == main) return true;
  // What is not known is not a size.
  if (key.memory == 0) return false;
  if (count >= options_.min_peers && count * one_in >= all) return true;
  return (main.memory > 0 && key.memory >= main.memory * more_memory) ||
         (key.cards > main.cards && key.memory >= main.memory);
}

// How far apart two sizes are: whole cards and sockets weigh more than memory.
double distance(const size_key& a, const size_key& b) {
  double result = std::abs(a.cards - b.cards) + std::abs(a.sockets - b.sockets);
  if (a.memory > 0 && b.memory > 0)
    result += std::abs(std::log(a.memory / b.memory));
  return result;
}

std::string in_gib(double kib) {
  return std::to_string(std::llround(kib / (1024.0 * 1024.0))) + " GiB";
}

std::vector<std::pair<std::string, std::string>> key_of(const kind_key& kind,
                                                        const size_key& size) {
  std::vector<std::pair<std::string, std::string>> key;
  if (!kind.role.empty()) key.emplace_back("role", kind.role);
  if (!kind.processor.empty()) key.emplace_back("processor", kind.processor);
  if (size.sockets > 0)
    key.emplace_back("sockets", std::to_string(std::llround(size.sockets)));
  if (!kind.machine.empty()) key.emplace_back("machine", kind.machine);
  if (size.memory > 0) key.emplace_back("memory", in_gib(size.memory));
  if (size.cards > 0)
    key.emplace_back("graphics cards",
                     std::to_string(std::llround(size.cards)));
  return key;
}

void class_finder::part_by_size(const kind_key& kind, const members& nodes) {
  const std::map<size_key, members> parts = sizes(nodes);
  const auto largest = std::max_element(
      parts.begin(), parts.end(), [](const auto& a, const auto& b) {
        return std::make_pair(a.second.size(), a.first) <
               std::make_pair(b.second.size(), b.first);
      });
  std::map<size_key, members> result;
  for (const auto& [key, list] : parts)
    if (is_own_class(key, list.size(), largest->first, nodes.size()))
      result[key] = list;
  for (const auto& [key, list] : parts) {
    if (result.count(key) != 0) continue;
    const size_key* nearest = &largest->first;
    for (const auto& [own, own_list] : parts)
      if (is_own_class(own, own_list.size(), largest->first, nodes.size()) &&
          distance(key, own) < distance(key, *nearest))
        nearest = &own;
    members& to = result[*nearest];
    to.insert(to.end(), list.begin(), list.end());
  }
  for (auto& [key, list] : result)
    add("", key_of(kind, key), std::move(list));
}

void class_finder::add(std::string name,
                       std::vector<std::pair<std::string, std::string>> key,
                       members nodes) {
  node_class made;
  made.name = std::move(name);
  made.is_lettered = made.name.empty();
  made.key = std::move(key);
  made.identity = made.name;
  for (const auto& [fact, value] : made.key)
    made.identity.append("\n").append(fact).append("=").append(value);
  made.nodes = std::move(nodes);
  std::sort(made.nodes.begin(), made.nodes.end());
  found_.push_back(std::move(made));
}

std::string class_finder::note_of(std::uint32_t node) const {
  if (node >= run_.data().notes.size()) return "";
  const node_notes& notes = run_.data().notes[node];
  switch (options_.by) {
    case peers_by::role:
      return notes.role;
    case peers_by::subcluster:
      return notes.subcluster;
    case peers_by::all:
      return "all";
    case peers_by::class_:
    case peers_by::none:
      break;
  }
  return notes.class_name;
}

// Takes the nodes out of `rest` that a person has put into a class.
void class_finder::by_hand_or_note(members& rest) {
  const bool only_notes = options_.by != peers_by::class_;
  std::map<std::string, members> noted;
  members left;
  for (const std::uint32_t node : rest) {
    const std::string note = note_of(node);
    if (note.empty() && !only_notes)
      left.push_back(node);
    else
      noted[note.empty() ? std::string("no ") + name_of(options_.by) : note]
          .push_back(node);
  }
  for (auto& [name, nodes] : noted)
    add(name, {}, std::move(nodes));
  rest = std::move(left);
}

// Were they put with the most of the others, a healthy node of another kind
// would be called a broken one.
void class_finder::leave_out_unknown(std::map<kind_key, members>& kinds) {
  const auto is_unknown = [](const auto& each) {
    return each.first.processor.empty() && each.first.machine.empty();
  };
  const auto large =
      std::count_if(kinds.begin(), kinds.end(), [&](const auto& each) {
        return !is_unknown(each) && each.second.size() >= options_.min_peers;
      });
  if (large == 1) return;
  for (const auto& each : kinds)
    if (is_unknown(each))
      unknown_.insert(unknown_.end(), each.second.begin(), each.second.end());
  std::sort(unknown_.begin(), unknown_.end());
  std::erase_if(kinds, is_unknown);
}

std::vector<node_class> class_finder::find() {
  members rest;
  for (std::uint32_t node = 0; node < run_.nodes(); ++node)
    if (!run_.is_silent(node) && run_.is_expected(node)) rest.push_back(node);
  by_hand_or_note(rest);
  std::map<kind_key, members> by_kind = kinds(rest);
  leave_out_unknown(by_kind);
  join_incomplete(by_kind);
  for (const auto& [kind, nodes] : by_kind)
    part_by_size(kind, nodes);
  std::stable_sort(found_.begin(), found_.end(),
                   [](const node_class& a, const node_class& b) {
                     if (a.nodes.size() != b.nodes.size())
                       return a.nodes.size() > b.nodes.size();
                     return a.nodes.front() < b.nodes.front();
                   });
  return std::move(found_);
}

bool has_name(const std::vector<node_class>& list, const std::string& name) {
  return std::any_of(list.begin(), list.end(),
                     [&name](const auto& each) { return each.name == name; });
}

// The class that was the same one: of the same identity, else that of most of
// its nodes, most of which are in it now.
const node_class* same_before(const node_class& of, const classes& groups,
                              std::uint32_t number,
                              const known_classes& before) {
  for (const node_class& each : before.list.list)
    if (each.identity == of.identity) return &each;
  for (const node_class& each : before.list.list) {
    const auto kept = static_cast<std::size_t>(
        std::count_if(each.nodes.begin(), each.nodes.end(), [&](auto node) {
          const std::uint32_t here = before.place_here[node];
          return here != no_value && groups.of[here] == number;
        }));
    if (each.is_lettered && kept * 2 > of.nodes.size() &&
        kept * 2 > each.nodes.size())
      return &each;
  }
  return nullptr;
}

// So that "class B" means the same from run to run.
void keep_letters(classes& groups, const known_classes& before) {
  for (std::uint32_t i = 0; i < groups.list.size(); ++i) {
    node_class& each = groups.list[i];
    if (!each.is_lettered) continue;
    const node_class* same = same_before(each, groups, i, before);
    if (same != nullptr && !has_name(groups.list, same->name))
      each.name = same->name;
  }
}

// Classes that have no name yet get letters that nobody gave by hand, and that
// did not mean another one before.
void name_classes(classes& groups, const known_classes* before) {
  if (before != nullptr) keep_letters(groups, *before);
  std::size_t next = 0;
  for (node_class& each : groups.list) {
    if (!each.name.empty()) continue;
    std::string name;
    do {
      name = class_letters(next++);
    } while (has_name(groups.list, name) ||
             (before != nullptr && has_name(before->list.list, name)));
    each.name = name;
  }
}

}  // namespace

std::string class_letters(std::size_t number) {
  std::string result;
  for (std::size_t left = number + 1; left > 0; left = (left - 1) / 26)
    result.insert(result.begin(),
                  static_cast<char>('A' + static_cast<int>((left - 1) % 26)));
  return result;
}

std::string classes::word(std::uint32_t number) const {
  if (number >= list.size() || list.size() == 1) return "";
  return "class " + list[number].name + " ";
}

classes find_classes(const run_view& run,
                     const std::vector<machine_facts>& machines,
                     const known_classes* before,
                     const judge_options& options) {
  classes result;
  result.of.assign(run.nodes(), no_class);
  if (options.by == peers_by::none) return result;
  class_finder finder(run, machines, options);
  result.list = finder.find();
  result.unknown = finder.unknown();
  for (std::uint32_t i = 0; i < result.list.size(); ++i)
    for (const std::uint32_t node : result.list[i].nodes)
      result.of[node] = i;
  name_classes(result, before);
  return result;
}

}  // namespace zelk::check
