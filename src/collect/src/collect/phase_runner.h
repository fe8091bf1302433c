// Carries out the tasks of a plan, one phase after the other: launches them,
// tries silent nodes again, goes on behind a provider that did not end, and
// finds the reason for each result that does not come.
//
// Works inside the event loop; the launcher does the launching and the ledger
// keeps the account.

#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "src/collect/src/collect/event_loop.h"
#include "src/collect/src/collect/launcher.h"
#include "src/collect/src/collect/ledger.h"
#include "src/collect/src/collect/plan.h"
#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

struct phase_hooks {
  std::function<launch(const task&)> make_launch;
  std::function<void(const task&)> launched;
  // A worker has ended for good; there is no other try.
  std::function<void(const launch_outcome&)> ended;
};

class phase_runner {
 public:
  phase_runner(event_loop& loop, launcher& starter, ledger& account,
               const plan& made, const collect_settings& settings,
               phase_hooks hooks);
  ~phase_runner();
  phase_runner(const phase_runner&) = delete;
  phase_runner& operator=(const phase_runner&) = delete;

  // Begins a phase: of each task what the ledger still waits for. Requires:
  // !busy().
  void start(const std::vector<task>& phase);
  bool busy() const { return !running_.empty(); }
  // Begins nothing any more: what is not begun has `reason`, and so has what
  // the launcher stops from now on.
  void stop(const std::string& reason);
  // The moment at which every launch of the phase must have ended, by the
  // limits of each; whoever waits longer waits for a launcher that is stuck.
  event_loop::clock::time_point deadline() const { return deadline_; }
  // Gives up what is running: the launcher does not answer.
  void forsake();

  // Workers that ended well and of which results are still on their way, as far
  // as can be told.
  bool awaits_results() const;
  // Tells the ledger why the rest does not come. When nothing is busy.
  void give_reasons();

 private:
  struct attempt {
    task what;
    int tries = 1;
  };
  struct ending_of {
    attempt which;
    launch_outcome outcome;
    event_loop::clock::time_point at;
  };

  void begin(std::vector<attempt> attempts);
  bool is_out_of_reach(const task& what);
  void on_outcome(launch_outcome outcome);
  bool wants_retry(const attempt& one, const launch_outcome& outcome) const;
  void on_time_out(ending_of end);
  void finish(ending_of end);
  void finish_unlaunched(attempt one, ending how, const std::string& reason);
  void go_on();
  std::vector<why> reasons_for(const ending_of& end,
                               const std::vector<expected_result>& lacking);
  std::vector<expected_result> lacking(const task& what) const;
  // `what` with only those results, and what is needed for them.
  task reduced(const task& what,
               const std::vector<expected_result>& results) const;

  event_loop& loop_;
  launcher& launcher_;
  ledger& ledger_;
  const plan& plan_;
  const collect_settings& settings_;
  phase_hooks hooks_;
  std::unordered_map<std::string, attempt> running_;  // by node
  std::vector<attempt> again_;
  std::vector<ending_of> ended_;
  std::unordered_map<std::string, why> out_of_reach_;  // by node
  std::vector<event_loop::timer_id> timers_;
  event_loop::clock::time_point deadline_;
  bool stopping_ = false;
  std::string stop_reason_;
};

}  // namespace zelk::collect
