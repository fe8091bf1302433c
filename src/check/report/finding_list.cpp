#include "src/check/report/finding_list.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>

#include "src/check/report/phrases.h"
#include "src/common/str/str.h"
#include "src/common/text/size_text.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

using finding_pointers = std::vector<const finding*>;

constexpr std::size_t most_message = 400;  // characters
constexpr std::size_t most_name = 60;

std::string message_of(const judgement& judged, const finding& found) {
  const std::string message = excerpt_of(
      found.message.empty() ? found.title : found.message, most_message);
  const std::string since = since_text(judged, found);
  return since.empty() ? message : message + " (" + since + ")";
}

report_row row_of(const judgement& judged, const finding& found,
                  const report_options& options) {
  const look how = {options.colour, options.utf8};
  report_row row;
  row.colour = ink_of(found.level);
  row.mark = how.mark(found.level);
  row.name = excerpt_of(found.check, most_name);
  row.count = found.nodes.size();
  row.nodes = node_set_text(found.nodes);
  row.message = message_of(judged, found);
  row.state = state_text(judged, found);
  if (!found.advice.empty() && found.level != severity::informational)
    row.more = {"try: " + excerpt_of(advice_text(found.advice.front(), options),
                                     most_message)};
  return row;
}

// Adds one, or counts it when there are enough. What to try is said once a
// check: the same words under twenty findings push the twenty-first out.
void add_row(row_section& section, report_row row, std::size_t limit) {
  if (limit != 0 && section.rows.size() >= limit) {
    ++section.left_out;
    return;
  }
  if (!section.told.insert(row.name).second) row.more.clear();
  section.rows.push_back(std::move(row));
}

const char* head_of(severity level) {
  switch (level) {
    case severity::critical:
      return "CRITICAL";
    case severity::warning:
      return "WARNING";
    case severity::informational:
      return "INFORMATIONAL";
  }
  return "";
}

std::vector<row_section> by_check(const judgement& judged,
                                  const finding_pointers& shown,
                                  const report_options& options) {
  std::vector<row_section> sections;
  for (const severity level :
       {severity::critical, severity::warning, severity::informational}) {
    row_section section{ink_of(level), head_of(level), {}, 0, {}};
    for (const finding* found : shown)
      if (found->level == level)
        add_row(section, row_of(judged, *found, options), options.limit_rows);
    if (!section.rows.empty()) sections.push_back(std::move(section));
  }
  return sections;
}

std::string class_head(const class_view& group) {
  std::string head = fmt::format(
      "CLASS {} ({})", text::visible_text(group.name),
      text::counted(static_cast<std::int64_t>(group.nodes.size()), "node"));
  if (!group.comparable)
    head += ", not compared: " + text::visible_text(group.why_not);
  return head;
}

row_section section_of(const judgement& judged, const finding_pointers& shown,
                       std::string head, const std::string& class_name,
                       const report_options& options) {
  row_section section{ink::strong, std::move(head), {}, 0, {}};
  for (const finding* found : shown)
    if (found->class_name == class_name)
      add_row(section, row_of(judged, *found, options), options.limit_rows);
  return section;
}

// Those that no class has to do with come first.
std::vector<row_section> by_class(const judgement& judged,
                                  const finding_pointers& shown,
                                  const report_options& options) {
  std::vector<row_section> sections = {
      section_of(judged, shown, "ALL CLASSES", "", options)};
  for (const class_view& group : judged.classes)
    if (!group.name.empty())
      sections.push_back(
          section_of(judged, shown, class_head(group), group.name, options));
  std::erase_if(sections,
                [](const row_section& each) { return each.rows.empty(); });
  return sections;
}

// Nodes that have the same findings, in the order of their first.
struct node_group {
  std::vector<std::size_t> findings;  // into those shown
  std::vector<std::string> nodes;
};

std::vector<node_group> like_nodes(const judgement& judged,
                                   const finding_pointers& shown) {
  std::unordered_map<std::string, std::vector<std::size_t>> of_node;
  for (std::size_t i = 0; i < shown.size(); ++i)
    for (const std::string& node : shown[i]->nodes)
      of_node[node].push_back(i);
  std::map<std::vector<std::size_t>, std::vector<std::string>> groups;
  for (const node_view& node : judged.nodes) {
    const auto found = of_node.find(node.name);
    if (found != of_node.end()) groups[found->second].push_back(node.name);
  }
  std::vector<node_group> result;
  result.reserve(groups.size());
  for (auto& [findings, nodes] : groups)
    result.push_back({findings, std::move(nodes)});
  return result;
}

// The first row tells the nodes, those below it what else they have.
std::vector<row_section> by_node(const judgement& judged,
                                 const finding_pointers& shown,
                                 const report_options& options) {
  row_section section{ink::strong, "NODES", {}, 0, {}};
  std::size_t groups = 0;
  for (const node_group& group : like_nodes(judged, shown)) {
    if (options.limit_rows != 0 && ++groups > options.limit_rows) {
      ++section.left_out;
      continue;
    }
    bool first = true;
    for (const std::size_t index : group.findings) {
      report_row row = row_of(judged, *shown[index], options);
      row.nodes = std::exchange(first, false) ? node_set_text(group.nodes) : "";
      row.count = row.nodes.empty() ? 0 : group.nodes.size();
      row.more.clear();
      section.rows.push_back(std::move(row));
    }
  }
  if (section.rows.empty()) return {};
  return {section};
}

}  // namespace

std::string advice_text(const std::string& advice,
                        const report_options& options) {
  std::string result = advice;
  if (!options.same_run.empty())
    result = str::replace(result, "zelk-check --",
                          "zelk-check " + options.same_run + " --");
  if (!options.same_datastore.empty())
    result = str::replace(result, "zelk-db accept ",
                          "zelk-db accept " + options.same_datastore + " ");
  return result;
}

std::string state_text(const judgement& judged, const finding& found) {
  return judged.baseline ? name_of(found.state) : "";
}

std::string since_text(const judgement& judged, const finding& found) {
  if (!found.since || found.since->number == judged.run.number) return "";
  return "since " + text::local_time(found.since->started_usec).substr(0, 10);
}

std::vector<row_section> finding_sections(const judgement& judged,
                                          const report_options& options) {
  finding_pointers shown = shown_findings(judged, options);
  std::erase_if(shown, [](const finding* found) { return is_change(*found); });
  switch (options.group_by) {
    case report_grouping::node:
      return by_node(judged, shown, options);
    case report_grouping::node_class:
      return by_class(judged, shown, options);
    case report_grouping::check:
      break;
  }
  return by_check(judged, shown, options);
}

}  // namespace zelk::check
