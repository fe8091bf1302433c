#include "src/check/report/folded_findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

#include "src/check/report/display.h"
#include "src/check/report/phrases.h"
#include "src/common/node/natural_order.h"

namespace zelk::check {

namespace {

constexpr std::size_t most_words = 200;  // characters
constexpr std::size_t most_value = 24;

// The one value that all its nodes have; null when they differ.
const node_value* common_value(const finding& found) {
  if (found.values.empty()) return nullptr;
  const node_value& first = found.values.front();
  const bool alike =
      std::all_of(found.values.begin(), found.values.end(),
                  [&](const auto& each) { return each.value == first.value; });
  return alike && !first.value.empty() ? &first : nullptr;
}

// The message without the fact's name, which the check's says in a way, and
// without what else there is to it.
std::string short_message(const finding& found) {
  std::string text = found.message.empty() ? found.title : found.message;
  if (!found.fact.empty() && text.starts_with(found.fact + ": "))
    text.erase(0, found.fact.size() + 2);
  return text.substr(0, text.find(" (also "));
}

void sort_and_unite(std::vector<std::string>& nodes) {
  node::sort_naturally(nodes);
  nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
}

}  // namespace

std::string brief_words(const finding& found) {
  const node_value* value = common_value(found);
  if (value == nullptr || found.reference.empty())
    return excerpt_of(short_message(found), most_words);
  const std::string what = excerpt_of(value->value, most_value);
  const std::string reference = excerpt_of(found.reference, most_words);
  if (found.peers == 0) return what + ", " + reference;
  const std::string by =
      value->delta_percent && found.values.size() == 1
          ? fmt::format(" ({:+.3g} %)", *value->delta_percent)
          : "";
  return what + by + ", peers have " + reference;
}

std::string counted_nodes(const std::vector<std::string>& nodes,
                          std::size_t most) {
  const std::string text = node_set_text(nodes);
  std::string counted =
      nodes.size() == 1 ? text : fmt::format("{} ({})", text, nodes.size());
  if (nodes.size() == 1 || display_width(counted) <= most) return counted;
  return fmt::format("{} nodes", nodes.size());
}

std::vector<folded_finding> folded_findings(const judgement& judged,
                                            const report_options& options) {
  std::vector<folded_finding> folded;
  std::map<std::pair<std::string, severity>, std::size_t> known;
  for (const finding* found : shown_findings(judged, options)) {
    if (is_change(*found)) continue;
    const auto [at, is_first] =
        known.try_emplace({found->check, found->level}, folded.size());
    if (is_first)
      folded.push_back({excerpt_of(found->check, most_words),
                        found->level,
                        {},
                        brief_words(*found),
                        0,
                        false});
    folded_finding& to = folded[at->second];
    to.nodes.insert(to.nodes.end(), found->nodes.begin(), found->nodes.end());
    to.is_new = to.is_new || found->state == finding_state::fresh;
    ++to.findings;
  }
  for (folded_finding& each : folded) {
    sort_and_unite(each.nodes);
    if (each.findings > 1)
      each.brief = fmt::format("{} findings: ", each.findings) + each.brief;
  }
  std::stable_sort(folded.begin(), folded.end(),
                   [&](const folded_finding& a, const folded_finding& b) {
                     return options.order == report_order::severity &&
                            a.level > b.level;
                   });
  return folded;
}

}  // namespace zelk::check
