#include "src/collect/src/accumulate/collector_link.h"

#include <fcntl.h>
#include <poll.h>

#include <array>
#include <utility>

#include "src/common/log/error_log.h"

namespace zelk::accumulate {

namespace {

constexpr char source[] = "src/collect/src/accumulate/collector_link";

// A collector that reads nothing for so long has no use for events.
constexpr std::chrono::milliseconds last_wait{5000};

void complain(const std::string& problem) {
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
      << "A line of the control descriptor is passed over: " << problem;
}

}  // namespace

std::string descriptor_problem(const std::string& name, int fd) {
  if (fd < 0 || ::fcntl(fd, F_GETFD) != -1) return "";
  return name + ": descriptor " + std::to_string(fd) + " is not open";
}

collector_link::collector_link(int control_fd, int events_fd)
    : control_(control_fd), events_(events_fd), exists_(control_.open()) {}

// Lines that are no orders are told of, and passed over.
std::optional<control_order> collector_link::next() {
  for (std::size_t many = control_.overlong(); many > 0; --many)
    complain("it is longer than " + std::to_string(control_pipe::longest_line) +
             " bytes");
  while (const std::optional<std::string> line = control_.line()) {
    control_line read = read_control_line(*line);
    if (read.order) return std::move(read.order);
    complain(read.problem);
  }
  return {};
}

std::optional<control_order> collector_link::first(int stop_fd) {
  while (!ended_) {
    if (std::optional<control_order> order = next()) return order;
    std::array<pollfd, 2> wanted = {pollfd{control_.fd(), POLLIN, 0},
                                    pollfd{stop_fd, POLLIN, 0}};
    ::poll(wanted.data(), wanted.size(), -1);
    if ((wanted[1].revents & POLLIN) != 0) return {};
    if (wanted[0].revents != 0) ended_ = !control_.read();
  }
  return next();
}

bool collector_link::read(const std::function<void(control_order&)>& obey) {
  if (!control_.open()) return true;
  ended_ = ended_ || !control_.read();
  while (std::optional<control_order> order = next()) {
    obey(*order);
    if (order->what == control_order::kind::close) return true;
  }
  return !ended_;
}

void collector_link::close(receiver& loop) {
  if (std::exchange(reading_, false)) loop.unwatch(control_.fd());
  control_.close();
}

void collector_link::watch(receiver& loop, bool busy) {
  if (const bool wanted = control_.open() && !busy; wanted != reading_) {
    wanted ? loop.watch(control_.fd()) : loop.unwatch(control_.fd());
    reading_ = wanted;
  }
  if (const bool left = events_.flush(); left != writing_) {
    left ? loop.watch(events_.fd(), EPOLLOUT) : loop.unwatch(events_.fd());
    writing_ = left;
  }
}

void collector_link::put_last(const std::string& event) {
  events_.put_last(event);
  events_.drain(last_wait);
}

}  // namespace zelk::accumulate
