// All nodes of a call go into one srun, which is far cheaper than one for each
// node, and into one text, of which each node takes its own part.
//
// srun sends what it reads to every task, and the end of it, too: that is the
// lifeline. It is not sent a signal while anything runs: at SIGTERM it has all
// tasks killed at once, without a word to them, and after SIGKILL the
// allocation that it had made stays, for ever in many configurations.
//
// It fails as a whole when one node cannot be had, so those are sorted out
// first.
// A node that fails while it runs does not end the others: that is asked for
// with --no-kill, --kill-on-bad-exit=0 and --wait=0, and tasks always end with
// status 0. Inside an allocation the step shares the nodes with whatever else
// runs there (SLURM_OVERLAP; older versions do so without asking).

#include <cstdlib>
#include <list>
#include <set>
#include <utility>

#include "src/collect/src/collect/captured_command.h"
#include "src/collect/src/collect/group_run.h"
#include "src/collect/src/collect/launch_rules.h"
#include "src/collect/src/collect/launcher_kinds.h"
#include "src/collect/src/collect/outcome_queue.h"
#include "src/collect/src/collect/slurm_nodes.h"
#include "src/common/node/node_set.h"
#include "src/common/node/tokenized_host.h"

namespace zelk::collect {

namespace {

// A controller that does not answer by then will not.
constexpr std::chrono::seconds question_limit{30};

class slurm_launcher : public launcher {
 public:
  slurm_launcher(const launcher_settings& settings, event_loop& loop)
      : settings_(settings), loop_(loop), outcomes_(loop) {}

  void start(std::vector<launch> launches,
             std::function<void(launch_outcome)> done) override;
  void stop() override;
  void abandon() override;

 private:
  // One call of start().
  struct batch {
    std::vector<launch> launches;
    outcome_taker taker;
    std::unique_ptr<captured_command> question;
    std::unique_ptr<group_run> run;
  };
  using place = std::list<batch>::iterator;

  void ask(place at);
  void sort_out(place at, const captured_command::answer& answer);
  void run(place at);
  void ended(place at, int wait_status);
  void fail_all(place at, const failure& why);

  launcher_settings settings_;
  event_loop& loop_;
  outcome_queue outcomes_;
  std::list<batch> batches_;
  bool stopping_ = false;
};

std::string variable(const char* name) {
  const char* value = ::getenv(name);
  return value == nullptr ? "" : value;
}

std::vector<std::string> srun_words(const std::vector<launch>& launches) {
  const std::string count = std::to_string(launches.size());
  std::vector<std::string> names;
  names.reserve(launches.size());
  for (const launch& one : launches)
    names.push_back(one.node);
  return {"srun",
          "--job-name=zelk-collect",
          "--nodes=" + count,
          "--ntasks=" + count,
          "--ntasks-per-node=1",
          "--nodelist=" + TokenizedHost::get_merged_hosts(names),
          "--label",
          "--no-kill",
          "--kill-on-bad-exit=0",
          "--wait=0",
          "--mpi=none",
          "--chdir=/"};
}

group_setup setup_of(const std::vector<launch>& launches,
                     const launcher_settings& settings) {
  group_setup setup;
  setup.program = "srun";
  setup.nonce = make_nonce();
  setup.label = read_srun_label;
  setup.input_reaches_nodes = true;
  std::vector<script_options> options;
  node_identity identity{"SLURMD_NODENAME", {}};
  for (const launch& one : launches) {
    identity.values.push_back(one.node);
    options.push_back({setup.nonce, lifeline::shared, random_delay(settings)});
    setup.longest_delay = std::max(setup.longest_delay, options.back().delay);
  }
  setup.command.argv = srun_words(launches);
  for (std::string& word :
       script_as_command(remote_script(launches, options, identity)))
    setup.command.argv.push_back(std::move(word));
  setup.command.environment = {{"SLURM_OVERLAP", "1"}};
  return setup;
}

void slurm_launcher::start(std::vector<launch> launches,
                           std::function<void(launch_outcome)> done) {
  const place at = batches_.emplace(batches_.end());
  at->taker =
      std::make_shared<std::function<void(launch_outcome)>>(std::move(done));
  std::set<std::string> names;
  for (launch& what : launches) {
    std::string why = impossible(what);
    if (!names.insert(what.node).second) why = "the node is named twice";
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
    ask(at);
  }
}

void slurm_launcher::fail_all(place at, const failure& why) {
  for (const launch& one : at->launches)
    outcomes_.push(not_started(one, why), at->taker);
  batches_.erase(at);
}

void slurm_launcher::ask(place at) {
  at->question = std::make_unique<captured_command>(
      loop_, slurm_nodes::question(), question_limit,
      [this, at](const captured_command::answer& answer) {
        sort_out(at, answer);
      });
}

void slurm_launcher::sort_out(place at,
                              const captured_command::answer& answer) {
  if (!answer.ran)
    return fail_all(at, no_program_failure("sinfo", answer.error));
  if (answer.wait_status != 0) {
    failure why = slurm_failure(answer.errors, "", answer.wait_status);
    why.how = ending::launcher_failed;
    return fail_all(at, why);
  }
  slurm_nodes nodes(answer.output);
  if (const std::string job = variable("SLURM_JOB_ID"); !job.empty()) {
    nodes.restrict_to(
        node::parse_node_set(variable("SLURM_JOB_NODELIST")).names, job);
  }
  std::vector<launch> usable;
  for (launch& one : at->launches) {
    if (const std::optional<failure> why = nodes.problem(one.node)) {
      outcomes_.push(not_started(one, *why), at->taker);
    } else {
      usable.push_back(std::move(one));
    }
  }
  at->launches = std::move(usable);
  if (at->launches.empty()) {
    batches_.erase(at);
  } else {
    run(at);
  }
}

void slurm_launcher::run(place at) {
  at->question.reset();
  at->run = std::make_unique<group_run>(
      loop_, setup_of(at->launches, settings_), at->launches,
      group_run::events{[this, at](launch_outcome outcome) {
                          outcomes_.push(std::move(outcome), at->taker);
                        },
                        [this, at](int status) { ended(at, status); }});
  if (const int code = at->run->start(); code != 0)
    return fail_all(at, no_program_failure("srun", code));
  at->launches.clear();
}

void slurm_launcher::ended(place at, int wait_status) {
  const bool asked = at->run->asked();
  for (node_run& node : at->run->rest()) {
    node.finish();
    if (node.told()) {
      outcomes_.push(node.outcome(asked), at->taker);
      continue;
    }
    failure why = slurm_failure(at->run->said(), node.what().node, wait_status);
    if (node.begun()) why.how = ending::lost;
    outcomes_.push(node.outcome(asked ? stopped_failure() : why), at->taker);
  }
  batches_.erase(at);
}

void slurm_launcher::stop() {
  stopping_ = true;
  for (place at = batches_.begin(); at != batches_.end();) {
    const place one = at++;
    if (one->run) {
      one->run->stop();
    } else {
      fail_all(one, stopped_failure());
    }
  }
}

void slurm_launcher::abandon() {
  stop();
  while (!batches_.empty()) {
    const place at = batches_.begin();
    at->run->let_go();
    ended(at, 0);
  }
}

}  // namespace

std::unique_ptr<launcher> make_slurm_launcher(const launcher_settings& settings,
                                              event_loop& loop) {
  return std::make_unique<slurm_launcher>(settings, loop);
}

}  // namespace zelk::collect
