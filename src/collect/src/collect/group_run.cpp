#include "src/collect/src/collect/group_run.h"

#include <signal.h>

#include <utility>

#include "src/collect/src/collect/launch_rules.h"
#include "src/collect/src/collect/remote_script.h"
#include "src/common/str/str.h"

namespace zelk::collect {

namespace {

// What a node wrote last on its error stream may come after its last word.
constexpr std::chrono::milliseconds settling{100};

// Between SIGTERM and SIGKILL. srun gives back its allocation when it is let
// end by itself; it may wait for nodes that are gone for some seconds.
constexpr std::chrono::seconds program_patience{10};

}  // namespace

group_run::group_run(event_loop& loop, group_setup setup,
                     std::vector<launch> launches, events on)
    : loop_(loop),
      setup_(std::move(setup)),
      on_(std::move(on)),
      begin_mark_(script_mark(setup_.nonce) + "begin "),
      output_(
          setup_.label,
          [this](std::size_t rank, std::string_view text) {
            take_line(rank, text, false);
          },
          [this](std::string_view text) { said_.append(text); }),
      errors_(
          setup_.label,
          [this](std::size_t rank, std::string_view text) {
            take_line(rank, text, true);
          },
          [this](std::string_view text) { said_.append(text); }),
      child_(loop, {[this](std::string_view bytes) { output_.append(bytes); },
                    [this](std::string_view bytes) { errors_.append(bytes); },
                    [this](int status) {
                      output_.finish();
                      errors_.finish();
                      loop_.cancel(timer_);
                      ended_ = true;
                      const std::function<void(int)> on_end = on_.on_end;
                      on_end(status);
                    }}) {
  for (launch& what : launches) {
    node_run& node = nodes_.emplace_back(std::move(what), setup_.nonce);
    by_name_[node.what().node] = &node;
  }
}

group_run::~group_run() {
  let_go();
}

void group_run::let_go() {
  loop_.cancel(timer_);
  for (const auto& [name, timer] : timers_)
    loop_.cancel(timer);
  timers_.clear();
  if (!asked_ && !ended_) ask();
  asked_ = true;
  child_.let_go();
}

int group_run::start() {
  return child_.start(std::move(setup_.command));
}

// A task is known by its number once it has said its name; what it prints
// before is a login's and of no use.
node_run* group_run::node_of(std::size_t rank, std::string_view text) {
  if (text.starts_with(begin_mark_)) {
    const std::string name =
        str::strip(text.substr(begin_mark_.size()), "\r\n");
    const auto [known, is_new] = by_rank_.emplace(rank, name);
    const auto node = by_name_.find(name);
    if (is_new && node != by_name_.end()) has_begun(*node->second);
  }
  const auto name = by_rank_.find(rank);
  if (name == by_rank_.end()) return nullptr;
  const auto node = by_name_.find(name->second);
  return node == by_name_.end() ? nullptr : node->second;
}

void group_run::take_line(std::size_t rank, std::string_view text, bool error) {
  node_run* node = node_of(rank, text);
  if (node == nullptr) return;
  if (error) return node->take_errors(text);
  node->take_output(text);
  if (node->told()) set_timer(*node, settling, &group_run::has_told);
}

void group_run::set_timer(const node_run& node, std::chrono::milliseconds delay,
                          void (group_run::*on_time)(node_run&)) {
  event_loop::timer_id& timer = timers_[node.what().node];
  loop_.cancel(timer);
  timer = loop_.after(delay, [this, name = node.what().node, on_time] {
    const auto found = by_name_.find(name);
    if (found != by_name_.end()) (this->*on_time)(*found->second);
  });
}

void group_run::has_told(node_run& node) {
  node.finish();
  conclude(node, node.outcome(asked_));
}

void group_run::has_begun(const node_run& node) {
  if (node.what().limit.count() <= 0) return;
  set_timer(node, last_word_after(node.what(), setup_.longest_delay),
            &group_run::no_last_word);
}

void group_run::no_last_word(node_run& node) {
  node.finish();
  conclude(node, node.outcome(
                     no_last_word_failure(setup_.program, node.what().node)));
  if (nodes_.empty()) end_program();
}

void group_run::conclude(node_run& node, launch_outcome outcome) {
  const std::string name = node.what().node;
  by_name_.erase(name);
  if (const auto timer = timers_.find(name); timer != timers_.end()) {
    loop_.cancel(timer->second);
    timers_.erase(timer);
  }
  nodes_.remove_if([&](const node_run& one) { return &one == &node; });
  on_.on_outcome(std::move(outcome));
}

void group_run::end_program() {
  loop_.cancel(timer_);
  child_.signal(SIGTERM);
  timer_ = loop_.after(program_patience, [this] { child_.signal(SIGKILL); });
}

void group_run::ask() {
  if (setup_.input_reaches_nodes && begun()) {
    child_.close_input();
  } else {
    child_.signal(SIGTERM);
  }
}

void group_run::stop() {
  if (asked_) return;
  asked_ = true;
  ask();
  timer_ = loop_.after(stop_patience, [this] { end_program(); });
}

}  // namespace zelk::collect
