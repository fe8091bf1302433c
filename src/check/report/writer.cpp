#include "src/check/report/writer.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <sstream>
#include <unordered_set>
#include <utility>

#include "src/check/report/ascii_text.h"
#include "src/check/report/forms.h"

namespace zelk::check {

namespace {

template <typename value, std::size_t n>
std::optional<value> find_word(
    const std::array<std::pair<std::string_view, value>, n>& table,
    std::string_view word) {
  for (const auto& [name, meaning] : table)
    if (name == word) return meaning;
  return {};
}

constexpr std::array<std::pair<std::string_view, report_form>, 11> form_words =
    {{{"text", report_form::text},
      {"plain", report_form::plain},
      {"json", report_form::json},
      {"jsonl", report_form::jsonl},
      {"csv", report_form::csv},
      {"junit", report_form::junit},
      {"sarif", report_form::sarif},
      {"nagios", report_form::nagios},
      {"prom", report_form::prom},
      {"nodes", report_form::nodes},
      {"md", report_form::md}}};

constexpr std::array<std::pair<std::string_view, report_form>, 9> form_endings =
    {{{"txt", report_form::text},
      {"tsv", report_form::plain},
      {"json", report_form::json},
      {"jsonl", report_form::jsonl},
      {"csv", report_form::csv},
      {"xml", report_form::junit},
      {"sarif", report_form::sarif},
      {"prom", report_form::prom},
      {"md", report_form::md}}};

constexpr std::array<std::pair<std::string_view, report_grouping>, 3>
    grouping_words = {{{"check", report_grouping::check},
                       {"node", report_grouping::node},
                       {"class", report_grouping::node_class}}};

constexpr std::array<std::pair<std::string_view, report_order>, 4> order_words =
    {{{"severity", report_order::severity},
      {"check", report_order::check},
      {"nodes", report_order::nodes},
      {"state", report_order::state}}};

bool is_shown(const finding& found, const report_options& options) {
  if (options.only_new && found.state != finding_state::fresh) return false;
  const severity least = options.form == report_form::nodes
                             ? severity::warning
                             : severity::informational;
  return found.level >= options.min_severity.value_or(least);
}

// New, then changed, then unchanged.
int rank_of(finding_state state) {
  switch (state) {
    case finding_state::fresh:
      return 0;
    case finding_state::changed:
      return 1;
    case finding_state::unchanged:
      return 2;
    case finding_state::fixed:
      return 3;
  }
  return 4;
}

// Whether `a` comes before `b`; what is alike stays as it was judged.
bool comes_before(const finding& a, const finding& b, report_order order) {
  switch (order) {
    case report_order::check:
      return a.check < b.check;
    case report_order::nodes:
      return a.nodes.size() > b.nodes.size();
    case report_order::state:
      return rank_of(a.state) < rank_of(b.state);
    case report_order::severity:
      break;
  }
  return a.score > b.score;
}

}  // namespace

std::optional<report_form> read_report_form(std::string_view word) {
  return find_word(form_words, word);
}

const std::vector<std::string>& report_form_words() {
  static const std::vector<std::string> words = [] {
    std::vector<std::string> all;
    std::transform(form_words.begin(), form_words.end(),
                   std::back_inserter(all),
                   [](const auto& entry) { return std::string(entry.first); });
    return all;
  }();
  return words;
}

std::optional<report_form> report_form_of_file(std::string_view path) {
  const std::size_t dot = path.find_last_of("./");
  if (dot == std::string_view::npos || path[dot] != '.') return {};
  return find_word(form_endings, path.substr(dot + 1));
}

std::optional<report_grouping> read_report_grouping(std::string_view word) {
  return find_word(grouping_words, word);
}

std::optional<report_order> read_report_order(std::string_view word) {
  return find_word(order_words, word);
}

std::vector<const finding*> shown_findings(const judgement& judged,
                                           const report_options& options) {
  std::vector<const finding*> shown;
  for (const finding& found : judged.findings)
    if (is_shown(found, options)) shown.push_back(&found);
  std::stable_sort(shown.begin(), shown.end(),
                   [&options](const finding* a, const finding* b) {
                     return comes_before(*a, *b, options.order);
                   });
  return shown;
}

std::size_t names_left_out(const judgement& judged,
                           const report_options& options) {
  std::unordered_set<std::string_view> names;
  for (const finding* found : shown_findings(judged, options))
    for (const std::string& name : found->nodes)
      if (!fits_a_command(name)) names.insert(name);
  return names.size();
}

namespace {

void write_form(const judgement& judged, const report_options& options,
                std::ostream& out) {
  switch (options.form) {
    case report_form::text:
      return write_text(judged, options, out);
    case report_form::plain:
      return write_plain(judged, options, out);
    case report_form::json:
      return write_json(judged, options, out);
    case report_form::jsonl:
      return write_json_lines(judged, options, out);
    case report_form::csv:
      return write_csv(judged, options, out);
    case report_form::junit:
      return write_junit(judged, options, out);
    case report_form::sarif:
      return write_sarif(judged, options, out);
    case report_form::nagios:
      return write_nagios(judged, options, out);
    case report_form::prom:
      return write_prom(judged, options, out);
    case report_form::nodes:
      return write_node_set(judged, options, out);
    case report_form::md:
      return write_markdown(judged, options, out);
  }
}

// A document for programs says by itself how its text is written.
bool is_document(report_form form) {
  return form == report_form::json || form == report_form::jsonl ||
         form == report_form::sarif || form == report_form::junit;
}

}  // namespace

void write_report(const judgement& judged, const report_options& options,
                  std::ostream& out) {
  const bool is_plain =
      options.ascii || (!options.utf8 && options.form == report_form::text);
  if (!is_plain || is_document(options.form))
    return write_form(judged, options, out);
  std::ostringstream text;
  write_form(judged, options, text);
  out << ascii_text(text.str());
}

}  // namespace zelk::check
