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
    some.back()->record.stderr.append("trouble");
    some.back()->record.nodes_csv = std::string(output, 'n');
    some.back()->charge = 5000;
    some.back()->peer = std::make_shared<std::string>("10.0.0.1");
  }
  return some;
}

TEST(arrival_pool, gives_a_used_place_out_again_and_empty) {
  arrival_pool pool;
  places some = used(pool, 1, 1000);
  const arrival* place = some.front().get();
  const unsigned char* storage = place->record.stdout.data();
  pool.give_back(some);
  EXPECT_TRUE(some.empty());

  const std::unique_ptr<arrival> again = pool.take();
  EXPECT_EQ(again.get(), place);
  EXPECT_EQ(again->record.stdout.data(), storage);
  EXPECT_EQ(again->record.header.num_nodes, 0);
  EXPECT_TRUE(again->record.stdout.empty());
  EXPECT_TRUE(again->record.stderr.empty());
  EXPECT_EQ(again->record.nodes_csv, "");
  EXPECT_EQ(again->charge, 0U);
  EXPECT_FALSE(again->peer);
}

TEST(arrival_pool, keeps_no_large_block) {
  arrival_pool pool;
  places some = used(pool, 1, 1'000'000);
  pool.give_back(some);
  const std::unique_ptr<arrival> again = pool.take();
  EXPECT_LE(again->record.stdout.free_size(), least_block);
  EXPECT_LE(again->record.nodes_csv.capacity(), least_block);
}

TEST(arrival_pool, keeps_so_many_places_and_no_more) {
  arrival_pool pool;
  places some = used(pool, 2 * arrival_pool::most_spare, 10);
  pool.give_back(some);

  std::size_t with_storage = 0;
  places again;
  for (std::size_t i = 0; i < 2 * arrival_pool::most_spare; ++i) {
    again.push_back(pool.take());
    with_storage += again.back()->record.stdout.free_size() > 0 ? 1 : 0;
  }
  EXPECT_EQ(with_storage, arrival_pool::most_spare);
}

}  // namespace
}  // namespace zelk::accumulate
