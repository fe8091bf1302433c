#include "provider/src/net_pairs/greeting.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/random.h>
#include <sys/socket.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <utility>
#include <vector>

namespace zelk::net_pairs {
namespace {

struct greeting {
  std::array<char, 16> asked{};
  std::uint32_t number = 0;  // both ends are of one machine type
};
static_assert(sizeof(greeting) == 20);

// Looks at every byte, wherever the first difference is: the time it takes
// tells nothing.
bool same(const greeting& said, const greeting& wanted) {
  unsigned char difference = said.number == wanted.number ? 0 : 1;
  for (std::size_t i = 0; i < said.asked.size(); ++i)
    difference |= static_cast<unsigned char>(said.asked[i] ^ wanted.asked[i]);
  return difference == 0;
}

// One who has connected and has not finished its greeting.
struct guest {
  util::unique_fd fd;
  std::array<char, sizeof(greeting)> bytes{};
  std::size_t filled = 0;
};

enum class verdict { waits, stranger, partner };

verdict listen_to(guest& who, const greeting& wanted) {
  const ssize_t got = ::recv(who.fd.get(), who.bytes.data() + who.filled,
                             who.bytes.size() - who.filled, MSG_DONTWAIT);
  if (got < 0 && (errno == EAGAIN || errno == EINTR)) return verdict::waits;
  if (got <= 0) return verdict::stranger;
  who.filled += static_cast<std::size_t>(got);
  if (who.filled < who.bytes.size()) return verdict::waits;
  greeting said;
  std::memcpy(&said, who.bytes.data(), sizeof said);
  return same(said, wanted) ? verdict::partner : verdict::stranger;
}

class reception {
 public:
  reception(const listener& from, const greeting& wanted, int control)
      : door_(from.fd.get()), wanted_(wanted), control_(control) {}

  util::unique_fd wait(clock::time_point deadline) {
    while (clock::now() < deadline) {
      poll_all(deadline);
      if (control_ >= 0 && waiting_[1].revents != 0)
        throw failure("the partner could not connect");
      for (std::size_t i = guests_.size(); i-- > 0;) {
        if (waiting_[i + 2].revents == 0) continue;
        const verdict who = listen_to(guests_[i], wanted_);
        if (who == verdict::partner) return std::move(guests_[i].fd);
        if (who == verdict::stranger)
          guests_.erase(guests_.begin() + static_cast<std::ptrdiff_t>(i));
      }
      if (waiting_[0].revents != 0) let_in();
    }
    throw failure("the partner did not connect in time");
  }

 private:
  void poll_all(clock::time_point deadline) {
    waiting_.assign({{door_, POLLIN, 0}, {control_, POLLIN, 0}});
    for (const guest& one : guests_)
      waiting_.push_back({one.fd.get(), POLLIN, 0});
    if (::poll(waiting_.data(), waiting_.size(), poll_time(deadline)) < 0 &&
        errno != EINTR)
      throw system_failure("poll", errno);
  }

  // The oldest has to leave when there are too many.
  void let_in() {
    constexpr std::size_t most_guests = 32;
    util::unique_fd fd(::accept4(door_, nullptr, nullptr, SOCK_CLOEXEC));
    if (!fd) return;
    if (guests_.size() == most_guests) guests_.erase(guests_.begin());
    guests_.push_back({std::move(fd), {}, 0});
  }

  int door_;
  greeting wanted_;
  int control_;
  std::vector<guest> guests_;
  std::vector<pollfd> waiting_;  // the door, the control, the guests
};

}  // namespace

std::string secret::hex() const {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const auto& half : {asked, answer}) {
    for (const char c : half) {
      const auto byte = static_cast<unsigned char>(c);
      text += digits[byte / 16];
      text += digits[byte % 16];
    }
  }
  return text;
}

secret secret::from_hex(std::string_view text) {
  secret made;
  constexpr std::size_t bytes = sizeof made.asked + sizeof made.answer;
  if (text.size() != 2 * bytes) throw failure("expected 64 hexadecimal digits");
  for (std::size_t i = 0; i < bytes; ++i) {
    unsigned char byte = 0;
    const char* begin = text.data() + 2 * i;
    const auto [stopped, error] = std::from_chars(begin, begin + 2, byte, 16);
    if (error != std::errc{} || stopped != begin + 2)
      throw failure("expected 64 hexadecimal digits");
    auto& half = i < made.asked.size() ? made.asked : made.answer;
    half[i % half.size()] = static_cast<char>(byte);
  }
  return made;
}

secret secret::random() {
  secret made;
  for (auto* half : {&made.asked, &made.answer}) {
    if (::getrandom(half->data(), half->size(), 0) !=
        static_cast<ssize_t>(half->size()))
      throw system_failure("getrandom", errno);
  }
  return made;
}

bounded_socket accept_partner(const listener& from, const secret& shared,
                              std::uint32_t number, clock::time_point deadline,
                              int control) {
  reception door(from, {shared.asked, number}, control);
  bounded_socket partner(door.wait(deadline));
  partner.set_deadline(deadline);
  partner.set_no_delay();
  partner.send(shared.answer.data(), shared.answer.size());
  return partner;
}

bounded_socket greet(const std::string& host, std::uint16_t port,
                     const secret& shared, std::uint32_t number,
                     clock::time_point deadline) {
  bounded_socket partner = connect_to(host, port, deadline);
  partner.set_no_delay();
  const greeting said{shared.asked, number};
  partner.send(&said, sizeof said);
  std::array<char, 16> answer{};
  partner.receive(answer.data(), answer.size());
  if (answer != shared.answer)
    throw failure("connect to " + host + ": not the partner");
  return partner;
}

}  // namespace zelk::net_pairs
