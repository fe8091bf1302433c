// --diff: the nodes of a class that say the same stand together, and each
// smaller group is shown as a difference from the largest, in the look that
// administrators know from tools that run commands on many nodes.
//
// Lines that are alike are left out: a group is told apart by what differs. So
// is what no check would tell of, because the fact is not compared or its check
// lets so much pass: among the noise nobody finds the one line that matters.
// How much that was is said at the end.

#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "src/check/report/display.h"
#include "src/check/report/line_difference.h"
#include "src/check/report/phrases.h"
#include "src/check/report/writer.h"
#include "src/common/node/natural_order.h"
#include "src/common/text/size_text.h"

namespace zelk::check {

namespace {

// Of one fact of one group; a text of a million lines is no difference that
// anybody reads.
constexpr std::size_t most_lines = 200;
constexpr std::size_t most_line = 500;  // characters

using columns = std::vector<const fact_column*>;

// What is named: a provider's facts, or facts by name.
columns named_columns(const run_data& run, const std::string& pattern) {
  columns of_provider, by_name;
  for (const fact_column& fact : run.facts) {
    if (fact.provider == pattern) of_provider.push_back(&fact);
    if (fact.name == pattern ||
        ::fnmatch(pattern.c_str(), fact.name.c_str(), 0) == 0)
      by_name.push_back(&fact);
  }
  return of_provider.empty() ? by_name : of_provider;
}

struct chosen_facts {
  columns all;
  columns as_text;
  std::vector<allowance> allowed;  // of those as text; empty: nothing is
  columns numbers;
  std::size_t never = 0;
};

chosen_facts chosen(const run_data& run, const difference_wish& wish) {
  chosen_facts result;
  result.all = named_columns(run, wish.pattern);
  if (!wish.allowed) {
    result.as_text = result.all;
    return result;
  }
  for (const fact_column* fact : result.all) {
    allowance allowed = wish.allowed(*fact);
    if (allowed.how == compared::as_numbers) result.numbers.push_back(fact);
    result.never += allowed.how == compared::never;
    if (allowed.how != compared::as_text) continue;
    result.as_text.push_back(fact);
    result.allowed.push_back(std::move(allowed));
  }
  return result;
}

std::string count_of(std::size_t number, const char* what) {
  return text::counted(static_cast<std::int64_t>(number), what);
}

// What one node says; into run_data::values.
using statement = std::vector<std::uint32_t>;

struct group {
  statement says;
  std::vector<std::string> nodes;
};

statement statement_of(const columns& facts, std::size_t node) {
  statement says;
  for (const fact_column* fact : facts)
    says.push_back(node < fact->values.size() ? fact->values[node] : no_value);
  return says;
}

bool says_nothing(const statement& says) {
  return std::all_of(says.begin(), says.end(),
                     [](std::uint32_t value) { return value == no_value; });
}

answer answer_of(const run_data& run, const fact_column& fact,
                 std::size_t node) {
  for (const provider_info& provider : run.providers)
    if (provider.name == fact.provider && provider.option == fact.option &&
        node < provider.answers.size())
      return provider.answers[node].what;
  return answer::not_expected;
}

// One that is made of several facts has a "*" in its name.
bool is_of(const distribution& of, const fact_column& fact) {
  return fact.provider == of.provider && fact.option == of.option &&
         (fact.name == of.fact ||
          ::fnmatch(of.fact.c_str(), fact.name.c_str(), 0) == 0);
}

class difference_writer {
 public:
  difference_writer(const run_data& run, chosen_facts facts,
                    const report_options& options, std::ostream& out);

  void add_class(const class_view& of);

  // Requires: all classes were added.
  void end();

  // Numbers have no like ones: of those that are not compared as text, what is
  // far from the median of its class.
  void add_outliers(const std::vector<distribution>& all,
                    const std::string& pattern);

 private:
  void write_outliers(const distribution& of);
  void add_node_without_class(std::size_t number);

  // What the nodes of a class say, of those that say something.
  std::vector<group> statements_of(const std::vector<std::string>& nodes);
  // Gives what is let pass the value that most have.
  void let_pass(std::vector<group>& said);
  void let_pass(std::vector<group>& said, std::size_t fact);
  // Of two values that equally many have, that of the first node.
  std::uint32_t most_common(const std::vector<group>& said,
                            std::size_t fact) const;
  // The largest first; of two of one size that of the first node.
  std::vector<group> groups_of(const std::vector<std::string>& nodes);
  std::optional<std::string> known(std::uint32_t value) const;
  void write_summary();
  void write_left_out(std::size_t unlisted);
  void write_pair(const std::string& class_name, const group& most,
                  const group& others);
  void add_difference(const fact_column& fact, std::uint32_t before,
                      std::uint32_t after, std::vector<std::string>& removed,
                      std::vector<std::string>& added) const;
  std::string text_of(std::uint32_t value) const;
  static std::string line_of(const fact_column& fact, std::string_view value);
  static void add_lines(const fact_column& fact,
                        const std::vector<std::string_view>& lines,
                        std::vector<std::string>& to);

  const run_data& run_;
  chosen_facts chosen_;
  const columns& facts_;          // those that are told as text
  std::set<std::size_t> passed_;  // of those: some of whose values are let pass
  look how_;
  std::ostream& out_;
  std::unordered_map<std::string, std::size_t> numbers_;
  std::unordered_set<std::string> in_a_class_;
  std::map<answer, std::vector<std::string>> silent_;
  std::size_t compared_ = 0, pairs_ = 0;
};

void difference_writer::add_class(const class_view& of) {
  const std::vector<group> groups = groups_of(of.nodes);
  for (std::size_t i = 1; i < groups.size(); ++i)
    write_pair(of.name, groups[0], groups[i]);
}

void difference_writer::end() {
  for (std::size_t i = 0; i < run_.nodes.size(); ++i)
    if (!in_a_class_.contains(run_.nodes[i])) add_node_without_class(i);
  write_summary();
  for (const auto& [what, nodes] : silent_)
    if (what != answer::not_expected)
      out_ << fmt::format("# not compared: {}: {}\n", folded_and_counted(nodes),
                          what == answer::ok ? "of no class" : words_for(what));
}

void difference_writer::write_summary() {
  if (pairs_ > 0) return;
  if (facts_.empty() && chosen_.numbers.empty())
    out_ << "# nothing of it is compared between nodes\n";
  else if (!facts_.empty())
    out_ << fmt::format("# no differences: {} on {}\n",
                        count_of(facts_.size(), "fact"),
                        count_of(compared_, "node"));
}

// `unlisted` numbers have no distribution: they do not differ, or few have
// them.
void difference_writer::write_left_out(std::size_t unlisted) {
  std::string what;
  const auto add = [&](std::size_t number, const char* kind, const char* why) {
    if (number > 0)
      what += (what.empty() ? "" : ", ") + count_of(number, kind) + why;
  };
  add(chosen_.never, "fact", " not compared between nodes");
  add(passed_.size(), "fact", " with differences that the check lets pass");
  add(unlisted, "number", " alike or of few nodes");
  if (what.empty()) return;
  out_ << "# left out: " << what << "; --all shows them\n";
}

void difference_writer::add_outliers(const std::vector<distribution>& all,
                                     const std::string& pattern) {
  std::size_t calm = 0;
  for (const distribution& each : all) {
    // One that is made of several facts has a "*" in its name.
    if (each.provider != pattern &&
        ::fnmatch(pattern.c_str(), each.fact.c_str(), 0) != 0 &&
        ::fnmatch(each.fact.c_str(), pattern.c_str(), 0) != 0)
      continue;
    const bool is_shown = std::any_of(
        facts_.begin(), facts_.end(),
        [&](const fact_column* fact) { return is_of(each, *fact); });
    if (is_shown) continue;
    if (each.outliers.empty())
      ++calm;
    else
      write_outliers(each);
  }
  if (calm > 0)
    out_ << "# numbers of which none is far from its class's median: " << calm
         << '\n';
  write_left_out(static_cast<std::size_t>(std::count_if(
      chosen_.numbers.begin(), chosen_.numbers.end(),
      [&](const fact_column* fact) {
        return std::none_of(
            all.begin(), all.end(),
            [&](const distribution& each) { return is_of(each, *fact); });
      })));
}

void difference_writer::write_outliers(const distribution& of) {
  out_ << fmt::format(
      "# {}: numbers, median {} of {} nodes of class {}\n",
      excerpt_of(of.fact, most_line),
      value_with_unit(fmt::format("{:.6g}", of.median), of.unit),
      of.values.size(), excerpt_of(of.class_name, 60));
  for (const node_value& each : of.outliers)
    out_ << how_.painted(ink::bad,
                         fmt::format("! {}={}{}", node_set_text({each.node}),
                                     excerpt_of(each.value, most_line),
                                     each.delta_percent
                                         ? fmt::format(" ({:+.1f} %)",
                                                       *each.delta_percent)
                                         : ""))
         << '\n';
}

void difference_writer::add_node_without_class(std::size_t number) {
  silent_[answer_of(run_, *chosen_.all.front(), number)].push_back(
      run_.nodes[number]);
}

std::vector<group> difference_writer::statements_of(
    const std::vector<std::string>& nodes) {
  std::map<statement, std::vector<std::string>> by_statement;
  for (const std::string& name : nodes) {
    const auto number = numbers_.find(name);
    if (number == numbers_.end()) continue;
    in_a_class_.insert(name);
    const answer what = answer_of(run_, *chosen_.all.front(), number->second);
    const bool answered = what == answer::ok || what == answer::incomplete;
    statement says = statement_of(facts_, number->second);
    if (says_nothing(says) && !answered) {
      silent_[what].push_back(name);
      continue;
    }
    by_statement[std::move(says)].push_back(name);
    ++compared_;
  }
  std::vector<group> groups;
  groups.reserve(by_statement.size());
  for (auto& [says, names] : by_statement)
    groups.push_back({says, std::move(names)});
  return groups;
}

std::optional<std::string> difference_writer::known(std::uint32_t value) const {
  if (value >= run_.values.size()) return {};
  return std::string(run_.values.text(value));
}

std::uint32_t difference_writer::most_common(const std::vector<group>& said,
                                             std::size_t fact) const {
  struct holders {
    std::size_t count = 0, first = SIZE_MAX;
  };
  std::map<std::uint32_t, holders> all;
  for (const group& each : said) {
    holders& of = all[each.says[fact]];
    of.count += each.nodes.size();
    of.first = std::min(of.first, numbers_.at(each.nodes.front()));
  }
  return std::max_element(all.begin(), all.end(),
                          [](const auto& a, const auto& b) {
                            return a.second.count != b.second.count
                                       ? a.second.count < b.second.count
                                       : a.second.first > b.second.first;
                          })
      ->first;
}

void difference_writer::let_pass(std::vector<group>& said, std::size_t fact) {
  const std::uint32_t most = most_common(said, fact);
  std::map<std::uint32_t, bool> passes;
  for (group& each : said) {
    std::uint32_t& value = each.says[fact];
    if (value == most) continue;
    const auto [known_one, is_new] = passes.try_emplace(value, false);
    if (is_new)
      known_one->second =
          chosen_.allowed[fact].lets_pass(known(value), known(most));
    if (!known_one->second) continue;
    value = most;
    passed_.insert(fact);
  }
}

void difference_writer::let_pass(std::vector<group>& said) {
  if (said.size() < 2) return;
  for (std::size_t i = 0; i < chosen_.allowed.size(); ++i)
    let_pass(said, i);
  std::map<statement, std::vector<std::string>> by_statement;
  for (group& each : said) {
    std::vector<std::string>& names = by_statement[each.says];
    names.insert(names.end(), each.nodes.begin(), each.nodes.end());
  }
  said.clear();
  for (auto& [says, names] : by_statement) {
    node::sort_naturally(names);
    said.push_back({says, std::move(names)});
  }
}

std::vector<group> difference_writer::groups_of(
    const std::vector<std::string>& nodes) {
  std::vector<group> groups = statements_of(nodes);
  let_pass(groups);
  const auto place = [this](const group& each) {
    return numbers_.at(each.nodes.front());
  };
  std::sort(groups.begin(), groups.end(),
            [&place](const group& a, const group& b) {
              if (a.nodes.size() != b.nodes.size())
                return a.nodes.size() > b.nodes.size();
              return place(a) < place(b);
            });
  return groups;
}

void difference_writer::write_pair(const std::string& class_name,
                                   const group& most, const group& others) {
  ++pairs_;
  std::vector<std::string> removed, added;
  for (std::size_t i = 0; i < facts_.size(); ++i)
    if (most.says[i] != others.says[i])
      add_difference(*facts_[i], most.says[i], others.says[i], removed, added);
  out_ << "--- " << folded_and_counted(most.nodes) << '\n'
       << "+++ " << folded_and_counted(others.nodes) << '\n'
       << how_.painted(ink::note, fmt::format("@@ class {} @@",
                                              excerpt_of(class_name, 60)))
       << '\n';
  for (const std::string& line : removed)
    out_ << how_.painted(ink::bad, "-" + line) << '\n';
  for (const std::string& line : added)
    out_ << how_.painted(ink::good, "+" + line) << '\n';
}

void difference_writer::add_difference(const fact_column& fact,
                                       std::uint32_t before,
                                       std::uint32_t after,
                                       std::vector<std::string>& removed,
                                       std::vector<std::string>& added) const {
  const std::string old_text = text_of(before);
  const std::string new_text = text_of(after);
  const line_difference found = difference_of(old_text, new_text);
  // A value that is empty is another thing than none.
  if (old_text.empty() && before != no_value)
    removed.push_back(line_of(fact, ""));
  if (new_text.empty() && after != no_value) added.push_back(line_of(fact, ""));
  add_lines(fact, found.removed, removed);
  add_lines(fact, found.added, added);
}

std::string difference_writer::text_of(std::uint32_t value) const {
  return value < run_.values.size() ? run_.values.text(value) : "";
}

std::string difference_writer::line_of(const fact_column& fact,
                                       std::string_view value) {
  std::string line = excerpt_of(fact.name, most_line);
  if (!fact.option.empty())
    line += " (" + excerpt_of(fact.option, most_line) + ")";
  line += "=" + excerpt_of(value, most_line);
  if (!fact.traits.unit.empty() && fact.traits.unit != "count" &&
      !value.empty())
    line += " " + excerpt_of(fact.traits.unit, 12);
  return line;
}

void difference_writer::add_lines(const fact_column& fact,
                                  const std::vector<std::string_view>& lines,
                                  std::vector<std::string>& to) {
  const std::size_t shown = std::min(lines.size(), most_lines);
  for (std::size_t i = 0; i < shown; ++i)
    to.push_back(line_of(fact, lines[i]));
  if (shown < lines.size())
    to.push_back(fmt::format("{}: {} lines more",
                             excerpt_of(fact.name, most_line),
                             lines.size() - shown));
}

difference_writer::difference_writer(const run_data& run, chosen_facts facts,
                                     const report_options& options,
                                     std::ostream& out)
    : run_(run),
      chosen_(std::move(facts)),
      facts_(chosen_.as_text),
      how_({options.colour, options.utf8}),
      out_(out) {
  for (std::size_t i = 0; i < run.nodes.size(); ++i)
    numbers_.emplace(run.nodes[i], i);
}

}  // namespace

bool write_differences(const run_data& run, const judgement& judged,
                       const difference_wish& wish,
                       const report_options& options, std::ostream& out) {
  chosen_facts facts = chosen(run, wish);
  if (facts.all.empty()) return false;
  difference_writer writer(run, std::move(facts), options, out);
  for (const class_view& each : judged.classes)
    writer.add_class(each);
  writer.end();
  writer.add_outliers(judged.distributions, wish.pattern);
  return true;
}

}  // namespace zelk::check
