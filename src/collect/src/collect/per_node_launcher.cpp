// How a connection ends, and who sees to it:
//
//   the program ends, or its limit does    the node tells; ssh ends by itself
//   stop()                                 its input ends; the node tells
//   no login in time                       we end ssh
//   nothing heard long after the limit     we end ssh: the node may have lost
//                                          its power, which nobody reports
//   ssh ends without a word of the node    the connection broke
//
// In every case the process of ours ends, and only then is there an outcome.

#include "src/collect/src/collect/per_node_launcher.h"

#include <signal.h>

#include <algorithm>
#include <utility>

#include "src/collect/src/collect/launch_rules.h"
#include "src/collect/src/collect/remote_script.h"

namespace zelk::collect {

per_node_launcher::per_node_launcher(const launcher_settings& settings,
                                     event_loop& loop, node_way way)
    : settings_(settings), loop_(loop), way_(std::move(way)), outcomes_(loop) {
  settings_.fanout = std::max(settings_.fanout, 1);
  allow_descriptors(settings_.fanout);
}

per_node_launcher::~per_node_launcher() {
  loop_.cancel(stop_timer_);
  for (connection& one : connections_) {
    loop_.cancel(one.timer);
    if (!way_.breaks_with_process) one.child->let_go();
  }
}

void per_node_launcher::start(std::vector<launch> launches,
                              std::function<void(launch_outcome)> done) {
  const auto taker =
      std::make_shared<std::function<void(launch_outcome)>>(std::move(done));
  for (launch& what : launches) {
    if (const std::string why = impossible(what); !why.empty()) {
      outcomes_.push(not_started(what, {ending::launcher_failed, why, why}),
                     taker);
    } else {
      waiting_.push_back({std::move(what), taker});
    }
  }
  if (stopping_) drop_waiting();
  fill();
}

void per_node_launcher::fill() {
  const std::size_t most = static_cast<std::size_t>(settings_.fanout);
  while (connections_.size() < most && !waiting_.empty()) {
    waiting next = std::move(waiting_.front());
    waiting_.pop_front();
    begin(std::move(next));
  }
}

void per_node_launcher::begin(waiting next) {
  script_options options;
  options.nonce = make_nonce();
  options.delay = random_delay(settings_);
  child_command command;
  command.argv = way_.command(next.what.node);
  command.input = remote_script(next.what, options);
  command.ends_with_us = way_.breaks_with_process;

  const place at = connections_.emplace(connections_.end(),
                                        std::move(next.what), options.nonce);
  at->taker = std::move(next.taker);
  at->delay = options.delay;
  at->child = std::make_unique<child_process>(
      loop_, child_process::events{
                 [this, at](std::string_view bytes) {
                   at->run.take_output(bytes);
                   after_output(at);
                 },
                 [at](std::string_view bytes) { at->run.take_errors(bytes); },
                 [this, at](int status) { child_ended(at, status); }});
  if (const int code = at->child->start(std::move(command)); code != 0) {
    outcomes_.push(at->run.outcome(no_program_failure(way_.program, code)),
                   at->taker);
    connections_.erase(at);
    return;
  }
  at->timer = loop_.after(login_time(settings_), [this, at] {
    give_up(at, no_login_failure(way_.program, at->run.what().node, settings_));
  });
}

void per_node_launcher::after_output(place at) {
  if (at->run.told()) return after_last_word(at);
  if (at->login_seen || !at->run.begun()) return;
  at->login_seen = true;
  loop_.cancel(at->timer);
  at->timer = 0;
  if (at->run.what().limit.count() <= 0) return;
  at->timer =
      loop_.after(last_word_after(at->run.what(), at->delay), [this, at] {
        give_up(at, no_last_word_failure(way_.program, at->run.what().node));
      });
}

// ssh may wait for others who hold the connection's streams: a daemon that the
// login has started, for one. Nothing that they say is of interest.
void per_node_launcher::after_last_word(place at) {
  at->child->close_input();
  loop_.cancel(at->timer);
  at->timer = loop_.after(child_patience, [this, at] { end_child(at); });
}

void per_node_launcher::give_up(place at, failure why) {
  at->given_up = std::move(why);
  end_child(at);
}

void per_node_launcher::end_child(place at) {
  loop_.cancel(at->timer);
  at->child->close_input();
  at->child->signal(SIGTERM);
  at->timer = loop_.after(child_patience, [at] { at->child->signal(SIGKILL); });
}

launch_outcome per_node_launcher::outcome_of(const connection& one,
                                             int wait_status) const {
  const node_run& run = one.run;
  if (run.told()) return run.outcome(one.asked);
  if (one.given_up.how != ending::exited) return run.outcome(one.given_up);
  if (one.asked) return run.outcome(stopped_failure());
  const auto meaning = run.begun() ? way_.loss : way_.no_start;
  return run.outcome(meaning(run.noise(), run.what().node, wait_status));
}

void per_node_launcher::child_ended(place at, int wait_status) {
  loop_.cancel(at->timer);
  at->run.finish();
  outcomes_.push(outcome_of(*at, wait_status), at->taker);
  connections_.erase(at);
  fill();
}

void per_node_launcher::drop_waiting() {
  for (const waiting& one : waiting_)
    outcomes_.push(not_started(one.what, stopped_failure()), one.taker);
  waiting_.clear();
}

void per_node_launcher::stop() {
  if (stopping_) return;
  stopping_ = true;
  drop_waiting();
  for (place at = connections_.begin(); at != connections_.end(); ++at) {
    at->asked = true;
    if (at->run.begun()) {
      at->child->close_input();
    } else {
      end_child(at);
    }
  }
  stop_timer_ = loop_.after(stop_patience, [this] {
    for (place at = connections_.begin(); at != connections_.end(); ++at)
      end_child(at);
  });
}

void per_node_launcher::abandon() {
  stopping_ = true;
  drop_waiting();
  for (place at = connections_.begin(); at != connections_.end();) {
    at->asked = true;
    at->child->close_input();
    if (way_.breaks_with_process) {
      at->child->signal(SIGKILL);
      ++at;
      continue;
    }
    loop_.cancel(at->timer);
    at->child->let_go();
    at->run.finish();
    outcomes_.push(outcome_of(*at, 0), at->taker);
    at = connections_.erase(at);
  }
}

}  // namespace zelk::collect
