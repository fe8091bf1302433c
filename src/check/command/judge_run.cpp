#include "src/check/command/judge_run.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "src/check/command/known_checks.h"
#include "src/check/command/limits.h"
#include "src/check/input/asked_groups.h"
#include "src/check/input/load.h"
#include "src/check/input/node_notes.h"
#include "src/check/input/only_nodes.h"
#include "src/check/input/run_choice.h"
#include "src/check/judge/glob.h"
#include "src/check/judge/machines.h"
#include "src/collect/src/accumulate/datastore_location.h"
#include "src/collect/src/reading/acceptances.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/opening.h"
#include "src/common/facts/description_set.h"
#include "src/common/node/tokenized_host.h"
#include "src/common/text/size_text.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

using datastore::database;
using reading::refusal;

// For another process that is writing.
constexpr std::chrono::seconds wait{30};

// Earlier runs that are asked what the nodes are; the last full one knows.
constexpr std::int64_t most_asked_for_machines = 8;

reading::place find_place(const check_settings& settings) {
  const accumulate::datastore_location found =
      accumulate::find_datastore(settings.datastore, settings.config_file);
  if (!found.problem.empty()) throw refusal(found.problem);
  return {found.path, wait};
}

std::vector<acceptance> acceptances_at(database& base, std::int64_t now_usec) {
  std::vector<acceptance> all;
  for (reading::stored_acceptance& each : reading::acceptances(base))
    if (each.holds_at(now_usec))
      all.push_back({each.id, each.check, std::move(each.nodes), each.reason,
                     each.who, each.made_usec, each.until_usec});
  return all;
}

void remove_names(std::vector<std::string>& from,
                  const std::vector<std::string>& names) {
  const std::unordered_set<std::string_view> removed(names.begin(),
                                                     names.end());
  std::erase_if(from, [&](const auto& name) { return removed.contains(name); });
}

// Who is to be compared by what nobody has would be compared with all.
void check_peers(const check_settings& settings, const run_data& run) {
  const peers_by by = settings.judge.by;
  if (by != peers_by::role && by != peers_by::subcluster) return;
  const std::string what = name_of(by);
  std::vector<std::string> without;
  for (std::size_t i = 0; i < run.nodes.size(); ++i)
    if ((by == peers_by::role ? run.notes[i].role : run.notes[i].subcluster)
            .empty())
      without.push_back(run.nodes[i]);
  const std::string option = "--peers " + what;
  if (without.size() == run.nodes.size())
    throw refusal(option + ": no node of the run has a " + what +
                  ": give a node file (-n) that says \"" + what +
                  "=...\" behind their names");
  if (without.empty() || settings.quiet) return;
  const auto count = static_cast<std::int64_t>(without.size());
  std::cerr << program_name << ": " << option << ": "
            << text::counted(count, "node") << " without one, compared as '"
            << "no " << what << "': "
            << text::visible_text(TokenizedHost::get_merged_hosts(without))
            << '\n';
}

class run_judge {
 public:
  run_judge(const check_settings& settings, const check_set& checks,
            database& base)
      : settings_(settings),
        checks_(checks),
        base_(base),
        descriptions_(settings.descriptions,
                      settings.install_root + "/share/zelkara/description.xsd"),
        loader_(std::make_unique<run_loader>(base, descriptions_)),
        others_(limit_of_questions(settings.timeout)) {
    if (!settings.nodefile.empty()) notes_ = read_nodefile(settings.nodefile);
  }

  void judge_into(judged_run& result);

 private:
  run_data load_noted(std::int64_t number);
  run_data load_judged(std::int64_t number);
  void tell_machines(run_data& now, const accumulate::run& run,
                     const run_data* baseline);
  std::vector<earlier_run> history_of(const accumulate::run& now,
                                      const run_data& judged,
                                      const judge_options& options,
                                      const std::vector<acceptance>& accepted,
                                      const run_data* baseline);
  void tell_what_is_about_nothing(const std::vector<metric_limit>& limits,
                                  const std::vector<acceptance>& accepted,
                                  const run_data& run) const;
  judgement chosen(judgement all, const run_data& run);

  const check_settings& settings_;
  const check_set& checks_;
  database& base_;
  facts::description_set descriptions_;
  std::unique_ptr<run_loader> loader_;
  asked_groups others_;
  std::optional<node::Nodelist> notes_;
  std::vector<std::string>
      unknown_;  // nodes of --class, of the last run loaded
};

run_data run_judge::load_noted(std::int64_t number) {
  run_data loaded = loader_->load(number);
  if (notes_) give_notes(loaded, *notes_);
  unknown_ = give_classes(loaded, settings_.classes, others_);
  return loaded;
}

// The run that is judged; what was said of its nodes, and cannot be kept, is
// told.
run_data run_judge::load_judged(std::int64_t number) {
  run_data loaded = load_noted(number);
  if (!unknown_.empty())
    std::cerr << program_name << ": --class: the run has no "
              << text::visible_text(TokenizedHost::get_merged_hosts(unknown_))
              << " ("
              << text::counted(static_cast<std::int64_t>(unknown_.size()),
                               "node")
              << ")\n";
  check_peers(settings_, loaded);
  return loaded;
}

// A run of a few providers does not say what the nodes are: earlier ones do.
void run_judge::tell_machines(run_data& now, const accumulate::run& run,
                              const run_data* baseline) {
  now.machines = machines_in(now);
  if (baseline)
    complete(now.machines, now.nodes, machines_in(*baseline), baseline->nodes);
  accumulate::run_filter filter;
  filter.started_until_usec = run.started_usec;
  filter.limit = most_asked_for_machines;
  for (const accumulate::run& each : accumulate::list_runs(base_, filter)) {
    const machines_wanted wanted = wanted_of(now, now.machines);
    if (wanted.nodes.empty()) return;
    if (baseline && each.number == baseline->run.number) continue;
    const run_data said =
        loader_->load_results({each.number, wanted.nodes, wanted.providers});
    complete(now.machines, now.nodes, machines_in(said), said.nodes);
  }
}

// Each earlier run is judged by itself, as it was then.
std::vector<earlier_run> run_judge::history_of(
    const accumulate::run& now, const run_data& judged,
    const judge_options& options, const std::vector<acceptance>& accepted,
    const run_data* baseline) {
  std::vector<earlier_run> earlier;
  history_budget budget;
  if (baseline) budget.loaded = baseline->run.number;
  for (const accumulate::run& each : choose_history(base_, now, budget)) {
    judge_options then = options;
    then.now_usec = each.ended_usec;
    const auto remembered = [&](const run_data& run) {
      return remember(judge(run, nullptr, {}, checks_, accepted, then));
    };
    if (each.number == budget.loaded) {
      earlier.push_back(remembered(*baseline));
      continue;
    }
    run_data run = load_noted(each.number);
    run.machines = machines_in(run);
    complete(run.machines, run.nodes, judged.machines, judged.nodes);
    earlier.push_back(remembered(run));
  }
  return earlier;
}

judgement run_judge::chosen(judgement all, const run_data& run) {
  if (settings_.nodes.empty() && settings_.excluded.empty()) return all;
  node_groups groups = groups_of(run);
  add_classes(groups, all.classes);
  std::vector<std::string> names = run.nodes;
  if (!settings_.nodes.empty())
    names = names_of("-w", settings_.nodes, groups, others_);
  const std::vector<std::string> out =
      names_of("-x", settings_.excluded, groups, others_);
  std::vector<std::string> unknown_out = out;
  remove_names(unknown_out, run.nodes);
  if (!unknown_out.empty())
    throw refusal("-x: the run neither expected nor has " +
                  TokenizedHost::get_merged_hosts(unknown_out));
  remove_names(names, out);
  std::vector<std::string> unknown = names;
  remove_names(unknown, run.nodes);
  // Nothing said of a node is not that it is well.
  if (!unknown.empty())
    throw refusal("-w: the run neither expected nor has " +
                  TokenizedHost::get_merged_hosts(unknown));
  if (names.empty()) throw refusal("no node of the run matches the selection");
  return only_nodes(std::move(all), names, run);
}

void run_judge::tell_what_is_about_nothing(
    const std::vector<metric_limit>& limits,
    const std::vector<acceptance>& accepted, const run_data& run) const {
  if (settings_.quiet) return;
  tell_unlimited_nodes(limits, run);
  tell_acceptances_of_nothing(settings_, checks_, accepted);
  tell_facts_of_nobody(settings_, checks_, run);
}

void run_judge::judge_into(judged_run& result) {
  const chosen_run asked = choose_run(base_, settings_.run);
  const accumulate::run& now = asked.run;
  const std::optional<accumulate::run> earlier =
      choose_baseline(base_, now, settings_.baseline);
  result.run = load_judged(now.number);
  judge_options options = options_for(settings_, result.run.run);
  options.limits = limits_for(settings_.limits, result.run);
  const std::vector<acceptance> accepted =
      acceptances_at(base_, present_usec());
  if (settings_.what == action::report)
    tell_what_is_about_nothing(options.limits, accepted, result.run);
  std::optional<run_data> baseline;
  if (earlier) baseline = load_noted(earlier->number);
  tell_machines(result.run, now, baseline ? &*baseline : nullptr);
  const std::vector<earlier_run> history = history_of(
      now, result.run, options, accepted, baseline ? &*baseline : nullptr);
  if (baseline) align_options(result.run, *baseline);
  loader_.reset();  // and what it remembers of outputs
  judgement all = judge(result.run, baseline ? &*baseline : nullptr, history,
                        checks_, accepted, options);
  all.now_usec = present_usec();
  all.newer_running = asked.newer;
  result.what = chosen(std::move(all), result.run);
}

}  // namespace

std::int64_t present_usec() {
  const char* given = std::getenv("SOURCE_DATE_EPOCH");
  char* end = nullptr;
  const long long seconds = given ? std::strtoll(given, &end, 10) : 0;
  const bool is_number = given && end != given && *end == '\0';
  if (given && *given != '\0' && !is_number)
    throw refusal("SOURCE_DATE_EPOCH: expected seconds since 1970; found '" +
                  text::visible_text(given) + "'");
  return is_number ? seconds * text::usec_per_sec : text::now_usec();
}

bool names_the_past(const std::string& run) {
  return run != "latest" && !run.starts_with("label:");
}

judge_options options_for(const check_settings& settings, const run_info& run) {
  judge_options options = settings.judge;
  options.now_usec = present_usec();
  if (settings.max_age_usec)
    options.max_age_usec = *settings.max_age_usec;
  else if (names_the_past(settings.run))
    options.now_usec = run.ended_usec == 0 ? options.now_usec : run.ended_usec;
  return options;
}

check_set read_checks(const check_settings& settings) {
  std::optional<check_set> checks =
      check_set::read(settings.checks_folders,
                      settings.install_root + "/share/zelkara/check.xsd");
  if (!checks) throw refusal("the check definitions cannot be used");
  check_asked(settings, *checks);
  return std::move(*checks);
}

judged_run judge_run(const check_settings& settings, const check_set& checks) {
  const reading::place where = find_place(settings);
  judged_run result;
  result.path = where.path;
  result.base = std::make_unique<database>(reading::open_to_read(where));
  run_judge(settings, checks, *result.base).judge_into(result);
  return result;
}

}  // namespace zelk::check
