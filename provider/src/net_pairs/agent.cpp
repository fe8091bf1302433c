#include "provider/src/net_pairs/agent.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "provider/src/net_pairs/control.h"
#include "provider/src/net_pairs/greeting.h"

namespace zelk::net_pairs {
namespace {

class agent {
 public:
  agent(int orders, int answers)
      : orders_(orders), answers_(answers), door_(listen_anywhere()) {}

  int run();

 private:
  std::optional<std::string> next_order();
  bool obey(const std::string& order);
  answer lead(const lead_command& command) const;
  answer serve(const serve_command& command) const;
  bool say(std::string line) const;

  int orders_;
  int answers_;
  listener door_;
  std::optional<secret> secret_;
  line_buffer buffer_;
  std::deque<std::string> orders_read_;
};

int agent::run() {
  if (!say(std::string(agent_hello) + std::to_string(door_.port))) return 0;
  while (const std::optional<std::string> order = next_order()) {
    if (!obey(*order)) return 2;
  }
  return 0;
}

std::optional<std::string> agent::next_order() {
  std::array<char, 4096> bytes{};
  while (orders_read_.empty()) {
    const ssize_t got = ::read(orders_, bytes.data(), bytes.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return std::nullopt;
    for (std::string& line :
         buffer_.add({bytes.data(), static_cast<std::size_t>(got)}))
      orders_read_.push_back(std::move(line));
  }
  std::string order = std::move(orders_read_.front());
  orders_read_.pop_front();
  return order;
}

template <typename Work>
answer attempt(std::uint32_t number, Work work) {
  try {
    return work();
  } catch (const failure& error) {
    return {number, std::nullopt, error.what()};
  }
}

bool agent::obey(const std::string& order) {
  constexpr std::string_view tells_secret = "secret ";
  if (order == cancel_order) return true;  // of what has ended by itself
  if (order.starts_with(tells_secret)) {
    secret_ = secret::from_hex(order.substr(tells_secret.size()));
    return true;
  }
  if (!secret_) return false;
  if (const auto command = read_lead(order))
    return say(
        to_line(attempt(command->number, [&] { return lead(*command); })));
  if (const auto command = read_serve(order))
    return say(
        to_line(attempt(command->number, [&] { return serve(*command); })));
  return false;
}

answer agent::lead(const lead_command& command) const {
  bounded_socket partner =
      greet(command.host, command.port, *secret_, command.number,
            clock::now() + command.patience);
  return {command.number, lead_measurement(partner, command.how), ""};
}

answer agent::serve(const serve_command& command) const {
  bounded_socket partner =
      accept_partner(door_, *secret_, command.number,
                     clock::now() + command.patience, orders_);
  follow_measurement(partner, command.stream_time);
  return {command.number, std::nullopt, ""};
}

bool agent::say(std::string line) const {
  line += '\n';
  return ::write(answers_, line.data(), line.size()) ==
         static_cast<ssize_t>(line.size());
}

// In the middle of a measurement nobody reads orders, so a thread looks for
// their end. sshd may give a socket in the place of a pipe.
void end_with(int orders) {
  std::thread([orders] {
    pollfd waiting{orders, POLLRDHUP, 0};
    while (::poll(&waiting, 1, -1) < 0) {
    }
    ::_exit(0);
  }).detach();
}

}  // namespace

int run_agent(int orders, int answers) {
  end_with(orders);
  return agent(orders, answers).run();
}

}  // namespace zelk::net_pairs
