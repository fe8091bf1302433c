#include "src/check/report/coverage_lines.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string_view>
#include <tuple>
#include <unordered_set>
#include <utility>

#include "src/check/report/phrases.h"
#include "src/common/node/natural_order.h"
#include "src/common/text/size_text.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

constexpr std::size_t most_reason = 200;  // characters
constexpr std::size_t most_word = 60;
constexpr std::size_t most_fixed = 3;
constexpr std::size_t most_changes = 5;

std::string counted(std::size_t count, const char* what) {
  return text::counted(static_cast<std::int64_t>(count), what);
}

std::size_t count_of_state(const judgement& judged, finding_state state) {
  return static_cast<std::size_t>(
      std::count_if(judged.findings.begin(), judged.findings.end(),
                    [state](const finding& found) {
                      return found.state == state && !is_change(found);
                    }));
}

// " (gpu03 gpu-ecc)"
std::string fixed_text(const judgement& judged) {
  if (judged.fixed.empty()) return "";
  std::string text;
  for (std::size_t i = 0; i < std::min(judged.fixed.size(), most_fixed); ++i)
    text +=
        fmt::format("{}{} {}", i == 0 ? "" : "; ",
                    excerpt_of(node_set_text(judged.fixed[i].nodes), most_word),
                    excerpt_of(judged.fixed[i].check, most_word));
  if (judged.fixed.size() > most_fixed) text += "; ...";
  return " (" + text + ")";
}

void write_membership(const char* what, const std::vector<std::string>& nodes,
                      std::ostream& out) {
  if (nodes.empty()) return;
  out << fmt::format("   {} {}: {}\n", counted(nodes.size(), "node"), what,
                     node_set_text(nodes));
}

std::string change_text(const finding& found, const look& how) {
  const std::string of =
      excerpt_of(found.fact.empty() ? found.check : found.fact, most_word);
  const std::optional<std::string> change = common_change(found);
  const std::string how_it_changed =
      change ? *change : excerpt_of(found.message, most_reason);
  return fmt::format("{} changed {} {}", counted(found.nodes.size(), "node"),
                     how.painted(ink::strong, of), how_it_changed);
}

void write_changes(const judgement& judged, const report_options& options,
                   std::ostream& out) {
  std::vector<const finding*> changes;
  for (const finding* found : shown_findings(judged, options))
    if (is_change(*found)) changes.push_back(found);
  const std::size_t shown = options.limit_rows == 0
                                ? changes.size()
                                : std::min(changes.size(), most_changes);
  for (std::size_t i = 0; i < shown; ++i)
    out << "   " << change_text(*changes[i], {options.colour, options.utf8})
        << '\n';
  if (shown < changes.size())
    out << fmt::format("   and {}\n",
                       counted(changes.size() - shown, "other change"));
  if (changes.empty() ||
      2 * changes.front()->nodes.size() < judged.nodes.size())
    return;
  out << "   if that was intended, make this run the baseline:  zelk-db "
      << (options.same_datastore.empty() ? "" : options.same_datastore + " ")
      << "baseline set " << judged.run.number << '\n';
}

bool is_asked(const coverage_group& group) {
  return group.what != answer::not_applicable &&
         group.what != answer::not_expected;
}

// What a node does not have is not stale, however old its answer is.
bool is_stale(const coverage_group& group) {
  return group.stale && is_asked(group);
}

bool is_a_gap(const coverage_group& group) {
  return is_asked(group) && (group.stale || group.what != answer::ok);
}

// The check that tells of such gaps.
std::string_view check_of(const coverage_group& group) {
  return group.stale ? "stale" : name_of(group.what);
}

bool holds_all(const std::vector<std::string>& all,
               const std::vector<std::string>& some) {
  const std::unordered_set<std::string_view> known(all.begin(), all.end());
  return std::all_of(some.begin(), some.end(), [&](const std::string& each) {
    return known.contains(each);
  });
}

// A finding folds the providers that are missing on the same nodes: it names
// the first, and these are all of them.
bool is_told_by_a_finding(const judgement& judged,
                          const coverage_group& group) {
  return std::any_of(judged.findings.begin(), judged.findings.end(),
                     [&group](const finding& found) {
                       return is_gap(found) && found.check == check_of(group) &&
                              holds_all(found.nodes, group.nodes);
                     });
}

std::string name_of_provider(const std::string& provider,
                             const std::string& option) {
  return option.empty() ? provider : provider + " " + option;
}

report_row gap_row(std::string name, const std::vector<std::string>& nodes,
                   const std::string& provider, const std::string& reason) {
  report_row row;
  row.name = std::move(name);
  row.count = nodes.size();
  row.nodes = node_set_text(nodes);
  row.message = excerpt_of(provider, most_reason);
  if (!row.message.empty() && !reason.empty()) row.message += ": ";
  row.message += excerpt_of(reason, most_reason);
  return row;
}

std::vector<std::string> names_of(const judgement& judged,
                                  const std::vector<std::uint32_t>& nodes) {
  std::vector<std::string> names;
  for (const std::uint32_t index : nodes)
    if (index < judged.nodes.size()) names.push_back(judged.nodes[index].name);
  return names;
}

// Providers that gave nothing on the same nodes for the same reason are one
// row. Age is told once, whatever each would say of itself.
using gap_key = std::tuple<std::string, std::string, std::vector<std::string>>;

std::string providers_text(const std::vector<std::string>& providers) {
  constexpr std::size_t most = 3;
  std::string text;
  for (std::size_t i = 0; i < std::min(providers.size(), most); ++i)
    text += (i == 0 ? "" : ", ") + excerpt_of(providers[i], most_word);
  if (providers.size() > most)
    text += fmt::format(" and {} more", providers.size() - most);
  return text;
}

void add_gap_rows(const judgement& judged, std::vector<report_row>& rows) {
  std::vector<gap_key> order;
  std::map<gap_key, std::vector<std::string>> providers;
  for (const coverage_group& group : judged.coverage) {
    if (!is_a_gap(group) || is_told_by_a_finding(judged, group)) continue;
    gap_key key(group.stale ? "stale" : words_for(group.what),
                group.stale ? "" : group.reason, group.nodes);
    const auto [known, is_first] = providers.try_emplace(key);
    if (is_first) order.push_back(std::move(key));
    if (!group.provider.empty())
      known->second.push_back(name_of_provider(group.provider, group.option));
  }
  for (const gap_key& key : order) {
    const auto& [name, reason, nodes] = key;
    rows.push_back(
        gap_row(name, nodes, providers_text(providers[key]), reason));
  }
}

// Facts that the same nodes could not be read for the same reason are one row.
using unread_key =
    std::tuple<std::string, std::string, std::vector<std::uint32_t>>;

std::string unread_text(const std::string& provider,
                        const std::vector<std::string>& facts) {
  std::string text = provider + " " + facts.front();
  if (facts.size() > 1) text += fmt::format(" and {} more", facts.size() - 1);
  return text;
}

void add_unread_rows(const judgement& judged, std::vector<report_row>& rows) {
  std::vector<unread_key> order;
  std::map<unread_key, std::vector<std::string>> facts;
  for (const unread_fact& fact : judged.unread) {
    unread_key key(fact.provider, fact.reason, fact.nodes);
    std::vector<std::string>& known = facts[key];
    if (known.empty()) order.push_back(std::move(key));
    known.push_back(excerpt_of(fact.name, most_word));
  }
  for (const unread_key& key : order) {
    const auto& [provider, reason, nodes] = key;
    rows.push_back(gap_row(
        "not readable", names_of(judged, nodes),
        unread_text(excerpt_of(provider, most_word), facts[key]), reason));
  }
}

// Results came, and of none of them a fact.
void add_unknown_row(const judgement& judged, std::vector<report_row>& rows) {
  const std::vector<std::string> silent = silent_nodes(judged);
  const std::unordered_set<std::string_view> told(silent.begin(), silent.end());
  std::vector<std::string> nodes;
  for (const node_view& each : judged.nodes)
    if (each.what == verdict::unknown && !told.contains(each.name))
      nodes.push_back(each.name);
  if (!nodes.empty())
    rows.push_back(gap_row("unknown", nodes, "",
                           "nothing that came of them could be judged"));
}

report_row accepted_row(const finding& found) {
  return gap_row("accepted", found.nodes, found.check, acceptance_words(found));
}

}  // namespace

std::vector<std::string> silent_nodes(const judgement& judged) {
  std::vector<std::string> silent;
  for (const coverage_group& group : judged.coverage)
    if (group.what == answer::missing && !group.stale)
      silent.insert(silent.end(), group.nodes.begin(), group.nodes.end());
  node::sort_naturally(silent);
  return silent;
}

std::size_t count_of(const judgement& judged, answer what) {
  std::size_t count = 0;
  for (const coverage_group& group : judged.coverage)
    if (group.what == what && !group.stale) count += group.nodes.size();
  return count;
}

std::size_t stale_count(const judgement& judged) {
  std::size_t count = 0;
  for (const coverage_group& group : judged.coverage)
    if (is_stale(group)) count += group.nodes.size();
  return count;
}

void write_since_baseline(const judgement& judged,
                          const report_options& options, std::ostream& out) {
  if (!judged.baseline) {
    out << "Since the baseline:  nothing to compare with\n";
    return;
  }
  std::string line =
      fmt::format("Since the baseline:  {} new   {} unchanged   ",
                  count_of_state(judged, finding_state::fresh),
                  count_of_state(judged, finding_state::unchanged));
  const std::size_t changed = count_of_state(judged, finding_state::changed);
  if (changed > 0) line += fmt::format("{} changed   ", changed);
  line += fmt::format("{} fixed{}", judged.fixed.size(), fixed_text(judged));
  out << line << '\n';
  write_membership("joined", judged.joined, out);
  write_membership("left", judged.left, out);
  write_changes(judged, options, out);
}

std::string not_judged_text(const judgement& judged) {
  const run_info& run = judged.run;
  const std::size_t missing = run.results_expected > run.results
                                  ? run.results_expected - run.results
                                  : 0;
  const std::vector<std::string> silent = silent_nodes(judged);
  std::string line =
      fmt::format("{} of {} results missing", missing, run.results_expected);
  if (!silent.empty()) line += fmt::format(" ({})", node_set_text(silent));
  line += fmt::format(", {} timed out, {} failed, {} stale",
                      count_of(judged, answer::timed_out),
                      count_of(judged, answer::failed), stale_count(judged));
  for (const answer what : {answer::incomplete, answer::tool_missing,
                            answer::no_permission, answer::not_applicable}) {
    const std::size_t count = count_of(judged, what);
    if (count > 0) line += fmt::format(", {} {}", count, words_for(what));
  }
  return line;
}

std::vector<report_row> not_judged_rows(const judgement& judged) {
  std::vector<report_row> rows;
  add_unknown_row(judged, rows);
  add_gap_rows(judged, rows);
  add_unread_rows(judged, rows);
  for (const class_view& group : judged.classes)
    if (!group.comparable)
      rows.push_back(gap_row("not compared", group.nodes, "class " + group.name,
                             group.why_not));
  for (const finding& found : judged.accepted)
    rows.push_back(accepted_row(found));
  return rows;
}

}  // namespace zelk::check
