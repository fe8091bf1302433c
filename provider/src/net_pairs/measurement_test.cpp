#include "provider/src/net_pairs/measurement.h"

#include <future>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "provider/src/net_pairs/greeting.h"

namespace zelk::net_pairs {
namespace {

struct ends {
  bounded_socket leads;
  bounded_socket follows;
};

ends connected(milliseconds patience) {
  const listener door = listen_anywhere();
  const secret shared = secret::random();
  const auto deadline = clock::now() + patience;
  auto host = std::async(std::launch::async, [&] {
    return accept_partner(door, shared, 1, deadline, -1);
  });
  bounded_socket leads = greet("127.0.0.1", door.port, shared, 1, deadline);
  return {std::move(leads), host.get()};
}

constexpr milliseconds minute{60'000};
const measure_plan quick{20, milliseconds(50), milliseconds(30), {}};

TEST(measurement, finds_figures_on_a_loopback) {
  ends pair = connected(minute);
  auto other = std::async(std::launch::async, [&] {
    follow_measurement(pair.follows, quick.stream_time);
  });
  const pair_figures found = lead_measurement(pair.leads, quick);
  other.get();
  EXPECT_GT(found.latency_us, 0.1);
  EXPECT_LT(found.latency_us, 50'000);
  EXPECT_GT(found.forward_mb_s, 1);
  EXPECT_GT(found.backward_mb_s, 1);
}

TEST(measurement, fails_when_the_partner_falls_silent) {
  ends pair = connected(milliseconds(300));
  EXPECT_THROW(lead_measurement(pair.leads, quick), failure);
}

TEST(measurement, fails_when_the_partner_goes) {
  ends pair = connected(minute);
  { const bounded_socket gone = std::move(pair.follows); }
  EXPECT_THROW(lead_measurement(pair.leads, quick), failure);
}

TEST(measurement, fails_when_the_partner_floods_and_never_listens) {
  ends pair = connected(milliseconds(500));
  auto other = std::async(std::launch::async, [&] {
    const std::string flood(1 << 20, 'm');
    try {
      for (;;)
        pair.follows.send(flood.data(), flood.size());
    } catch (const failure&) {
    }
  });
  EXPECT_THROW(lead_measurement(pair.leads, quick), failure);
  other.get();
}

}  // namespace
}  // namespace zelk::net_pairs
