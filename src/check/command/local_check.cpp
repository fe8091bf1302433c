#include "src/check/command/local_check.h"

#include <fmt/format.h>

#include <chrono>
#include <iostream>

#include "src/check/command/judge_run.h"
#include "src/check/command/watchdog.h"
#include "src/check/input/local_run.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

// A batch system ends its health check after 60 s, and may take the node out of
// service for it.
constexpr std::chrono::seconds all_the_time{20};
// What is measured ends so much earlier.
constexpr std::chrono::seconds for_judging{1};

local_wish wish_of(const check_settings& settings, const check_set& checks) {
  local_wish wish;
  for (const check_definition* each : checks.all())
    if (each->quick)
      wish.facts.insert(wish.facts.end(), each->facts.begin(),
                        each->facts.end());
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

// That something could not be measured in the time that there was is not the
// node's fault: tell_not_judged().
judge_options options_of(const check_settings& settings) {
  judge_options options = settings.judge;
  options.now_usec = text::now_usec();
  options.quick_only = true;
  options.by = peers_by::none;
  for (const char* id :
       {"no-answer", "timeout", "failed", "incomplete", "stale"})
    options.skip.emplace_back(id);
  return options;
}

std::string one_line(const finding& of) {
  return text::visible_text(of.check + ": " +
                            (of.message.empty() ? of.title : of.message));
}

// Who cannot be measured here for good is no news.
void tell_not_judged(const run_data& run) {
  for (const provider_info& each : run.providers) {
    const provider_answer& answer = each.answers.front();
    if (answer.what == answer::timed_out || answer.what == answer::failed)
      std::cerr << program_name << ": not judged: "
                << text::visible_text(each.name + ": " + answer.reason) << '\n';
  }
}

bool anything_measured(const run_data& run) {
  for (const fact_column& each : run.facts)
    if (each.values.size() > 0 && each.values[0] != no_value) return true;
  return false;
}

}  // namespace

int check_locally(const check_settings& settings) {
  const watchdog limit(
      settings.timeout.count() == 0 ? all_the_time : settings.timeout,
      "nothing was judged in time");
  const check_set checks = read_checks(settings);
  local_wish wish = wish_of(settings, checks);
  wish.deadline = limit.deadline() - for_judging;
  const run_data run = measure_here(wish);
  const judgement judged =
      judge(run, nullptr, {}, checks, {}, options_of(settings));
  for (const finding& each : judged.findings)
    if (each.level != severity::informational)
      std::cout << "ERROR zelk: " << one_line(each) << '\n';
  tell_not_judged(run);
  if (!anything_measured(run)) {
    std::cerr << program_name << ": nothing could be judged\n";
    return status_cannot_tell;
  }
  return exit_status(judged, settings.report.threshold);
}

}  // namespace zelk::check
