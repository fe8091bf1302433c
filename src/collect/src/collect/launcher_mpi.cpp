// All nodes of a call go into one mpirun, one task each, and into one text, of
// which each node takes its own part by its rank: the sequential mapping gives
// ranks in the order of the hosts.
//
// mpirun is made for programs whose tasks need each other. What follows from
// that, for Open MPI:
//
// - It starts nothing anywhere when one host cannot be reached, and does not
//   say which. All hosts are then asked by ssh, which mpirun uses as well;
//   those that do not answer are left out, with ssh's words for the reason, and
//   the rest is tried again.
// - It ends all tasks when one ends with a status other than 0, so ours never
//   does; what the worker ended with is told by the text.
// - Its tasks have no standard input, but for the first. The lifeline is mpirun
//   itself: when it ends, its daemons on the nodes wait a moment, send SIGTERM,
//   wait once more and send SIGKILL.
//
// Options go through the environment: an unknown one is an error on the command
// line and nothing there. Open MPI 5 has taken the names of PRRTE.

#include <list>
#include <set>
#include <utility>

#include "src/collect/src/collect/group_run.h"
#include "src/collect/src/collect/launch_rules.h"
#include "src/collect/src/collect/launcher_kinds.h"
#include "src/collect/src/collect/outcome_queue.h"
#include "src/common/str/str.h"

namespace zelk::collect {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// mpirun for the same nodes, with those left out that were found dead between.
constexpr int most_tries = 3;

// How long its daemons wait before SIGTERM, and again before SIGKILL: enough
// for a worker to end, and little to wait for.
constexpr seconds task_patience{3};

// On top of the time for a login, for each node: mpirun starts them in turns.
constexpr milliseconds start_of_a_node{50};

class mpi_launcher : public launcher {
 public:
  mpi_launcher(const launcher_settings& settings, event_loop& loop)
      : settings_(settings), loop_(loop), outcomes_(loop) {}
  ~mpi_launcher() override;

  void start(std::vector<launch> launches,
             std::function<void(launch_outcome)> done) override;
  void stop() override;
  void abandon() override;

 private:
  // One call of start().
  struct batch {
    std::vector<launch> launches;  // that wait for a try, or for the next
    outcome_taker taker;
    int tries = 0;
    event_loop::timer_id timer = 0;
    std::unique_ptr<group_run> run;
    std::unique_ptr<launcher> inquiry;
    std::size_t unanswered = 0;
    std::vector<launch> reachable;
    failure last;
  };
  using place = std::list<batch>::iterator;

  void run(place at);
  void ended(place at, int wait_status);
  void report_rest(place at, int wait_status);
  bool may_try_again(const batch& one) const;
  void try_again(place at, int wait_status);
  void inquire(place at);
  void take_answer(place at, std::size_t index, launch_outcome answer);
  void fail_all(place at, const failure& why);

  launcher_settings settings_;
  event_loop& loop_;
  outcome_queue outcomes_;
  std::list<batch> batches_;
  bool stopping_ = false;
};

// mpirun cuts the options at blanks, and ssh takes "NAME=VALUE" as well.
std::string ssh_options_text(const launcher_settings& settings) {
  std::string text;
  for (const std::string& word : ssh_option_words(settings)) {
    const std::size_t blank = word.find(' ');
    std::string one = word;
    if (blank != word.npos) one[blank] = '=';
    if (!text.empty()) text += ' ';
    text += one;
  }
  return text;
}

std::vector<std::pair<std::string, std::string>> mpirun_environment(
    const launcher_settings& settings) {
  const std::string ssh = ssh_options_text(settings);
  const std::string fanout = std::to_string(settings.fanout);
  return {{"OMPI_MCA_plm_rsh_args", ssh},
          {"OMPI_MCA_plm_rsh_num_concurrent", fanout},
          // Otherwise nodes start nodes, for which they would need keys.
          {"OMPI_MCA_plm_rsh_no_tree_spawn", "1"},
          {"OMPI_MCA_routed", "direct"},
          {"OMPI_MCA_odls_base_sigkill_timeout",
           std::to_string(task_patience.count())},
          {"PRTE_MCA_plm_ssh_args", ssh},
          {"PRTE_MCA_plm_ssh_num_concurrent", fanout},
          {"PRTE_MCA_plm_ssh_no_tree_spawn", "1"},
          // It is for the user to decide as whom to run a collection.
          {"OMPI_ALLOW_RUN_AS_ROOT", "1"},
          {"OMPI_ALLOW_RUN_AS_ROOT_CONFIRM", "1"},
          {"PRTE_ALLOW_RUN_AS_ROOT", "1"},
          {"PRTE_ALLOW_RUN_AS_ROOT_CONFIRM", "1"}};
}

std::vector<std::string> mpirun_words(const std::vector<launch>& launches) {
  std::string hosts;
  for (const launch& one : launches)
    hosts += (hosts.empty() ? "" : ",") + one.node;
  return {"mpirun",    "--tag-output",
          "--map-by",  "seq",
          "--bind-to", "none",
          "--host",    hosts,
          "-np",       std::to_string(launches.size())};
}

group_setup setup_of(const std::vector<launch>& launches,
                     const launcher_settings& settings) {
  group_setup setup;
  setup.program = "mpirun";
  setup.nonce = make_nonce();
  setup.label = read_mpirun_label;
  std::vector<script_options> options;
  node_identity identity{"OMPI_COMM_WORLD_RANK", {}};
  for (std::size_t i = 0; i < launches.size(); ++i) {
    identity.values.push_back(std::to_string(i));
    options.push_back({setup.nonce, lifeline::none, random_delay(settings)});
    setup.longest_delay = std::max(setup.longest_delay, options.back().delay);
  }
  setup.command.argv = mpirun_words(launches);
  for (std::string& word :
       script_as_command(remote_script(launches, options, identity)))
    setup.command.argv.push_back(std::move(word));
  setup.command.environment = mpirun_environment(settings);
  setup.command.ends_with_us = true;
  return setup;
}

mpi_launcher::~mpi_launcher() {
  for (const batch& one : batches_)
    loop_.cancel(one.timer);
}

void mpi_launcher::start(std::vector<launch> launches,
                         std::function<void(launch_outcome)> done) {
  const place at = batches_.emplace(batches_.end());
  at->taker =
      std::make_shared<std::function<void(launch_outcome)>>(std::move(done));
  std::set<std::string> names;
  for (launch& what : launches) {
    std::string why = impossible(what);
    if (!names.insert(what.node).second) why = "the node is named twice";
    if (what.node.find_first_of(",:") != std::string::npos)
      why = "mpirun takes no such name of a host";
    if (why.empty()) {
      at->launches.push_back(std::move(what));
    } else {
      outcomes_.push(not_started(what, {ending::launcher_failed, why, why}),
                     at->taker);
    }
  }
  if (stopping_) return fail_all(at, stopped_failure());
  if (at->launches.empty()) {
    batches_.erase(at);
  } else {
    run(at);
  }
}

void mpi_launcher::fail_all(place at, const failure& why) {
  loop_.cancel(at->timer);
  for (const std::vector<launch>* list : {&at->launches, &at->reachable}) {
    for (const launch& one : *list)
      outcomes_.push(not_started(one, why), at->taker);
  }
  batches_.erase(at);
}

void mpi_launcher::run(place at) {
  ++at->tries;
  at->run = std::make_unique<group_run>(
      loop_, setup_of(at->launches, settings_), at->launches,
      group_run::events{[this, at](launch_outcome outcome) {
                          outcomes_.push(std::move(outcome), at->taker);
                        },
                        [this, at](int status) { ended(at, status); }});
  if (const int code = at->run->start(); code != 0)
    return fail_all(at, no_program_failure("mpirun", code));
  // A host that accepts a connection and never speaks keeps all others waiting.
  const auto nodes = static_cast<int>(at->launches.size());
  at->timer =
      loop_.after(login_time(settings_) + nodes * start_of_a_node, [at] {
        if (!at->run->begun()) at->run->end_program();
      });
  at->launches.clear();
}

bool mpi_launcher::may_try_again(const batch& one) const {
  return !one.run->begun() && !one.run->asked() && one.tries < most_tries;
}

void mpi_launcher::ended(place at, int wait_status) {
  loop_.cancel(at->timer);
  if (may_try_again(*at)) return try_again(at, wait_status);
  report_rest(at, wait_status);
  batches_.erase(at);
}

void mpi_launcher::report_rest(place at, int wait_status) {
  const bool asked = at->run->asked();
  for (node_run& node : at->run->rest()) {
    node.finish();
    if (node.told()) {
      outcomes_.push(node.outcome(asked), at->taker);
      continue;
    }
    failure why = mpi_failure(at->run->said(), node.what().node, wait_status);
    if (node.begun()) why.how = ending::lost;
    outcomes_.push(node.outcome(asked ? stopped_failure() : why), at->taker);
  }
}

void mpi_launcher::try_again(place at, int wait_status) {
  for (const node_run& node : at->run->rest())
    at->launches.push_back(node.what());
  at->last =
      mpi_failure(at->run->said(), at->launches.front().node, wait_status);
  at->last.reason = at->last.common_reason;
  // The run is in the middle of its last event, and may be destroyed by it.
  at->run.reset();
  inquire(at);
}

void mpi_launcher::inquire(place at) {
  launcher_settings settings = settings_;
  settings.kind = "ssh";
  settings.stagger = milliseconds(0);
  at->inquiry = make_ssh_launcher(settings, loop_);
  at->unanswered = at->launches.size();
  for (std::size_t i = 0; i < at->launches.size(); ++i) {
    launch question;
    question.node = at->launches[i].node;
    question.argv = {"true"};
    question.limit = settings_.connect_timeout;
    at->inquiry->start({question}, [this, at, i](launch_outcome answer) {
      take_answer(at, i, std::move(answer));
    });
  }
}

void mpi_launcher::take_answer(place at, std::size_t index,
                               launch_outcome answer) {
  if (answer.how == ending::exited && answer.status == 0) {
    at->reachable.push_back(std::move(at->launches[index]));
  } else {
    outcomes_.push(std::move(answer), at->taker);
  }
  if (--at->unanswered > 0) return;
  const bool all_well = at->reachable.size() == at->launches.size();
  at->launches = std::move(at->reachable);
  at->reachable.clear();
  if (all_well || stopping_)
    return fail_all(at, stopping_ ? stopped_failure() : at->last);
  if (at->launches.empty()) {
    batches_.erase(at);
  } else {
    run(at);
  }
}

void mpi_launcher::stop() {
  stopping_ = true;
  for (batch& one : batches_) {
    if (one.run) one.run->stop();
    if (one.inquiry) one.inquiry->stop();
  }
}

void mpi_launcher::abandon() {
  stop();
  while (!batches_.empty()) {
    const place at = batches_.begin();
    loop_.cancel(at->timer);
    if (at->run) {
      at->run->let_go();
      report_rest(at, 0);
    }
    fail_all(at, stopped_failure());
  }
}

}  // namespace

std::unique_ptr<launcher> make_mpi_launcher(const launcher_settings& settings,
                                            event_loop& loop) {
  return std::make_unique<mpi_launcher>(settings, loop);
}

}  // namespace zelk::collect
