#include "test/synthetic/faults.h"

#include <algorithm>
#include <map>

namespace zelk::synthetic {

namespace {

// The machines of a class in an order of chance, and how many may be ill.
struct ward {
  std::vector<std::size_t> free;
  std::size_t beds = 0;
};

constexpr double most_ill = 0.4;  // of a class: its usual state stays visible

std::map<std::string, ward> wards_of(const cluster& in, chance luck) {
  std::map<std::string, ward> wards;
  for (std::size_t i = 0; i < in.machines().size(); ++i)
    wards[in.class_of(i).name].free.push_back(i);
  for (auto& [name, each] : wards) {
    each.beds = static_cast<std::size_t>(most_ill *
                                         static_cast<double>(each.free.size()));
    std::sort(each.free.begin(), each.free.end(),
              [&](std::size_t a, std::size_t b) {
                return luck.at(a).bits() < luck.at(b).bits();
              });
  }
  return wards;
}

bool is_fit(const cluster& in, const fault& what, std::size_t node) {
  return !what.leads_group || in.leads_group(node);
}

// As many as the fault takes, or none.
std::vector<std::size_t> taken_from(const cluster& in, const fault& what,
                                    ward& from) {
  const std::size_t count = what.reach == spread::two ? 2 : 1;
  std::vector<std::size_t> taken;
  for (const std::size_t node : from.free) {
    if (taken.size() < count && is_fit(in, what, node)) taken.push_back(node);
  }
  if (from.beds < count || taken.size() < count) return {};
  from.beds -= count;
  std::erase_if(from.free, [&](std::size_t node) {
    return std::find(taken.begin(), taken.end(), node) != taken.end();
  });
  std::sort(taken.begin(), taken.end());
  return taken;
}

std::vector<std::size_t> some_of(const cluster& in, const fault& what,
                                 std::map<std::string, ward>& wards) {
  for (const std::string& name : what.classes) {
    auto taken = taken_from(in, what, wards[name]);
    if (!taken.empty()) return taken;
  }
  return {};
}

std::vector<std::size_t> many_of(const cluster& in, const fault& what) {
  std::vector<std::size_t> nodes;
  if (what.reach == spread::half_class) {
    const auto members = in.members_of(what.classes.front());
    for (std::size_t i = 0; i < members.size(); i += 2)
      nodes.push_back(members[i]);
    return nodes;
  }
  for (std::size_t i = 0; i < in.machines().size(); ++i) {
    if (in.class_of(i).words.contains("compute")) nodes.push_back(i);
  }
  return nodes;
}

}  // namespace

const std::vector<fault>& all_faults() {
  static const std::vector<fault> all = [] {
    std::vector<fault> made;
    for (const auto& list : {hardware_faults(), link_faults(), speed_faults(),
                             system_faults(), state_faults(), silence_faults()})
      made.insert(made.end(), list.begin(), list.end());
    return made;
  }();
  return all;
}

bool planted::on(std::size_t node) const {
  return std::binary_search(nodes.begin(), nodes.end(), node);
}

std::vector<planted> plant(const cluster& in,
                           const std::vector<const fault*>& wanted,
                           chance luck) {
  std::map<std::string, ward> wards = wards_of(in, luck);
  std::vector<planted> made;
  for (const fault* each : wanted) {
    const bool few = each->reach == spread::one || each->reach == spread::two;
    auto nodes = few ? some_of(in, *each, wards) : many_of(in, *each);
    if (!nodes.empty()) made.push_back({each, std::move(nodes)});
  }
  // A machine that is silent says nothing of what all of them have.
  std::stable_partition(made.begin(), made.end(), [](const planted& each) {
    return each.what->reach == spread::half_class ||
           each.what->reach == spread::all_compute;
  });
  return made;
}

std::vector<answer> answers_of(const cluster& in,
                               const std::vector<planted>& faults,
                               std::size_t node, std::uint64_t run,
                               bool last_run) {
  std::vector<const planted*> here;
  moment when = in.at(node, run);
  for (const planted& each : faults) {
    const bool begun = last_run || each.what->since == onset::before;
    if (!begun || !each.on(node)) continue;
    here.push_back(&each);
    if (each.what->booted_hours_ago != 0)
      when.booted = when.now - each.what->booted_hours_ago * 3600LL;
  }
  std::vector<answer> answers = in.ask_all(node, when);
  for (const planted* each : here) {
    patient ill(in, node, when, each->nodes, answers);
    each->what->plant(ill);
  }
  return answers;
}

}  // namespace zelk::synthetic
