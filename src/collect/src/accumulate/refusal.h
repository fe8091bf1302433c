// What is refused at the door: counted by kind, and named in a line each.
//
// Whoever sends nonsense can send a great deal of it, so lines are rationed: so
// many of each kind in a while, and so many of one peer, that one cannot hide
// the others. An oversize record is an honest worker's and always named. What
// was not named is counted in a line of its own. One thread only.

#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace zelk::accumulate {

enum class refusal : std::uint8_t {
  malformed,    // a message that is no record
  oversize,     // a record over the limit
  garbage,      // bytes that are not of the protocol
  silent,       // connected and did not introduce itself
  cut_off,      // went away in the middle of a record
  too_slow,     // held memory that others were waiting for
  unreachable,  // answered no heartbeat
};
constexpr std::size_t refusal_kinds = 7;

// "malformed", ...: as counters and messages call it.
std::string_view refusal_name(refusal kind);

// Whether a message was refused, and not only a connection: whatever a refused
// message held is not stored.
constexpr bool is_message(refusal kind) {
  return kind == refusal::malformed || kind == refusal::oversize;
}

// Whether something that was sent may be lost by it. Who says nothing (a probe
// of the port) or falls asleep has lost nothing.
constexpr bool costs_records(refusal kind) {
  return kind != refusal::silent && kind != refusal::unreachable;
}

class refusal_log {
 public:
  using clock = std::chrono::steady_clock;
  using counts = std::array<std::uint64_t, refusal_kinds>;

  // Counts one refusal and names it, as a warning, unless that was done often
  // enough lately. `peer` is the sender without what changes with each
  // connection. Returns whether it was named.
  bool add(refusal kind, const std::string& peer, const std::string& line,
           clock::time_point now = clock::now());

  // Says how many were not named, once the while is over. To be called now and
  // then, and with `last` at the end.
  void settle(clock::time_point now = clock::now(), bool last = false);

  const counts& total() const { return total_; }
  std::uint64_t total(refusal kind) const {
    return total_[static_cast<std::size_t>(kind)];
  }
  std::uint64_t messages() const;

 private:
  bool may_name(refusal kind, const std::string& peer);

  counts total_ = {};
  counts unnamed_ = {};
  clock::time_point since_ = {};  // of this while
  // Lines in it.
  std::array<std::size_t, refusal_kinds> lines_ = {};
  std::map<std::pair<refusal, std::string>, std::size_t> of_;  // of each peer
};

}  // namespace zelk::accumulate
