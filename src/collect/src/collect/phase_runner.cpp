#include "src/collect/src/collect/phase_runner.h"

#include <algorithm>
#include <utility>

#include "src/collect/src/collect/missing_reasons.h"

namespace zelk::collect {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// A result is told of when it is safe on disk, which the accumulator may put
// off by half a second. What a worker sent before its end is known after this.
constexpr milliseconds storing_time{1500};

// What a launch may take beyond its limit, at the utmost: the login three times
// the connect time-out, SIGTERM and SIGKILL 10 s each, and a slow machine.
constexpr seconds launch_slack{60};

// Of what a worker wrote, the end is kept until the reasons are found: a
// thousand nodes may be that talkative. A worker writes a line a provider.
constexpr std::size_t kept_errors = std::size_t{16} << 10;  // bytes

why stopped_because(const std::string& reason, bool of_node) {
  return {shortfall::stopped, reason, reason, of_node};
}

// Nodes at which another phase would fail the same way.
bool stays_out_of_reach(ending how) {
  return is_silence(how) || how == ending::host_key || how == ending::login ||
         how == ending::program_missing || how == ending::wrong_version;
}

}  // namespace

phase_runner::phase_runner(event_loop& loop, launcher& starter, ledger& account,
                           const plan& made, const collect_settings& settings,
                           phase_hooks hooks)
    : loop_(loop),
      launcher_(starter),
      ledger_(account),
      plan_(made),
      settings_(settings),
      hooks_(std::move(hooks)) {}

phase_runner::~phase_runner() {
  for (const event_loop::timer_id timer : timers_)
    loop_.cancel(timer);
}

std::vector<expected_result> phase_runner::lacking(const task& what) const {
  std::vector<expected_result> list;
  for (const expected_result& each : what.expected)
    if (ledger_.waits_for(each)) list.push_back(each);
  return list;
}

task phase_runner::reduced(const task& what,
                           const std::vector<expected_result>& results) const {
  task less;
  less.node = what.node;
  less.group = what.group;
  less.expected = results;
  less.limit = task_margin;
  for (const planned_provider& provider : plan_.providers) {
    bool needed = false;
    for (const option_set& set : provider.options)
      for (const expected_result& each : results)
        needed |= each.provider == provider.name && each.option == set.id;
    if (!needed) continue;
    // The worker runs all option sets of a provider, so there is time for all.
    for (const option_set& set : provider.options)
      less.limit += set.timeout;
    less.descriptions.push_back(provider.path);
  }
  return less;
}

void phase_runner::start(const std::vector<task>& phase) {
  std::vector<attempt> attempts;
  for (const task& what : phase) {
    const std::vector<expected_result> wanted = lacking(what);
    if (wanted.empty() || is_out_of_reach(what)) continue;
    attempts.push_back(
        {wanted.size() == what.expected.size() ? what : reduced(what, wanted)});
  }
  begin(std::move(attempts));
}

bool phase_runner::is_out_of_reach(const task& what) {
  const auto found = out_of_reach_.find(what.node);
  if (found == out_of_reach_.end()) return false;
  for (const expected_result& each : what.expected)
    ledger_.give_up(each, found->second);
  return true;
}

void phase_runner::begin(std::vector<attempt> attempts) {
  if (stopping_ || attempts.empty()) return;
  const auto now = event_loop::clock::now();
  milliseconds longest{0};
  std::vector<launch> launches;
  for (attempt& one : attempts) {
    launches.push_back(hooks_.make_launch(one.what));
    longest = std::max(longest, launches.back().limit);
    ledger_.launched(one.what.node, now);
    hooks_.launched(one.what);
    running_.insert_or_assign(one.what.node, std::move(one));
  }
  // As many rounds as the fan-out needs, each as long as the longest.
  const auto fanout = static_cast<std::size_t>(std::max(1, settings_.fanout));
  const auto rounds =
      static_cast<std::int64_t>((launches.size() + fanout - 1) / fanout);
  const milliseconds round = longest + settings_.stagger +
                             3 * settings_.connect_timeout + launch_slack;
  deadline_ = std::max(deadline_, now + rounds * round);
  launcher_.start(std::move(launches), [this](launch_outcome outcome) {
    on_outcome(std::move(outcome));
  });
}

void phase_runner::on_outcome(launch_outcome outcome) {
  const auto found = running_.find(outcome.node);
  if (found == running_.end()) return;  // it was forsaken
  outcome.output.clear();
  ledger_.ended(outcome.node);
  ending_of end{std::move(found->second), std::move(outcome),
                event_loop::clock::now()};
  if (end.outcome.how == ending::timed_out && !stopping_) {
    // It stays among the running ones, so that the phase is not over.
    timers_.push_back(
        loop_.after(storing_time, [this, late = std::move(end)]() mutable {
          running_.erase(late.which.what.node);
          on_time_out(std::move(late));
          go_on();
        }));
    return;
  }
  running_.erase(found);
  if (wants_retry(end.which, end.outcome)) {
    ++end.which.tries;
    again_.push_back(std::move(end.which));
  } else {
    finish(std::move(end));
  }
  go_on();
}

bool phase_runner::wants_retry(const attempt& one,
                               const launch_outcome& outcome) const {
  return is_silence(outcome.how) && one.tries <= settings_.retry && !stopping_;
}

// The first result that has not come is that of the provider that did not end.
// Those behind it have not had their turn.
void phase_runner::on_time_out(ending_of end) {
  const std::vector<expected_result> wanted = lacking(end.which.what);
  if (stopping_ || wanted.empty()) return finish(std::move(end));
  const std::vector<why> reasons = reasons_for(end, wanted);
  std::vector<expected_result> rest;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    // All option sets of it: they are run in one go.
    if (wanted[i].provider == wanted.front().provider)
      ledger_.give_up(wanted[i], reasons[i]);
    else
      rest.push_back(wanted[i]);
  }
  if (rest.empty()) return finish(std::move(end));
  std::vector<attempt> next;
  next.push_back({reduced(end.which.what, rest)});
  begin(std::move(next));
}

void phase_runner::finish(ending_of end) {
  hooks_.ended(end.outcome);
  std::string& errors = end.outcome.errors;
  if (errors.size() > kept_errors) errors.erase(0, errors.size() - kept_errors);
  ended_.push_back(std::move(end));
}

void phase_runner::finish_unlaunched(attempt one, ending how,
                                     const std::string& reason) {
  launch_outcome none;
  none.node = one.what.node;
  none.how = how;
  none.reason = none.common_reason = reason;
  finish({std::move(one), std::move(none), event_loop::clock::now()});
}

// Silent nodes are tried again when all others are done: that gives them time.
void phase_runner::go_on() {
  if (!running_.empty() || again_.empty()) return;
  begin(std::exchange(again_, {}));
}

void phase_runner::stop(const std::string& reason) {
  if (stopping_) return;
  stopping_ = true;
  stop_reason_ = reason;
  for (attempt& one : std::exchange(again_, {}))
    finish_unlaunched(std::move(one), ending::stopped, reason);
}

void phase_runner::forsake() {
  for (auto& [node, one] : std::exchange(running_, {})) {
    ledger_.ended(node);
    finish_unlaunched(
        std::move(one), stopping_ ? ending::stopped : ending::launcher_failed,
        "the launcher did not tell how it ended, long after its limit");
  }
}

std::vector<why> phase_runner::reasons_for(
    const ending_of& end, const std::vector<expected_result>& lacking_ones) {
  const std::string& node = end.which.what.node;
  if (end.outcome.how == ending::stopped && !stop_reason_.empty())
    return std::vector<why>(
        lacking_ones.size(),
        stopped_because(stop_reason_, !ledger_.answers(node)));
  launch_facts facts;
  facts.tries = end.which.tries;
  facts.limit_typed = settings_.timeout.has_value();
  facts.last_provider_took =
      std::min(end.outcome.took.count(), ledger_.silence(node, end.at).count());
  return reasons_of(end.outcome, lacking_ones, plan_, facts);
}

bool phase_runner::awaits_results() const {
  for (const ending_of& end : ended_) {
    if (end.outcome.how != ending::exited || end.outcome.status != 0) continue;
    const std::vector<expected_result> wanted = lacking(end.which.what);
    if (wanted.empty()) continue;
    const std::vector<why> reasons = reasons_of(end.outcome, wanted, plan_, {});
    if (std::any_of(reasons.begin(), reasons.end(), [](const why& each) {
          return each.kind == shortfall::no_result;
        }))
      return true;
  }
  return false;
}

void phase_runner::give_reasons() {
  for (const ending_of& end : std::exchange(ended_, {})) {
    const std::vector<expected_result> wanted = lacking(end.which.what);
    const std::vector<why> reasons = reasons_for(end, wanted);
    for (std::size_t i = 0; i < reasons.size(); ++i)
      ledger_.give_up(wanted[i], reasons[i]);
    if (!reasons.empty() && stays_out_of_reach(end.outcome.how))
      out_of_reach_.insert_or_assign(end.which.what.node, reasons.front());
  }
  if (!stopping_) return;
  for (const auto& phase : plan_.phases)
    for (const task& what : phase)
      for (const expected_result& each : lacking(what))
        ledger_.give_up(
            each, stopped_because(stop_reason_, !ledger_.answers(what.node)));
}

}  // namespace zelk::collect
