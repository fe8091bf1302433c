#include "src/collect/src/accumulate/receiver.h"

#include <netinet/in.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/test_intake.h"
#include "src/common/log/captured_log.h"

namespace zelk::accumulate {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A peer of the receiver in the same thread.
class peer {
 public:
  explicit peer(const std::string& endpoint, bool introduced = true)
      : fd_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in where = {};
    where.sin_family = AF_INET;
    where.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    where.sin_port = htons(static_cast<std::uint16_t>(
        std::stoi(endpoint.substr(endpoint.rfind(':') + 1))));
    EXPECT_EQ(
        ::connect(fd_.get(), reinterpret_cast<sockaddr*>(&where), sizeof where),
        0);
    if (introduced) send(greeting() + introduction());
  }

  void send(const std::string& bytes) {
    EXPECT_EQ(::send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }
  // As much as the system takes now; returns how much that was.
  std::size_t send_some(const std::string& bytes) {
    const ssize_t sent = ::send(fd_.get(), bytes.data(), bytes.size(),
                                MSG_NOSIGNAL | MSG_DONTWAIT);
    return static_cast<std::size_t>(std::max<ssize_t>(sent, 0));
  }
  std::string heard() {
    char text[4096];
    const ssize_t got = ::recv(fd_.get(), text, sizeof text, MSG_DONTWAIT);
    return {text, static_cast<std::size_t>(std::max<ssize_t>(got, 0))};
  }
  // The other side has ended the connection, or its direction of it.
  bool at_end() {
    char text[4096];
    ssize_t got = 1;
    while (got > 0)
      got = ::recv(fd_.get(), text, sizeof text, MSG_DONTWAIT);
    return got == 0 || errno == ECONNRESET;
  }
  void leave() { ::shutdown(fd_.get(), SHUT_WR); }

 private:
  util::unique_fd fd_;
};

struct receiver_test : public ::testing::Test {
  receiver_test() {
    limits.max_record = 1 << 20;
    limits.most_connections = 100;
    limits.most_waiting_bytes = std::size_t{1} << 30;
  }

  receiver& server() {
    if (made) return *made;
    made = std::make_unique<receiver>(limits, budget, wake.get(), queue, board,
                                      refusals);
    EXPECT_TRUE(made->listen("tcp://127.0.0.1:*"));
    return *made;
  }
  std::string endpoint() { return server().endpoints().at(0); }

  // Takes turns until `done`, ten seconds at most.
  template <typename Condition>
  bool turn_until(const Condition& done) {
    const auto end = steady_clock::now() + std::chrono::seconds(10);
    while (steady_clock::now() < end) {
      if (done()) return true;
      server().turn(milliseconds(10));
    }
    return false;
  }
  // Takes `count` records out of the queue.
  hand_over::records take(std::size_t count) {
    hand_over::records all;
    turn_until([&] {
      if (!queue.empty())
        for (auto& each : queue.take({}))
          all.push_back(std::move(each));
      return all.size() >= count;
    });
    return all;
  }
  std::uint64_t refused(refusal kind) const { return refusals.total(kind); }

  log::captured_log log;
  receiver_limits limits;
  util::unique_fd wake{::eventfd(0, EFD_NONBLOCK)};
  memory_budget budget{std::size_t{8} << 20, [this] {
                         const std::uint64_t one = 1;
                         EXPECT_EQ(::write(wake.get(), &one, sizeof one), 8);
                       }};
  hand_over queue;
  tally_board board;
  refusal_log refusals;
  std::unique_ptr<receiver> made;
};

TEST_F(receiver_test, hands_records_over_with_the_name_of_their_peer) {
  peer one(endpoint());
  one.send(message(a_result("node1", 1)) + message(a_result("node1", 2)));
  const hand_over::records taken = take(2);
  ASSERT_EQ(taken.size(), 2U);
  EXPECT_TRUE(same_bytes(taken[1]->record, a_result("node1", 2)));
  EXPECT_TRUE(taken[0]->peer->starts_with("127.0.0.1:"));
  EXPECT_EQ(board.now().received, 2U);
  EXPECT_EQ(board.now().pending, 2U);
  EXPECT_EQ(budget.held(), taken[0]->charge + taken[1]->charge);
  EXPECT_EQ(server().peers(), 1U);
  EXPECT_TRUE(server().between_messages());
  one.leave();
  EXPECT_TRUE(turn_until([&] { return server().connections() == 0; }));
  EXPECT_EQ(log.lines(), lines{});
}

TEST_F(receiver_test, reads_records_larger_than_any_buffer) {
  const provider_result large = a_result("node1", 1, std::string(900'000, 'x'));
  peer one(endpoint());
  std::string bytes = message(large) + message(a_result("node1", 2));
  hand_over::records taken;
  EXPECT_TRUE(turn_until([&] {
    bytes.erase(0, one.send_some(bytes));
    if (!queue.empty())
      for (auto& each : queue.take({}))
        taken.push_back(std::move(each));
    return taken.size() == 2;
  }));
  EXPECT_TRUE(same_bytes(taken[0]->record, large));
}

TEST_F(receiver_test, refuses_a_message_and_takes_the_next) {
  peer one(endpoint());
  frame_list bad = frames_of(a_result("node1", 1));
  bad.pop_back();
  one.send(message(bad) + message(a_result("node1", 2)));
  EXPECT_EQ(take(1).size(), 1U);
  EXPECT_EQ(refused(refusal::malformed), 1U);
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.lines()[0].starts_with("Refused a message from 127.0.0.1:"));
  EXPECT_TRUE(log.lines()[0].ends_with(
      "(node1, provider memory): 3 frames instead of 4"));
}

TEST_F(receiver_test, cuts_off_strangers_alone) {
  peer good(endpoint());
  peer stranger(endpoint(), false);
  stranger.send("GET / HTTP/1.1\r\n\r\n");
  EXPECT_TRUE(turn_until([&] { return stranger.at_end(); }));
  EXPECT_EQ(refused(refusal::garbage), 1U);
  good.send(message(a_result("node1", 1)));
  EXPECT_EQ(take(1).size(), 1U);
}

TEST_F(receiver_test, lets_silent_connections_go) {
  limits.handshake = std::chrono::seconds(1);
  peer silent(endpoint(), false);
  peer good(endpoint());
  EXPECT_TRUE(turn_until([&] { return silent.at_end(); }));
  EXPECT_EQ(refused(refusal::silent), 1U);
  EXPECT_EQ(server().peers(), 1U);
}

TEST_F(receiver_test, asks_idle_peers_and_lets_the_dead_go) {
  limits.heartbeat = std::chrono::seconds(1);
  peer alive(endpoint());
  peer dead(endpoint());
  std::string heard;
  EXPECT_TRUE(turn_until([&] {
    heard = alive.heard();
    if (heard.find("\4PING") == std::string::npos) return false;
    alive.send(command("\4PONG"));
    return true;
  }));
  // The dead one has been asked, too, and gives no answer.
  EXPECT_TRUE(turn_until([&] { return dead.at_end(); }));
  EXPECT_EQ(refused(refusal::unreachable), 1U);
  EXPECT_EQ(server().peers(), 1U);
}

TEST_F(receiver_test, counts_what_ends_in_the_middle) {
  peer one(endpoint());
  const std::string bytes = message(a_result("node1", 1));
  one.send(bytes.substr(0, bytes.size() - 1));
  EXPECT_TRUE(turn_until([&] { return budget.held() > 0; }));
  EXPECT_FALSE(server().between_messages());
  one.leave();
  EXPECT_TRUE(turn_until([&] { return server().connections() == 0; }));
  EXPECT_EQ(refused(refusal::cut_off), 1U);
  EXPECT_EQ(budget.held(), 0U);
  EXPECT_EQ(board.now().received, 0U);
}

// Nobody takes the records: reading stops within the budget, and goes on where
// it stopped.
TEST_F(receiver_test, reads_no_more_than_memory_allows) {
  limits.max_record = 1 << 20;
  std::vector<std::unique_ptr<peer>> peers;
  std::vector<std::string> bytes;
  constexpr std::size_t each = 4, count = 8;
  for (std::size_t i = 0; i < count; ++i) {
    peers.push_back(std::make_unique<peer>(endpoint()));
    std::string all;
    for (std::size_t j = 0; j < each; ++j)
      all += message(a_result("node" + std::to_string(i),
                              static_cast<std::int64_t>(j),
                              std::string(800'000, 'x')));
    bytes.push_back(all);
  }
  const auto push = [&] {
    for (std::size_t i = 0; i < count; ++i)
      bytes[i].erase(0, peers[i]->send_some(bytes[i]));
  };
  for (int i = 0; i < 300; ++i) {
    push();
    server().turn(milliseconds(1));
    ASSERT_LE(budget.held(), budget.limit());
  }
  EXPECT_GT(budget.held(), budget.limit() - limits.max_record);
  EXPECT_FALSE(server().between_messages());

  std::size_t taken = 0;
  EXPECT_TRUE(turn_until([&] {
    push();
    if (queue.empty()) return false;
    for (const auto& record : queue.take({})) {
      ++taken;
      budget.release(record->charge);
    }
    return taken == each * count;
  }));
  EXPECT_EQ(budget.held(), 0U);
  EXPECT_EQ(log.lines(), lines{});
}

// What waits for the store is lost when the process dies: no more than keeps
// the store busy is read, and peers that are not read are not taken for dead.
TEST_F(receiver_test, runs_ahead_of_the_store_only_so_far) {
  limits.most_waiting = 10;
  limits.heartbeat = std::chrono::seconds(1);
  peer one(endpoint());
  for (int i = 0; i < 40; ++i)
    one.send(message(a_result("node1", i, std::string(30'000, 'x'))));
  const auto end = steady_clock::now() + std::chrono::milliseconds(3200);
  while (steady_clock::now() < end)
    server().turn(milliseconds(50));
  EXPECT_GE(board.now().pending, 10U);
  EXPECT_LE(board.now().pending, 20U);
  EXPECT_EQ(server().peers(), 1U);
  EXPECT_FALSE(server().between_messages());

  std::size_t taken = 0;
  EXPECT_TRUE(turn_until([&] {
    if (queue.empty()) return false;
    tally decided;
    for (const auto& record : queue.take({})) {
      ++taken;
      --decided.pending;
      decided.pending_bytes -= record->charge;
      budget.release(record->charge);
    }
    board.add(decided);
    return taken == 40;
  }));
  EXPECT_TRUE(server().between_messages());
}

// Else their connections would fail, or wait for seconds, for no fault of
// theirs.
TEST_F(receiver_test, accepts_peers_while_the_store_has_enough) {
  limits.most_waiting = 1;
  peer first(endpoint());
  first.send(message(a_result("node1", 1)));
  EXPECT_TRUE(turn_until([&] { return board.now().pending == 1; }));
  peer second(endpoint());
  second.send(message(a_result("node2", 2)));
  EXPECT_TRUE(turn_until([&] { return server().connections() == 2; }));
  server().turn(milliseconds(10));
  EXPECT_EQ(board.now().received, 1U);
}

TEST_F(receiver_test, hears_more_peers_than_it_can_hold_one_after_another) {
  limits.most_connections = 3;
  std::vector<std::unique_ptr<peer>> peers;
  for (int i = 0; i < 10; ++i) {
    peers.push_back(std::make_unique<peer>(endpoint()));
    peers.back()->send(message(a_result("node1", i)));
    peers.back()->leave();
  }
  EXPECT_EQ(take(10).size(), 10U);
  EXPECT_LE(log.lines().size(), 5U);
}

TEST_F(receiver_test, hears_at_the_end_what_was_sent_before) {
  const std::string where = endpoint();
  peer one(where);
  one.send(message(a_result("node1", 1)));
  peer waiting(where);  // not accepted yet
  waiting.send(message(a_result("node2", 1)));
  server().stop_accepting();
  server().ask_peers_to_stop();
  EXPECT_EQ(take(2).size(), 2U);
  EXPECT_TRUE(one.at_end());
  one.leave();
  waiting.leave();
  EXPECT_TRUE(turn_until([&] { return server().connections() == 0; }));
  EXPECT_EQ(server().close_all(), 0U);
}

TEST_F(receiver_test, says_where_it_cannot_listen) {
  receiver other(limits, budget, wake.get(), queue, board, refusals);
  EXPECT_FALSE(other.listen(endpoint()));
  EXPECT_FALSE(other.listen("nonsense"));
  EXPECT_EQ(log.lines().size(), 2U);
}

}  // namespace
}  // namespace zelk::accumulate
