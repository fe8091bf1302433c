// The launcher for ways that take one process of ours for each node.

#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/collect/child_process.h"
#include "src/collect/src/collect/event_loop.h"
#include "src/collect/src/collect/launcher.h"
#include "src/collect/src/collect/node_run.h"
#include "src/collect/src/collect/outcome_queue.h"
#include "src/collect/src/collect/ssh_failure.h"

namespace zelk::collect {

// A way to a node: a command that runs `/bin/sh -s` there, its three standard
// streams being the command's own.
struct node_way {
  std::string program;  // for messages: "ssh"
  std::function<std::vector<std::string>(const std::string& node)> command;
  // What it means when the command ends before the node has told its end.
  failure (*no_start)(std::string_view said, const std::string& node,
                      int wait_status);
  failure (*loss)(std::string_view said, const std::string& node,
                  int wait_status);
  // Whether the node notices when our process is killed. Where it does not,
  // because it is this machine, that process is told and left to itself.
  bool breaks_with_process = true;
};

class per_node_launcher : public launcher {
 public:
  per_node_launcher(const launcher_settings& settings, event_loop& loop,
                    node_way way);
  ~per_node_launcher() override;

  void start(std::vector<launch> launches,
             std::function<void(launch_outcome)> done) override;
  void stop() override;
  void abandon() override;

 private:
  struct waiting {
    launch what;
    outcome_taker taker;
  };
  struct connection {
    connection(launch what, std::string_view nonce)
        : run(std::move(what), nonce) {}
    node_run run;
    outcome_taker taker;
    std::unique_ptr<child_process> child;
    std::chrono::seconds delay{0};
    event_loop::timer_id timer = 0;  // until the login, then until the end
    bool login_seen = false;
    bool asked = false;  // we want it to end
    // Why we gave it up, when we did.
    failure given_up{ending::exited, "", ""};
  };
  using place = std::list<connection>::iterator;

  void fill();
  void begin(waiting next);
  void after_output(place at);
  void after_last_word(place at);
  void give_up(place at, failure why);
  void end_child(place at);
  void child_ended(place at, int wait_status);
  launch_outcome outcome_of(const connection& one, int wait_status) const;
  void drop_waiting();

  launcher_settings settings_;
  event_loop& loop_;
  node_way way_;
  outcome_queue outcomes_;
  std::deque<waiting> waiting_;
  std::list<connection> connections_;
  event_loop::timer_id stop_timer_ = 0;
  bool stopping_ = false;
};

}  // namespace zelk::collect
