#include "test/synthetic/score.h"

#include <algorithm>
#include <set>

#include "src/check/judge/glob.h"

namespace zelk::synthetic {

namespace {

bool names(const std::vector<std::string>& nodes, const std::string& node) {
  return std::find(nodes.begin(), nodes.end(), node) != nodes.end();
}

bool told(const check::judgement& in, const expected& what,
          const std::string& node) {
  if (!what.answer) return false;
  return std::any_of(in.coverage.begin(), in.coverage.end(),
                     [&](const check::coverage_group& each) {
                       return each.what == *what.answer &&
                              each.provider == what.provider &&
                              names(each.nodes, node);
                     });
}

class scorer {
 public:
  scorer(const check::judgement& of, const cluster& in,
         const std::vector<planted>& faults)
      : of_(of), in_(in), faults_(faults) {}

  score make();

 private:
  static bool of_few(const planted& each);
  fault_score score_of_fault(const planted& fault) const;
  bool is_said(const expected& what, const std::string& node) const;
  bool is_explained(const check::finding& each) const;
  void look_for_wrong(const check::finding& each);
  void note(const check::finding& each, const std::string& node);
  void look_at_small_class();

  const check::judgement& of_;
  const cluster& in_;
  const std::vector<planted>& faults_;
  std::set<std::size_t> ill_;
  score made_;
};

score scorer::make() {
  for (const planted& each : faults_) {
    if (of_few(each)) ill_.insert(each.nodes.begin(), each.nodes.end());
  }
  for (const planted& each : faults_)
    made_.faults.push_back(score_of_fault(each));
  made_.healthy = in_.machines().size() - ill_.size();
  for (const check::finding& each : of_.findings)
    look_for_wrong(each);
  look_at_small_class();
  return std::move(made_);
}

bool scorer::of_few(const planted& each) {
  return each.what->reach == spread::one || each.what->reach == spread::two;
}

fault_score scorer::score_of_fault(const planted& fault) const {
  fault_score made;
  made.what = fault.what;
  for (const check::finding& each : of_.findings)
    made.findings += says(each, fault.what->say) ? 1U : 0U;
  for (const std::size_t node : fault.nodes) {
    // What all have may be hidden by what one has besides: it may be silent.
    if (!of_few(fault) && ill_.contains(node)) continue;
    ++made.planted;
    const std::string& name = in_.machines()[node].name;
    if (is_said(fault.what->say, name))
      ++made.found;
    else
      made.missed.push_back(name);
  }
  return made;
}

bool scorer::is_said(const expected& what, const std::string& node) const {
  if (told(of_, what, node)) return true;
  return std::any_of(of_.findings.begin(), of_.findings.end(),
                     [&](const check::finding& each) {
                       return says(each, what) && names(each.nodes, node);
                     });
}

bool scorer::is_explained(const check::finding& each) const {
  return std::any_of(faults_.begin(), faults_.end(), [&](const planted& by) {
    if (of_few(by)) return false;
    expected any_level = by.what->say;
    any_level.least = check::severity::informational;
    return says(each, any_level) ||
           (by.what->booted_hours_ago != 0 && each.provider == "boot_uptime");
  });
}

void scorer::look_for_wrong(const check::finding& each) {
  if (is_explained(each)) return;
  std::vector<std::string> wronged;
  for (const std::string& node : each.nodes) {
    const auto is_it = [&](const machine& one) { return one.name == node; };
    const auto found =
        std::find_if(in_.machines().begin(), in_.machines().end(), is_it);
    const auto number =
        static_cast<std::size_t>(found - in_.machines().begin());
    if (!ill_.contains(number)) wronged.push_back(node);
  }
  if (each.nodes.empty()) wronged.emplace_back();
  if (wronged.empty()) return;
  if (each.level == check::severity::informational) wronged.resize(1);
  for (const std::string& node : wronged)
    note(each, node);
}

void scorer::note(const check::finding& each, const std::string& node) {
  auto& list = each.level == check::severity::informational
                   ? made_.wrong_informational
                   : made_.wrong;
  list.push_back({node, each.check, each.fact, each.message, each.level});
}

void scorer::look_at_small_class() {
  const std::string& member =
      in_.machines()[in_.members_of("fat").front()].name;
  for (const check::class_view& each : of_.classes) {
    if (names(each.nodes, member))
      made_.small_class_said = !each.comparable && !each.why_not.empty();
  }
}

}  // namespace

bool says(const check::finding& each, const expected& what) {
  if (static_cast<int>(each.level) < static_cast<int>(what.least)) return false;
  return check::matches_any(what.checks, each.check) ||
         (!each.fact.empty() && check::matches_any(what.facts, each.fact));
}

score score_of(const check::judgement& of, const cluster& in,
               const std::vector<planted>& faults) {
  return scorer(of, in, faults).make();
}

}  // namespace zelk::synthetic
