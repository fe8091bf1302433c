// What makes a run hard to read back: it may hold half a million results, and
// what matters most are those that it does not hold. So everything is told from
// two lists, what was expected and what came, and both are put on one grid of
// providers by nodes before a single output is looked at. Outputs are read in
// groups that are equal to the byte, which is what most nodes answer.

#include "src/check/input/load.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "src/check/input/answers.h"
#include "src/check/input/fact_table.h"
#include "src/collect/src/accumulate/expectations.h"
#include "src/collect/src/accumulate/runs.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/node/natural_order.h"

namespace zelk::check {

namespace {

using accumulate::missing_result;
using reading::stored_result;

// What a result without an option set says.
constexpr std::string_view no_option = "None";

// Reads as one moment what several statements ask for.
class one_moment {
 public:
  explicit one_moment(datastore::database& base) : base_(base) {
    base_.execute("BEGIN");
  }
  one_moment(const one_moment&) = delete;
  one_moment& operator=(const one_moment&) = delete;
  ~one_moment() {
    try {
      base_.execute("COMMIT");
    } catch (const datastore::store_error&) {
      // Nothing was written: there is nothing to lose.
    }
  }

 private:
  datastore::database& base_;
};

// Numbers for texts, in the order in which they come.
class numbered_names {
 public:
  std::uint32_t number_of(const std::string& name) {
    const auto [at, is_new] =
        numbers_.emplace(name, static_cast<std::uint32_t>(names_.size()));
    if (is_new) names_.push_back(name);
    return at->second;
  }
  const std::vector<std::string>& names() const { return names_; }

 private:
  std::unordered_map<std::string, std::uint32_t> numbers_;
  std::vector<std::string> names_;
};

// A result that was expected; provider and option are empty for any.
struct expected_cell {
  std::uint32_t node = 0;
  std::uint32_t provider = 0;
  std::uint32_t option = 0;
  std::uint32_t reason = 0;
};

struct expectation_list {
  std::vector<expected_cell> nodes;
  std::vector<expected_cell> results;
};

class run_reader {
 public:
  run_reader(datastore::database& base, reading::output_reader& outputs,
             const facts::description_set& descriptions)
      : base_(base), outputs_(outputs), descriptions_(descriptions) {}

  run_data read(std::int64_t number);
  run_data read_results(const reading::result_choice& of);

 private:
  // What an output says; without a series: nothing, or why it cannot be read.
  struct group_facts {
    std::optional<facts::outcome> what;
    facts::output_series* series = nullptr;
    const facts::numbered_extraction* read = nullptr;
    std::string problem;
  };

  void read_run(std::int64_t number);
  void read_expectations(std::int64_t number);
  void number_nodes();
  void list_providers();
  void add_providers_of(const std::string& name,
                        const std::set<std::string>& options);
  std::vector<std::size_t> places_of(const std::string& provider,
                                     const std::string& option) const;
  void keep_newest();
  void mark_missing();
  void mark_missing_result(const expected_cell& cell);
  void mark_silent_node(const expected_cell& cell);
  void read_outputs();
  void read_results_of(const reading::result_choice& of);
  group_facts facts_of(const stored_result& of, fact_table& facts);
  void read_group(const std::vector<const stored_result*>& like,
                  fact_table& facts);
  void describe(provider_info& info, const std::string& name) const;
  void count();

  datastore::database& base_;
  reading::output_reader& outputs_;
  const facts::description_set& descriptions_;

  run_data made_;
  numbered_names names_, words_;  // of nodes; of everything else
  expectation_list expected_;
  std::vector<stored_result> results_;
  std::vector<std::uint32_t> place_of_node_;  // by number of its name
  // By provider and option set as they are stored.
  std::map<std::pair<std::string, std::string>, std::size_t> provider_places_;
  // The result that counts: by provider, then node; null: none came.
  std::vector<std::vector<const stored_result*>> newest_;
  std::size_t came_ = 0, missing_ = 0;
};

void run_reader::read_run(std::int64_t number) {
  const std::optional<accumulate::run> found =
      accumulate::find_run(base_, number);
  if (!found) throw reading::refusal(fmt::format("There is no run {}", number));
  run_info& run = made_.run;
  run.number = found->number;
  run.uuid = found->uuid;
  run.label = readable(found->label);
  run.state = accumulate::run_state_name(found->state);
  run.command_line = readable(found->command_line);
  run.started_usec = found->started_usec;
  run.ended_usec = found->ended_usec;
  run.nodes_expected = static_cast<std::size_t>(found->nodes_expected);
  run.results_expected = static_cast<std::size_t>(found->results_expected);
}

void run_reader::read_expectations(std::int64_t number) {
  accumulate::for_each_expectation(
      base_, number, [&](const missing_result& each) {
        const accumulate::expectation& what = each.what;
        const expected_cell cell = {
            names_.number_of(what.node), words_.number_of(what.provider),
            words_.number_of(what.option_id), words_.number_of(each.reason)};
        (what.provider.empty() ? expected_.nodes : expected_.results)
            .push_back(cell);
      });
}

void run_reader::number_nodes() {
  for (const stored_result& each : results_)
    names_.number_of(each.node);
  for (const std::string& name : names_.names())
    made_.nodes.push_back(readable(name));
  node::sort_naturally(made_.nodes);
  std::unordered_map<std::string_view, std::uint32_t> places;
  for (std::size_t i = 0; i < made_.nodes.size(); ++i)
    places.emplace(made_.nodes[i], static_cast<std::uint32_t>(i));
  for (const std::string& name : names_.names())
    place_of_node_.push_back(places.at(readable(name)));
  made_.notes.resize(made_.nodes.size());
}

// An option set's name tells results apart only where there are several.
void run_reader::add_providers_of(const std::string& name,
                                  const std::set<std::string>& options) {
  for (const std::string& option : options) {
    provider_info& info = made_.providers.emplace_back();
    info.name = readable(name);
    info.option_id = readable(option);
    info.option = options.size() > 1 ? info.option_id : "";
    info.answers.resize(made_.nodes.size());
    provider_places_[{name, option}] = made_.providers.size() - 1;
  }
}

void run_reader::list_providers() {
  std::map<std::string, std::set<std::string>> options;
  for (const stored_result& each : results_)
    options[each.provider].insert(each.option_id);
  const std::vector<std::string>& words = words_.names();
  for (const expected_cell& each : expected_.results)
    if (!words[each.option].empty())
      options[words[each.provider]].insert(words[each.option]);
  for (const expected_cell& each : expected_.results)
    if (options[words[each.provider]].empty())
      options[words[each.provider]].emplace(no_option);
  for (const auto& [name, sets] : options)
    add_providers_of(name, sets);
  newest_.assign(made_.providers.size(),
                 std::vector<const stored_result*>(made_.nodes.size()));
}

// The node's own clock says which is newer; what was stored later, else.
void run_reader::keep_newest() {
  const auto age = [](const stored_result& of) {
    return std::tie(of.ended_usec, of.id);
  };
  for (const stored_result& each : results_) {
    const std::size_t provider =
        provider_places_.at({each.provider, each.option_id});
    const std::uint32_t node = place_of_node_[names_.number_of(each.node)];
    const stored_result*& kept = newest_[provider][node];
    if (!kept || age(*kept) < age(each)) kept = &each;
  }
}

std::vector<std::size_t> run_reader::places_of(
    const std::string& provider, const std::string& option) const {
  std::vector<std::size_t> places;
  for (auto at = provider_places_.lower_bound({provider, ""});
       at != provider_places_.end() && at->first.first == provider; ++at)
    if (option.empty() || at->first.second == option)
      places.push_back(at->second);
  return places;
}

void mark(provider_answer& answer, const std::string& reason) {
  if (answer.what != answer::not_expected) return;
  answer.what = answer::missing;
  answer.reason = readable(reason);
}

void run_reader::mark_missing_result(const expected_cell& cell) {
  const std::vector<std::string>& words = words_.names();
  const std::uint32_t node = place_of_node_[cell.node];
  const std::vector<std::size_t> places =
      places_of(words[cell.provider], words[cell.option]);
  const bool came =
      std::any_of(places.begin(), places.end(),
                  [&](std::size_t at) { return newest_[at][node] != nullptr; });
  if (came) return;
  ++missing_;
  for (const std::size_t at : places)
    mark(made_.providers[at].answers[node], words[cell.reason]);
}

// Where nobody said which results should come, a node that gave none lacks what
// the others have.
void run_reader::mark_silent_node(const expected_cell& cell) {
  const std::uint32_t node = place_of_node_[cell.node];
  const std::string& reason = words_.names()[cell.reason];
  const auto named = [&](const provider_info& of) {
    return of.answers[node].what != answer::not_expected;
  };
  const auto came = [&](const auto& of) { return of[node] != nullptr; };
  if (std::any_of(newest_.begin(), newest_.end(), came)) return;
  const bool any_named =
      std::any_of(made_.providers.begin(), made_.providers.end(), named);
  for (provider_info& each : made_.providers)
    if (!any_named)
      mark(each.answers[node], reason);
    else if (named(each) && each.answers[node].reason.empty())
      each.answers[node].reason = readable(reason);
}

// What zelk-collect stores of results that it did not wait for any more.
constexpr std::string_view stored_interrupted = "interrupted";

void explain_missing(provider_answer& of, const run_info& run) {
  using accumulate::run_state;
  if (run.state == accumulate::run_state_name(run_state::interrupted) &&
      (of.reason.empty() || of.reason == stored_interrupted)) {
    of.was_not_asked = true;
    of.reason = "was not asked: the run was interrupted";
  }
  if (of.reason.empty())
    of.reason =
        run.ended_usec == 0 ? "not yet: the run goes on" : "no result arrived";
}

void run_reader::mark_missing() {
  for (const expected_cell& each : expected_.results)
    mark_missing_result(each);
  for (const expected_cell& each : expected_.nodes)
    mark_silent_node(each);
  for (provider_info& info : made_.providers)
    for (provider_answer& each : info.answers)
      if (each.what == answer::missing) explain_missing(each, made_.run);
}

void run_reader::describe(provider_info& info, const std::string& name) const {
  std::sort(info.versions.begin(), info.versions.end());
  if (info.versions.empty()) return;
  const auto by = descriptions_.find(name, info.versions.back());
  if (by.use) info.description = by.use->description();
}

run_reader::group_facts run_reader::facts_of(const stored_result& of,
                                             fact_table& facts) {
  group_facts made;
  const auto by = descriptions_.find(of.provider, of.version);
  if (by.use && !by.use->declares()) return made;
  std::string_view output;
  if (by.use)
    output = outputs_.output_of(of, made.problem);
  else
    made.problem = by.reason;
  if (!made.problem.empty()) {
    made.what = facts::outcome::failed;
    return made;
  }
  made.series = &facts.series(by.use);
  made.read = &made.series->read(output, of.exit_status);
  made.what = made.read->what;
  return made;
}

// What all of `like` say: their outputs and statuses are the same.
void run_reader::read_group(const std::vector<const stored_result*>& like,
                            fact_table& facts) {
  const stored_result& first = *like.front();
  provider_info& info =
      made_.providers[provider_places_.at({first.provider, first.option_id})];
  const group_facts read = facts_of(first, facts);
  std::vector<std::uint32_t> nodes;
  std::string limit;  // the same for all
  for (const stored_result* each : like) {
    const std::uint32_t node = place_of_node_[names_.number_of(each->node)];
    nodes.push_back(node);
    info.answers[node] = answer_of(
        *each, read.what,
        explains_itself(*each) ? outputs_.last_error_line(*each) : "");
    if (info.answers[node].what != answer::timed_out) continue;
    if (limit.empty())
      limit =
          ", " + limit_words(made_.run.command_line, info.name, info.option_id);
    info.answers[node].reason += limit;
  }
  if (std::find(info.versions.begin(), info.versions.end(), first.version) ==
      info.versions.end())
    info.versions.push_back(first.version);
  const answer what = info.answers[nodes.front()].what;
  // How a command failed stands in the answer.
  if (what != answer::ok && what != answer::incomplete) return;
  if (read.read != nullptr)
    facts.add(*read.series, *read.read, first.version, nodes,
              first.output_size <= 1);
  else if (!read.problem.empty())
    facts.add_unread(facts::whole_output, read.problem, nodes);
}

void run_reader::read_outputs() {
  fact_table facts(made_);
  const auto likeness = [](const stored_result* of) {
    return std::tie(of->output_size, of->hash, of->base64, of->version,
                    of->exit_status);
  };
  for (const auto& [key, place] : provider_places_) {
    std::vector<const stored_result*> all = newest_[place];
    std::erase(all, nullptr);
    std::stable_sort(all.begin(), all.end(), [&](const auto* a, const auto* b) {
      return likeness(a) < likeness(b);
    });
    facts.begin(made_.providers[place].name, made_.providers[place].option);
    for (std::size_t i = 0; i < all.size();) {
      std::vector<const stored_result*> like;
      do
        like.push_back(all[i++]);
      while (i < all.size() && likeness(all[i]) == likeness(like.front()));
      read_group(like, facts);
    }
    facts.end();
    describe(made_.providers[place], key.first);
  }
  facts.finish();
  for (unread_fact& each : made_.unread)
    each.is_undescribed = each.name == facts::whole_output &&
                          !descriptions_.has_any(each.provider);
}

void run_reader::count() {
  run_info& run = made_.run;
  std::vector<bool> answered(made_.nodes.size());
  for (const auto& of_provider : newest_)
    for (std::size_t i = 0; i < of_provider.size(); ++i)
      if (of_provider[i]) {
        answered[i] = true;
        ++came_;
      }
  run.nodes = static_cast<std::size_t>(
      std::count(answered.begin(), answered.end(), true));
  run.results = came_;
  run.nodes_expected = std::max(run.nodes_expected, made_.nodes.size());
  run.results_expected = std::max(run.results_expected, came_ + missing_);
}

void run_reader::read_results_of(const reading::result_choice& of) {
  results_ = reading::stored_results(base_, of);
  number_nodes();
  list_providers();
  keep_newest();
  read_outputs();
}

run_data run_reader::read(std::int64_t number) {
  const one_moment moment(base_);
  read_run(number);
  read_expectations(number);
  read_results_of({number, {}, {}});
  mark_missing();
  count();
  return std::move(made_);
}

run_data run_reader::read_results(const reading::result_choice& of) {
  const one_moment moment(base_);
  read_run(of.run);
  read_results_of(of);
  return std::move(made_);
}

void rename_option(run_data& of, const std::string& provider,
                   const std::string& option) {
  for (provider_info& each : of.providers)
    if (each.name == provider) each.option = option;
  for (fact_column& each : of.facts)
    if (each.provider == provider) each.option = option;
}

std::map<std::string, std::vector<const provider_info*>> option_sets(
    const run_data& of) {
  std::map<std::string, std::vector<const provider_info*>> sets;
  for (const provider_info& each : of.providers)
    sets[each.name].push_back(&each);
  return sets;
}

// What ran with one set here and with several there gets its name here too.
void name_single_sets(run_data& here, const run_data& there) {
  const auto others = option_sets(there);
  for (const auto& [name, sets] : option_sets(here)) {
    const auto other = others.find(name);
    if (other == others.end() || sets.size() != 1) continue;
    const bool alike =
        other->second.size() == 1 &&
        other->second.front()->option_id == sets.front()->option_id;
    if (!alike) rename_option(here, name, sets.front()->option_id);
  }
}

}  // namespace

run_loader::run_loader(datastore::database& base,
                       const facts::description_set& descriptions)
    : base_(base), descriptions_(descriptions), outputs_(base, descriptions) {}

run_data run_loader::load(std::int64_t run) {
  return run_reader(base_, outputs_, descriptions_).read(run);
}

run_data run_loader::load_results(const reading::result_choice& of) {
  return run_reader(base_, outputs_, descriptions_).read_results(of);
}

run_data load(datastore::database& base, std::int64_t run,
              const facts::description_set& descriptions) {
  return run_loader(base, descriptions).load(run);
}

void align_options(run_data& now, run_data& earlier) {
  name_single_sets(now, earlier);
  name_single_sets(earlier, now);
}

}  // namespace zelk::check
