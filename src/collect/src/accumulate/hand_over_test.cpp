#include "src/collect/src/accumulate/hand_over.h"

#include <thread>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/tally.h"

namespace zelk::accumulate {
namespace {

hand_over::records some(std::size_t count) {
  hand_over::records made;
  for (std::size_t i = 0; i < count; ++i)
    made.push_back(std::make_unique<arrival>());
  return made;
}

TEST(hand_over, returns_with_nothing_when_it_is_woken) {
  hand_over queue;
  queue.wake();
  EXPECT_TRUE(queue.take({}).empty());  // does not wait for ever
  std::thread waker([&] { queue.wake(); });
  EXPECT_TRUE(queue.take({}).empty());
  waker.join();
  EXPECT_FALSE(queue.finished());
}

TEST(hand_over, keeps_the_order) {
  hand_over queue;
  std::vector<const arrival*> order;
  for (int i = 0; i < 3; ++i) {
    hand_over::records three = some(3);
    for (const auto& each : three)
      order.push_back(each.get());
    queue.put(three);
    EXPECT_TRUE(three.empty());
  }
  const hand_over::records taken = queue.take({});
  ASSERT_EQ(taken.size(), order.size());
  for (std::size_t i = 0; i < order.size(); ++i)
    EXPECT_EQ(taken[i].get(), order[i]);
  EXPECT_TRUE(queue.empty());
}

TEST(hand_over, waits_until_the_time_it_is_given) {
  hand_over queue;
  const auto now = std::chrono::steady_clock::now();
  EXPECT_TRUE(queue.take(now + std::chrono::milliseconds(20)).empty());
  EXPECT_GE(std::chrono::steady_clock::now() - now,
            std::chrono::milliseconds(20));
  EXPECT_FALSE(queue.finished());
}

TEST(hand_over, is_finished_when_closed_and_empty) {
  hand_over queue;
  hand_over::records one = some(1);
  queue.put(one);
  queue.close();
  EXPECT_FALSE(queue.finished());
  EXPECT_EQ(queue.take({}).size(), 1U);
  EXPECT_TRUE(queue.finished());
  EXPECT_TRUE(queue.take({}).empty());
}

TEST(hand_over, loses_nothing_between_two_threads) {
  hand_over queue;
  constexpr std::size_t rounds = 20'000;
  std::thread writer([&] {
    for (std::size_t i = 0; i < rounds; ++i) {
      hand_over::records two = some(2);
      queue.put(two);
    }
    queue.close();
  });
  std::size_t taken = 0;
  while (!queue.finished())
    taken += queue.take({}).size();
  writer.join();
  EXPECT_EQ(taken, 2 * rounds);
}

TEST(tally, adds_up) {
  tally_board board;
  tally came;
  came.received = came.pending = 10;
  board.add(came);
  EXPECT_TRUE(board.now().adds_up());
  tally decided;
  decided.stored = 4;
  decided.conflicts = 1;
  decided.duplicates = 2;
  decided.kept_aside = 1;
  decided.unsaved = 1;
  decided.lost = 1;
  decided.pending -= 9;
  board.add(decided);
  EXPECT_TRUE(board.now().adds_up());
  EXPECT_EQ(board.now().pending, 1U);
  tally wrong = board.now();
  ++wrong.stored;
  EXPECT_FALSE(wrong.adds_up());
}

}  // namespace
}  // namespace zelk::accumulate
