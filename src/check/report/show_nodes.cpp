// --show: everything that is known of some nodes.
//
// A node has thousands of facts, of which one or two matter: where lists are
// limited, as on a terminal, those that are as they should be are counted.

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "src/check/report/display.h"
#include "src/check/report/finding_list.h"
#include "src/check/report/phrases.h"
#include "src/check/report/rows.h"
#include "src/check/report/writer.h"
#include "src/common/text/size_text.h"
#include "src/common/text/text_table.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

constexpr std::size_t most_value = 60;  // characters
constexpr std::size_t most_message = 200;
constexpr std::size_t most_name = 60;

// Fact, provider, option, class.
using fact_key = std::tuple<std::string, std::string, std::string, std::string>;

bool says_no_trouble(answer what) {
  return what == answer::ok || what == answer::not_applicable ||
         what == answer::not_expected;
}

class node_writer {
 public:
  node_writer(const judgement& judged, const run_data& run,
              const report_options& options, std::ostream& out);

  bool knows(const std::string& name) const;
  void write(const std::string& name);

 private:
  void write_head(const std::string& name, const node_view* view);
  static void add_note(std::string& line, const char* what,
                       const std::string& text);
  static bool is_about(const finding& found, const std::string& name);
  void add_row(std::vector<report_row>& rows, const finding& found,
               const std::string& name, const std::string& state) const;
  void write_findings(const std::string& name);

  // In which of the earlier runs it was not healthy: "suspect in run 385, 391".
  void write_history(const std::string& name);
  void write_answers(std::size_t number);
  static std::string took(double seconds);
  bool is_folded() const { return options_.limit_rows != 0; }
  // The facts that findings about the node are about.
  std::set<std::string> facts_found(const std::string& name) const;
  bool is_outlier(const fact_column& fact, const std::string& class_name,
                  const std::string& name) const;
  void write_facts(std::size_t number, const std::string& class_name);
  std::string value_text(const fact_column& fact, std::uint32_t value) const;

  // Of what its class has in common, or how far from the middle it lies; of a
  // fact that is the same everywhere there is nothing to say.
  std::string peers_text(const fact_column& fact, const std::string& class_name,
                         std::size_t number) const;
  static std::string odd_one_text(const difference& of,
                                  const std::string& name);

  const judgement& judged_;
  const run_data& run_;
  const report_options& options_;
  look how_;
  std::size_t width_;
  std::ostream& out_;
  std::unordered_map<std::string, std::size_t> numbers_;
  std::unordered_map<std::string, const node_view*> views_;
  std::map<fact_key, const difference*> differences_;
  std::map<fact_key, const distribution*> distributions_;
};

bool node_writer::knows(const std::string& name) const {
  return views_.contains(name) || numbers_.contains(name);
}

void node_writer::write(const std::string& name) {
  const auto view = views_.find(name);
  write_head(name, view == views_.end() ? nullptr : view->second);
  write_findings(name);
  write_history(name);
  const auto number = numbers_.find(name);
  if (number == numbers_.end()) return;
  write_answers(number->second);
  write_facts(number->second,
              view == views_.end() ? "" : view->second->class_name);
}

void node_writer::write_head(const std::string& name, const node_view* view) {
  std::string line = how_.painted(ink::strong, text::visible_text(name));
  if (view != nullptr) {
    line += "  " + how_.painted(ink_of(view->what), name_of(view->what));
    add_note(line, "class", view->class_name);
    add_note(line, "role", view->role);
    add_note(line, "subcluster", view->subcluster);
  }
  out_ << line << fmt::format("   run {}\n", judged_.run.number);
}

void node_writer::add_note(std::string& line, const char* what,
                           const std::string& text) {
  if (!text.empty())
    line += fmt::format("   {} {}", what, excerpt_of(text, most_name));
}

bool node_writer::is_about(const finding& found, const std::string& name) {
  return std::find(found.nodes.begin(), found.nodes.end(), name) !=
         found.nodes.end();
}

void node_writer::add_row(std::vector<report_row>& rows, const finding& found,
                          const std::string& name,
                          const std::string& state) const {
  if (!is_about(found, name)) return;
  report_row row;
  row.colour = ink_of(found.level);
  row.mark = how_.mark(found.level);
  row.name = excerpt_of(found.check, most_name);
  row.count = found.nodes.size();
  row.message = excerpt_of(found.message, most_message);
  row.state = state;
  if (const std::string accepted = acceptance_words(found); !accepted.empty())
    row.more.push_back("accepted: " + accepted);
  for (const std::string& advice : found.advice)
    row.more.push_back("try: " +
                       excerpt_of(advice_text(advice, options_), most_message));
  rows.push_back(std::move(row));
}

void node_writer::write_findings(const std::string& name) {
  std::vector<report_row> rows;
  for (const finding& found : judged_.findings)
    add_row(rows, found, name, state_text(judged_, found));
  for (const finding& found : judged_.accepted)
    add_row(rows, found, name, "accepted");
  for (const finding& found : judged_.fixed)
    add_row(rows, found, name, "fixed");
  if (rows.empty()) {
    out_ << "\nno findings\n";
    return;
  }
  row_layout layout(how_, width_);
  layout.measure(rows);
  out_ << "\nFINDINGS  (with the number of nodes that have it)\n";
  layout.write(rows, out_);
}

void node_writer::write_history(const std::string& name) {
  std::map<verdict, std::string> runs;
  for (const history_entry& entry : judged_.history)
    for (const auto& [node, what] : entry.nodes)
      if (node == name && entry.run.number != judged_.run.number)
        runs[what] += fmt::format("{}{}", runs[what].empty() ? "" : ", ",
                                  entry.run.number);
  if (!runs.empty()) out_ << '\n';
  for (const auto& [what, numbers] : runs)
    out_ << "earlier: " << name_of(what) << " in run " << numbers << '\n';
}

void node_writer::write_answers(std::size_t number) {
  text::text_table table({{" PROVIDER", false},
                          {"OPTION", false},
                          {"ANSWER", false},
                          {"ENDED", false},
                          {"TOOK", true},
                          {"REASON", false}});
  std::map<std::string, std::size_t> folded;
  for (const provider_info& provider : run_.providers) {
    if (number >= provider.answers.size()) continue;
    const provider_answer& given = provider.answers[number];
    if (is_folded() && says_no_trouble(given.what)) {
      ++folded[words_for(given.what)];
      continue;
    }
    const bool ended = given.ended_usec != 0;
    table.add({" " + excerpt_of(provider.name, most_name),
               excerpt_of(provider.option, most_name), words_for(given.what),
               ended ? text::local_time(given.ended_usec) : "-",
               ended ? took(given.duration) : "-",
               excerpt_of(given.reason, most_message)});
  }
  if (table.size() == 0 && folded.empty()) return;
  out_ << "\nRESULTS\n";
  if (table.size() > 0) table.write(out_);
  std::string others;
  for (const auto& [words, count] : folded)
    others += fmt::format("{}{} {}", others.empty() ? "" : ", ", count, words);
  if (!others.empty()) out_ << " not listed: " << others << '\n';
}

std::set<std::string> node_writer::facts_found(const std::string& name) const {
  std::set<std::string> facts;
  for (const auto* list : {&judged_.findings, &judged_.accepted})
    for (const finding& found : *list) {
      if (!is_about(found, name)) continue;
      facts.insert(found.fact);
      for (const node_value& each : found.values)
        if (each.node == name && !each.fact.empty()) facts.insert(each.fact);
    }
  return facts;
}

bool node_writer::is_outlier(const fact_column& fact,
                             const std::string& class_name,
                             const std::string& name) const {
  const auto among = distributions_.find(
      fact_key(fact.name, fact.provider, fact.option, class_name));
  return among == distributions_.end() ||
         std::any_of(among->second->outliers.begin(),
                     among->second->outliers.end(),
                     [&](const node_value& each) { return each.node == name; });
}

std::string node_writer::took(double seconds) {
  constexpr double most = 1e9;
  if (!(seconds >= 0 && seconds < most)) return "-";
  return text::short_duration(static_cast<std::int64_t>(seconds * 1e6));
}

void node_writer::write_facts(std::size_t number,
                              const std::string& class_name) {
  text::text_table table({{" FACT", false},
                          {"VALUE", false},
                          {"PEERS", false},
                          {"PROVIDER", false}});
  const std::string& name = run_.nodes[number];
  const std::set<std::string> wrong = facts_found(name);
  std::size_t folded = 0;
  for (const fact_column& fact : run_.facts) {
    const std::uint32_t value =
        number < fact.values.size() ? fact.values[number] : no_value;
    const std::string peers = peers_text(fact, class_name, number);
    if (value == no_value && peers.empty()) continue;
    const bool is_odd = !peers.empty() && is_outlier(fact, class_name, name);
    if (is_folded() && !is_odd && !wrong.contains(fact.name)) {
      ++folded;
      continue;
    }
    table.add(
        {" " + excerpt_of(fact.name, most_name), value_text(fact, value), peers,
         excerpt_of(fact.option.empty() ? fact.provider
                                        : fact.provider + " " + fact.option,
                    most_name)});
  }
  if (table.size() == 0 && folded == 0) return;
  out_ << "\nFACTS\n";
  if (table.size() > 0) table.write(out_);
  if (folded > 0)
    out_ << fmt::format(
        " not listed: {} of which nothing is wrong; --all "
        "lists them\n",
        text::counted(static_cast<std::int64_t>(folded), "fact"));
}

std::string node_writer::value_text(const fact_column& fact,
                                    std::uint32_t value) const {
  if (value >= run_.values.size()) return "-";
  return value_with_unit(excerpt_of(run_.values.text(value), most_value),
                         fact.traits.unit);
}

std::string node_writer::peers_text(const fact_column& fact,
                                    const std::string& class_name,
                                    std::size_t number) const {
  const fact_key key(fact.name, fact.provider, fact.option, class_name);
  const auto among = distributions_.find(key);
  if (among != distributions_.end())
    return fmt::format("median {} of {}",
                       value_with_unit(shortest_number(among->second->median),
                                       fact.traits.unit),
                       among->second->values.size());
  const auto differs = differences_.find(key);
  if (differs == differences_.end() || differs->second->groups.empty())
    return "";
  return odd_one_text(*differs->second, run_.nodes[number]);
}

std::string node_writer::odd_one_text(const difference& of,
                                      const std::string& name) {
  const auto& [value, nodes] = of.groups.front();
  if (std::find(nodes.begin(), nodes.end(), name) != nodes.end()) return "";
  std::size_t all = 0;
  for (const auto& group : of.groups)
    all += group.second.size();
  const std::string most =
      of.absent == std::size_t{0}
          ? "not there"
          : value_with_unit(excerpt_of(value, most_value), of.unit);
  return fmt::format("{} on {} of {}", most, nodes.size(), all);
}

node_writer::node_writer(const judgement& judged, const run_data& run,
                         const report_options& options, std::ostream& out)
    : judged_(judged),
      run_(run),
      options_(options),
      how_({options.colour, options.utf8}),
      width_(options.width),
      out_(out) {
  for (std::size_t i = 0; i < run.nodes.size(); ++i)
    numbers_.emplace(run.nodes[i], i);
  for (const node_view& view : judged.nodes)
    views_.emplace(view.name, &view);
  for (const difference& each : judged.differences)
    differences_.emplace(
        fact_key(each.fact, each.provider, each.option, each.class_name),
        &each);
  for (const distribution& each : judged.distributions)
    distributions_.emplace(
        fact_key(each.fact, each.provider, each.option, each.class_name),
        &each);
}

}  // namespace

std::vector<std::string> write_nodes(const judgement& judged,
                                     const run_data& run,
                                     const std::vector<std::string>& names,
                                     const report_options& options,
                                     std::ostream& out) {
  node_writer writer(judged, run, options, out);
  std::vector<std::string> unknown;
  bool first = true;
  for (const std::string& name : names) {
    if (!writer.knows(name)) {
      unknown.push_back(name);
      continue;
    }
    if (!std::exchange(first, false)) out << "\n\n";
    writer.write(name);
  }
  return unknown;
}

}  // namespace zelk::check
