// What people see of a collection while it runs, all of it on standard error.

#pragma once

#include <string>
#include <string_view>

#include "src/collect/src/collect/event_loop.h"
#include "src/collect/src/collect/ledger.h"
#include "src/collect/src/collect/plan.h"
#include "src/collect/src/collect/progress_text.h"
#include "src/collect/src/collect/settings.h"
#include "src/collect/src/collect/terminal_line.h"

namespace zelk::collect {

class display {
 public:
  // Shows the progress of `account` from start() to stop().
  display(event_loop& loop, const collect_settings& settings,
          const ledger& account);
  ~display();
  display(const display&) = delete;
  display& operator=(const display&) = delete;

  void start();
  void stop();
  double seconds() const;  // since start(), or until stop()

  // A line for people; nothing of it with -q.
  void say(std::string_view line) const;
  // One that is told in any case.
  static void complain(std::string_view line);

 private:
  void tick();
  progress_facts facts() const;

  event_loop& loop_;
  const collect_settings& settings_;
  const ledger& ledger_;
  terminal_line line_;
  line_schedule schedule_;
  event_loop::timer_id timer_ = 0;
  event_loop::clock::time_point started_;
  double took_ = -1;
};

// "136 nodes, 11 providers (10 single-node, 1 cluster), launcher ssh, fanout
// 64", as one line.
std::string head_line(const plan& made, const collect_settings& settings);

}  // namespace zelk::collect
