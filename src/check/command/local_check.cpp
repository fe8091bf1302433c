#include "src/check/command/local_check.h"

#include <algorithm>
#include <chrono>
#include <iostream>

#include "src/check/command/judge_run.h"
#include "src/check/command/limits.h"
#include "src/check/command/watchdog.h"
#include "src/check/input/local_run.h"
#include "src/check/judge/built_in_checks.h"
#include "src/check/judge/glob.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

// A batch system ends its health check after 60 s, and may take the node out of
// service for it.
constexpr std::chrono::seconds all_the_time{20};
// What is measured ends so much earlier, or this part of all.
constexpr std::chrono::milliseconds most_for_judging{1000};
constexpr int share_for_judging = 4;

// Whether a check can say something of a machine by itself.
bool needs_nobody_else(const check_definition& check) {
  return check.what.kind == rule::range || check.what.kind == rule::value ||
         check.what.kind == rule::present || check.what.kind == rule::absent;
}

void add_facts(std::vector<std::string>& to, const check_definition& of) {
  to.insert(to.end(), of.facts.begin(), of.facts.end());
}

// Those asked for, or else the quick ones.
void add_checks(const check_settings& settings, const check_set& checks,
                local_wish& wish) {
  for (const check_definition* each : checks.all()) {
    if (each->facts.empty() || matches_any(settings.judge.skip, each->id))
      continue;
    if (settings.judge.only.empty()) {
      if (each->quick) add_facts(wish.facts, *each);
    } else if (matches_any(settings.judge.only, each->id) &&
               needs_nobody_else(*each)) {
      add_facts(wish.facts_by_name, *each);
    }
  }
}

local_wish wish_of(const check_settings& settings, const check_set& checks) {
  local_wish wish;
  add_checks(settings, checks, wish);
  const bool no_check = wish.facts.empty() && wish.facts_by_name.empty();
  if (no_check && !settings.judge.only.empty())
    throw reading::refusal(
        "--local: none of the checks asked for can be judged here: they "
        "compare "
        "a node with others, or with an earlier run");
  for (const metric_limit& limit : settings.judge.limits)
    wish.facts_by_name.push_back(limit.metric);
  if (wish.facts.empty() && wish.facts_by_name.empty())
    throw reading::refusal(
        "--local: no check is marked quick, and no --limit is given");
  wish.install_root = settings.install_root;
  wish.config_file = settings.config_file;
  wish.descriptions = settings.descriptions;
  return wish;
}

// What could not be measured in the time that there was is told apart:
// tell_not_judged().
judge_options options_of(const check_settings& settings) {
  judge_options options = settings.judge;
  options.limits.clear();
  options.now_usec = text::now_usec();
  options.quick_only = options.only.empty();
  options.by = peers_by::none;
  for (const char* id :
       {"no-answer", "timeout", "failed", "incomplete", "unreadable", "stale"})
    options.skip.emplace_back(id);
  return options;
}

std::string one_line(const finding& of) {
  const std::string message = of.message.empty() ? of.title : of.message;
  const bool named = of.fact.empty() || message.starts_with(of.fact);
  return text::visible_text(of.check + ": " + (named ? "" : of.fact + ": ") +
                            message);
}

class local_judge {
 public:
  local_judge(const check_settings& settings, const check_set& checks,
              const run_data& run)
      : settings_(settings), checks_(checks), run_(run) {}

  // Prints what is wrong, a line each, and returns the exit status.
  int judge_all();

 private:
  void judge_by(const judge_options& options);
  void judge_limits();

  const check_settings& settings_;
  const check_set& checks_;
  const run_data& run_;
  int worst_ = status_fine;
  bool something_missing_ = false;
};

void local_judge::judge_by(const judge_options& options) {
  const judgement judged = judge(run_, nullptr, {}, checks_, {}, options);
  for (const finding& each : judged.findings)
    if (each.level != severity::informational) {
      std::cout << "ERROR zelk: " << one_line(each) << '\n';
      worst_ =
          std::max(worst_, each.level == severity::critical ? status_critical
                                                            : status_warning);
    }
}

// Each by itself: two limits that are broken are two lines.
void local_judge::judge_limits() {
  judge_options options = options_of(settings_);
  options.only = {built_in::limit};
  for (const std::string& text : settings_.limits)
    try {
      for (const metric_limit& limit : limits_for({text}, run_)) {
        options.limits = {limit};
        judge_by(options);
      }
    } catch (const reading::refusal& error) {
      std::cerr << program_name << ": not judged: " << error.what() << '\n';
      something_missing_ = true;
    }
}

// Who cannot be measured here for good is no news. Returns whether something
// was told.
bool tell_not_judged(const run_data& run) {
  bool told = false;
  for (const provider_info& each : run.providers) {
    const provider_answer& answer = each.answers.front();
    if (answer.what != answer::timed_out && answer.what != answer::failed)
      continue;
    told = true;
    std::cerr << program_name << ": not judged: "
              << text::visible_text(each.name + ": " + answer.reason) << '\n';
  }
  return told;
}

bool anything_measured(const run_data& run) {
  for (const fact_column& each : run.facts)
    if (each.values.size() > 0 && each.values[0] != no_value) return true;
  return false;
}

int local_judge::judge_all() {
  judge_by(options_of(settings_));
  judge_limits();
  something_missing_ = tell_not_judged(run_) || something_missing_;
  if (!anything_measured(run_)) {
    std::cerr << program_name << ": nothing could be judged\n";
    return status_cannot_tell;
  }
  const fail_on from = settings_.report.threshold;
  const bool counts = from == fail_on::warning    ? worst_ >= status_warning
                      : from == fail_on::critical ? worst_ == status_critical
                                                  : false;
  if (counts) return worst_;
  return something_missing_ ? status_cannot_tell : status_fine;
}

}  // namespace

int check_locally(const check_settings& settings) {
  const std::chrono::seconds all =
      settings.timeout.count() == 0 ? all_the_time : settings.timeout;
  const watchdog limit(all, "nothing was judged in time");
  const check_set checks = read_checks(settings);
  local_wish wish = wish_of(settings, checks);
  wish.deadline =
      limit.deadline() -
      std::min<std::chrono::milliseconds>(
          most_for_judging, std::chrono::milliseconds(all) / share_for_judging);
  const run_data run = measure_here(wish);
  return local_judge(settings, checks, run).judge_all();
}

}  // namespace zelk::check
