#include "src/collect/src/collect/reachable_address.h"

#include <chrono>

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

constexpr std::chrono::milliseconds limit{20'000};

TEST(find_reachable_address, goes_by_the_way_to_a_node) {
  const reachable_address found = find_reachable_address({"127.0.0.1"}, limit);
  EXPECT_EQ(found.problem, "");
  EXPECT_EQ(found.address, "127.0.0.1");
  EXPECT_EQ(found.towards, "127.0.0.1");
}

TEST(find_reachable_address, passes_over_nodes_without_an_address) {
  const reachable_address found =
      find_reachable_address({"no.such.host.invalid", "127.0.0.1"}, limit);
  EXPECT_EQ(found.towards, "127.0.0.1");
}

// Where nothing answers in time: either the only address of this machine, or
// the option to say it.
TEST(find_reachable_address, does_not_wait_longer_than_its_limit) {
  const reachable_address found =
      find_reachable_address({"127.0.0.1"}, std::chrono::milliseconds(0));
  EXPECT_EQ(found.towards.empty(), true);
  EXPECT_NE(found.address.empty(), found.problem.empty());
  if (!found.problem.empty()) {
    EXPECT_NE(found.problem.find("--address"), std::string::npos);
  }
}

TEST(endpoint_typed, takes_a_host_with_or_without_a_port) {
  const struct {
    const char* text;
    const char* bind;
    const char* host;
  } cases[] = {
      {"head-ib", "tcp://*:*", "head-ib"},
      {"head:5600", "tcp://*:5600", "head"},
      {"10.1.0.1", "tcp://*:*", "10.1.0.1"},
      {"fd00::1", "tcp://*:*", "[fd00::1]"},
      {"[fd00::1]", "tcp://*:*", "[fd00::1]"},
      {"[fd00::1]:5600", "tcp://*:5600", "[fd00::1]"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.text);
    const endpoint_plan found = endpoint_typed(each.text);
    EXPECT_EQ(found.problem, "");
    EXPECT_EQ(found.bind, each.bind);
    EXPECT_EQ(found.host, each.host);
  }
}

TEST(endpoint_typed, refuses_what_is_no_address) {
  for (const char* text : {"", ":5600", "head:", "head:0", "head:65536",
                           "head:x", "tcp://head", "a b", "[fd00::1]x"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(endpoint_typed(text).problem,
              "--address: expected HOST, HOST:PORT or [ADDRESS]:PORT; found '" +
                  std::string(text) + "'");
  }
}

TEST(worker_endpoint, has_our_host_and_the_port_that_was_bound) {
  EXPECT_EQ(worker_endpoint("10.1.0.1", "tcp://0.0.0.0:40123"),
            "tcp://10.1.0.1:40123");
  EXPECT_EQ(worker_endpoint("[fd00::1]", "tcp://[::]:40123"),
            "tcp://[fd00::1]:40123");
  EXPECT_EQ(worker_endpoint("x", "ipc:///tmp/s"), "ipc:///tmp/s");
  EXPECT_EQ(endpoint_for("10.1.0.1").bind, "tcp://10.1.0.1:*");
  EXPECT_EQ(endpoint_for("fd00::1").bind, "tcp://[fd00::1]:*");
}

}  // namespace
}  // namespace zelk::collect
