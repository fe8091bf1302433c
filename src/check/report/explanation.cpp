// --explain and --list: what a check means, how it is computed, and where it is
// seen.

#include <fmt/format.h>

#include <algorithm>

#include "src/check/judge/definitions.h"
#include "src/check/report/display.h"
#include "src/check/report/phrases.h"
#include "src/check/report/rule_words.h"
#include "src/check/report/writer.h"
#include "src/common/str/str.h"
#include "src/common/text/text_table.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

constexpr std::size_t label_columns = 12;
constexpr std::size_t most_seen = 12;  // nodes
constexpr std::size_t most_text = 400;

usual_limits limits_of(const judgement* judged) {
  if (judged == nullptr) return {};
  return {judged->with.z, judged->with.min_effect, judged->with.min_peers,
          judged->with.peers_by};
}

// Writes "  label       text", the text's further lines below it.
class explainer {
 public:
  explainer(std::size_t width, std::ostream& out) : width_(width), out_(out) {}

  void add(const std::string& label, const std::string& text) {
    if (text.empty()) return;
    const std::size_t room =
        width_ > label_columns + 30 ? width_ - label_columns - 2 : 0;
    std::string head = padded(label, label_columns);
    for (const std::string& paragraph : str::split(text, '\n'))
      for (const std::string& line :
           wrapped(text::visible_text(paragraph), room)) {
        std::string whole = "  ";
        whole.append(head).append(line);
        whole.erase(whole.find_last_not_of(' ') + 1);
        out_ << whole << '\n';
        head = std::string(label_columns, ' ');
      }
  }

 private:
  std::size_t width_;
  std::ostream& out_;
};

bool takes_peers(rule kind) {
  return kind == rule::differs || kind == rule::peers || kind == rule::growth;
}

// "nodes of the same class (cpu.model, cpu.sockets, mem.total), at least 5"
std::string peers_text(const check_rule& what, const usual_limits& usual,
                       const judgement* judged) {
  if (!takes_peers(what.kind)) return "";
  std::string text = "nodes of the same " + usual.peers_by;
  if (usual.peers_by == "all") text = "all nodes";
  if (usual.peers_by == "none") return "none: nodes are not compared";
  std::vector<std::string> key;
  if (judged != nullptr && !judged->classes.empty())
    for (const auto& entry : judged->classes.front().key)
      key.push_back(entry.first);
  if (usual.peers_by == "class" && !key.empty())
    text += " (" + joined(key, ", ") + ")";
  return text +
         fmt::format(", at least {}", what.min_peers.value_or(usual.min_peers));
}

std::string version_of(const judgement& judged, const std::string& provider) {
  for (const auto& [name, version] : judged.providers)
    if (name == provider) return fmt::format(" v{}", version);
  return "";
}

// What it looks at, whatever is found today.
std::string facts_text(const check_definition& check) {
  std::string text = joined(check.facts, ", ");
  if (!check.except.empty()) text += "; but not " + joined(check.except, ", ");
  return text;
}

// Where today's values of a finding are from.
std::string origin_of(const finding& found, const judgement& judged) {
  if (found.fact.empty()) return "";
  std::string text = found.fact;
  if (!found.unit.empty()) text += " (" + found.unit + ")";
  if (found.provider.empty()) return text;
  text += ", provider " + found.provider + version_of(judged, found.provider);
  if (!found.option.empty()) text += ", option set " + found.option;
  return text;
}

std::string seen_line(const node_value& value, const finding& found) {
  std::string line = padded(excerpt_of(value.node, 40), 10) + "  " +
                     excerpt_of(value.value, 60);
  if (value.z) line += fmt::format("  z {:.1f}", *value.z);
  if (value.delta_percent)
    line += fmt::format("  {:+.1f} %", *value.delta_percent);
  if (std::find(found.accepted_nodes.begin(), found.accepted_nodes.end(),
                value.node) != found.accepted_nodes.end())
    line += "  accepted";
  return line;
}

// Who accepted it, why and until when.
std::string acceptance_text(const finding& found) {
  std::string text = "accepted on " + folded_and_counted(found.nodes);
  const std::string how = acceptance_words(found);
  return how.empty() ? text : text + ": " + how;
}

std::string seen_text(const std::string& id, const judgement* judged) {
  if (judged == nullptr) return "";
  std::vector<std::string> lines;
  for (const finding& found : judged->findings) {
    if (found.check != id) continue;
    if (const std::string from = origin_of(found, *judged); !from.empty())
      lines.push_back(from + ":");
    if (!found.accepted_nodes.empty())
      lines.push_back(fmt::format(
          "accepted on {} of its {} nodes:", found.accepted_nodes.size(),
          found.nodes.size()));
    if (found.values.empty() || found.values.size() > most_seen)
      lines.push_back(folded_and_counted(found.nodes) + "  " +
                      excerpt_of(found.message, most_text));
    else
      for (const node_value& value : found.values)
        lines.push_back(seen_line(value, found));
  }
  for (const finding& found : judged->accepted)
    if (found.check == id) lines.push_back(acceptance_text(found));
  if (lines.empty())
    return fmt::format("nowhere in run {}", judged->run.number);
  return joined(lines, "\n");
}

std::string paragraphs(const std::string& text) {
  return str::replace(text, "\n\n", "\n");
}

}  // namespace

void write_explanation(const check_definition& check, const judgement* judged,
                       const report_options& options, std::ostream& out) {
  const usual_limits usual = limits_of(judged);
  const look how = {options.colour, options.utf8};
  out << fmt::format("{}: {}\n",
                     how.painted(ink::strong, text::visible_text(check.id)),
                     text::visible_text(check.title));
  explainer lines(options.width, out);
  lines.add("severity",
            fmt::format("{} (score {})", name_of(severity_of(check.score)),
                        check.score));
  lines.add("fact", facts_text(check));
  if (!check.facts.empty()) {
    lines.add("peers", peers_text(check.what, usual, judged));
    lines.add("rule", rule_words(check.what, usual));
  }
  lines.add("meaning", paragraphs(check.explain));
  lines.add("seen now", seen_text(check.id, judged));
  lines.add("causes", joined(check.causes, "\n"));
  lines.add("try next", joined(check.advice, "\n"));
  lines.add(
      "accept",
      fmt::format(
          "zelk-db accept {}{} -w NODES --reason TEXT --until "
          "DATE",
          shell_word(check.id),
          options.same_datastore.empty() ? "" : " " + options.same_datastore));
  if (!check.file.empty())
    lines.add("defined in", fmt::format("{}:{}", check.file, check.line));
}

namespace {

bool is_judged(const check_definition& check) {
  return check.what.kind != rule::none;
}

}  // namespace

void write_check_list(const std::vector<const check_definition*>& checks,
                      const report_options& options, std::ostream& out) {
  static_cast<void>(options);
  text::text_table table({{"CHECK", false},
                          {"SEVERITY", false},
                          {"SCORE", true},
                          {"TITLE", false}});
  for (const check_definition* check : checks)
    table.add(
        {text::visible_text(check->id),
         is_judged(*check) ? name_of(severity_of(check->score)) : "not judged",
         is_judged(*check) ? fmt::format("{}", check->score) : "-",
         text::visible_text(check->title)});
  table.write(out);
}

}  // namespace zelk::check
