// The socket side of the accumulator: many peers, one thread, bounded memory.
//
// Accepts peers, reads their records as memory allows, and hands them over.
// Whatever a peer does concerns that peer alone: it is counted, named, and at
// worst cut off. Nothing here blocks except turn(), for as long as it is told.

#pragma once

#include <sys/epoll.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "src/collect/src/accumulate/connection.h"
#include "src/collect/src/accumulate/endpoint.h"
#include "src/collect/src/accumulate/hand_over.h"
#include "src/collect/src/accumulate/memory_budget.h"
#include "src/collect/src/accumulate/refusal.h"
#include "src/collect/src/accumulate/tally.h"
#include "src/common/util/unique_fd.h"

namespace zelk::accumulate {

struct receiver_limits {
  std::size_t max_record = 0;        // bytes; set by whoever makes it
  std::size_t most_connections = 0;  // at once; further ones wait in the queue
  int backlog = 4096;                // of connections not yet accepted
  // Records handed over and not yet decided, and their bytes, beyond which
  // nothing is read for a while. What is in memory is lost when this process
  // dies, and more than keeps the store busy gains nothing.
  std::size_t most_waiting = 1000;
  std::size_t most_waiting_bytes = 16 << 20;
  // To introduce itself.
  std::chrono::seconds handshake{5};
  // Without a byte until a peer is asked for a sign of life, and again until it
  // is taken for dead.
  std::chrono::seconds heartbeat{30};
};

class receiver {
 public:
  using clock = std::chrono::steady_clock;

  // The descriptor `wake` becomes readable when memory was released.
  receiver(const receiver_limits& limits, memory_budget& budget, int wake,
           hand_over& onward, tally_board& board, refusal_log& refusals);
  ~receiver();
  receiver(const receiver&) = delete;
  receiver& operator=(const receiver&) = delete;

  // Listens at `endpoint`. Returns false after one error record.
  bool listen(const std::string& endpoint);
  // As bound, with the ports that were given.
  std::vector<std::string> endpoints() const;
  // turn() also ends when `fd` becomes readable, or what else poll(2) has names
  // for; what to do then is the caller's. Few.
  void watch(int fd, std::uint32_t events = EPOLLIN);
  void unwatch(int fd);
  // Called for each refusal that is named in a line: who, and what was wrong.
  using refusal_listener =
      std::function<void(const std::string& peer, const std::string& what)>;
  void on_refusal(refusal_listener told) { on_refusal_ = std::move(told); }

  // Waits for at most `limit`, then reads what has come. Returns whether
  // anything has.
  bool turn(std::chrono::milliseconds limit);

  // Takes in the connections that stand in the queue, then closes it.
  void stop_accepting();
  // Asks every peer to send no more; what it has sent still comes.
  void ask_peers_to_stop();
  // Cuts off who is left. Returns how many there were.
  std::size_t close_all();

  // Peers that have introduced themselves and are connected.
  std::size_t peers() const { return established_; }
  std::size_t connections() const { return count_; }
  // No peer is in the middle of a message, and nobody has to wait.
  bool between_messages() const;
  std::uint64_t bytes_received() const { return bytes_; }

 private:
  struct listener {
    listening_socket socket;
    bool paused = false;
  };

  void read_peers();
  void on_event(int fd, std::uint32_t events);
  void hold_back();
  void go_on_reading();
  listener* listener_of(int fd);
  void accept_some(listener& from, int most);
  void accept_one(int fd);
  void pause_accepting(const std::string& why);
  void resume_accepting();

  void read(connection& peer);
  void go_on(connection& peer, zmtp_stream::state now, std::string_view rest);
  void take_message(connection& peer);
  void wait_for_memory(connection& peer);
  void serve_waiting();
  void end_of_stream(connection& peer, int code);
  void drop(connection& peer);
  void refuse(const connection& peer, refusal kind, const std::string& what);
  void answer(connection& peer);

  void sweep();
  void look_after(connection& peer, clock::time_point now);
  void watch_peer(int fd) const;
  void change_events(const connection& peer) const;
  bool plenty_of_memory() const;

  const receiver_limits limits_;
  memory_budget& budget_;
  const int wake_;
  hand_over& onward_;
  tally_board& board_;
  refusal_log& refusals_;
  refusal_listener on_refusal_;

  util::unique_fd control_;  // what is looked at always, listeners, and peers_
  util::unique_fd peers_;    // connections
  bool holding_back_ = false;
  std::vector<listener> listeners_;
  std::vector<std::unique_ptr<connection>> table_;  // by descriptor
  std::size_t count_ = 0;
  std::size_t established_ = 0;
  std::uint64_t serial_ = 0;
  struct place {
    int fd;
    std::uint64_t serial;
  };
  std::deque<place> queue_;  // peers that wait for memory, the first one first
  hand_over::records batch_;
  std::vector<char> scratch_;
  std::uint64_t bytes_ = 0;
  clock::time_point swept_at_;
  bool capacity_told_ = false;
};

}  // namespace zelk::accumulate
