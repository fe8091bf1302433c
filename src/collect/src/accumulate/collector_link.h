// The two pipes between an accumulator and the collector that started it.
//
// What comes in by the control pipe are orders, a line each (control_order.h);
// what is none is told of and passed over. What goes out by the events pipe are
// lines of event_text.h, and nobody ever waits for their reader. Either pipe
// may be absent. Belongs to one thread, but for put().

#pragma once

#include <functional>
#include <optional>
#include <string>

#include "src/collect/src/accumulate/control_order.h"
#include "src/collect/src/accumulate/control_pipe.h"
#include "src/collect/src/accumulate/event_pipe.h"
#include "src/collect/src/accumulate/receiver.h"

namespace zelk::accumulate {

class collector_link {
 public:
  // -1: no such pipe.
  collector_link(int control_fd, int events_fd);

  // There is, or was, a collector whose orders count.
  bool exists() const { return exists_; }

  // Waits for the first order, but no longer than until `stop_fd` is readable.
  // Nothing when there is none to come.
  std::optional<control_order> first(int stop_fd);

  // Hands what has come to `obey`, until that is an order to close. Returns
  // false when the collector is gone without one.
  bool read(const std::function<void(control_order&)>& obey);
  // The collector has no say any more.
  void close(receiver& loop);

  // Has `loop` wake for orders, unless `busy`, and for events that wait.
  void watch(receiver& loop, bool busy);

  // Whether events go anywhere.
  bool tells() const { return events_.open(); }
  void put(const std::string& event) { events_.put(event); }
  void put_last(const std::string& event);

 private:
  std::optional<control_order> next();

  control_pipe control_;
  event_pipe events_;
  bool exists_;
  bool reading_ = false;  // the loop wakes for the control pipe
  bool writing_ = false;  // and for the events pipe
  bool ended_ = false;    // nothing more comes
};

// "", or what is wrong with a descriptor that --NAME gave; -1 is none.
std::string descriptor_problem(const std::string& name, int fd);

}  // namespace zelk::accumulate
