#include "src/collect/src/accumulate/arrival_pool.h"

#include <string>

#include <gtest/gtest.h>

namespace zelk::accumulate {
namespace {

using places = std::vector<std::unique_ptr<arrival>>;

places used(arrival_pool& pool, std::size_t count, std::size_t output) {
  places some;
  for (std::size_t i = 0; i < count; ++i) {
    some.push_back(pool.take());
    some.back()->record.header.num_nodes = 7;
    some.back()->record.stdout.append(std::string(output, 'x'));
    some.back()->record.nodes_csv = std::string(output, 'n');
    some.back()->charge = 5000;
    some.back()->peer = std::make_shared<std::string>("10.0.0.1");
  }
  return some;
}

TEST(arrival_pool, gives_a_used_place_out_again_empty_and_without_storage) {
  arrival_pool pool;
  places some = used(pool, 1, 1000);
  const arrival* place = some.front().get();
  pool.give_back(some);
  EXPECT_TRUE(some.empty());

  const std::unique_ptr<arrival> again = pool.take();
  EXPECT_EQ(again.get(), place);
  EXPECT_EQ(again->record.header.num_nodes, 0);
  EXPECT_TRUE(again->record.stdout.empty());
  EXPECT_EQ(again->record.stdout.free_size(), 0U);
  EXPECT_EQ(again->record.nodes_csv, "");
  EXPECT_LT(again->record.nodes_csv.capacity(), 100U);
  EXPECT_EQ(again->charge, 0U);
  EXPECT_FALSE(again->peer);
}

TEST(arrival_pool, gives_storage_out_again) {
  arrival_pool pool;
  places some = used(pool, 1, 1000);
  const unsigned char* storage = some.front()->record.stdout.data();
  pool.give_back(some);

  util::byte_buffer block;
  pool.take_storage(block);
  EXPECT_EQ(block.data(), storage);
  EXPECT_TRUE(block.empty());
  EXPECT_EQ(block.free_size(), least_block);
  util::byte_buffer other;
  pool.take_storage(other);
  EXPECT_EQ(other.free_size(), 0U);
}

TEST(arrival_pool, keeps_no_large_block) {
  arrival_pool pool;
  places some = used(pool, 1, 1'000'000);
  pool.give_back(some);
  util::byte_buffer block;
  pool.take_storage(block);
  EXPECT_EQ(block.free_size(), 0U);
}

TEST(arrival_pool, keeps_so_many_and_no_more) {
  arrival_pool pool;
  for (int i = 0; i < 3; ++i) {
    places some = used(pool, 2 * arrival_pool::most_spare, 10);
    pool.give_back(some);
  }
  std::size_t kept = 0;
  for (std::size_t i = 0; i < 3 * arrival_pool::most_spare; ++i) {
    util::byte_buffer block;
    pool.take_storage(block);
    kept += block.free_size() > 0 ? 1 : 0;
  }
  EXPECT_GT(kept, 0U);
  EXPECT_LE(kept, arrival_pool::most_spare);
}

}  // namespace
}  // namespace zelk::accumulate
