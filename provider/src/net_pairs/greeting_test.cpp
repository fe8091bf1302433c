#include "provider/src/net_pairs/greeting.h"

#include <unistd.h>

#include <functional>
#include <future>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zelk::net_pairs {
namespace {

clock::time_point in(int milliseconds_from_now) {
  return clock::now() + milliseconds(milliseconds_from_now);
}

constexpr int long_enough = 60'000;  // ms

bounded_socket stranger(const listener& door) {
  return connect_to("127.0.0.1", door.port, in(long_enough));
}

std::string reason_of(const std::function<void()>& work) {
  try {
    work();
  } catch (const failure& error) {
    return error.what();
  }
  return "";
}

TEST(secret, reads_back_from_its_digits) {
  const secret made = secret::random();
  const secret read = secret::from_hex(made.hex());
  EXPECT_EQ(read.asked, made.asked);
  EXPECT_EQ(read.answer, made.answer);
  EXPECT_NE(made.asked, secret::random().asked);
}

TEST(secret, is_refused_in_any_other_form) {
  const std::string zeros(64, '0');
  for (const std::string& text :
       {std::string(), zeros.substr(1), zeros + "0", "x" + zeros.substr(1),
        "-1" + zeros.substr(2), " 0" + zeros.substr(2)}) {
    SCOPED_TRACE(text);
    EXPECT_THROW(secret::from_hex(text), failure);
  }
}

TEST(greeting, brings_two_together_who_know_the_secret) {
  const listener door = listen_anywhere();
  const secret shared = secret::random();
  auto host = std::async(std::launch::async, [&] {
    bounded_socket guest = accept_partner(door, shared, 5, in(long_enough), -1);
    guest.send("hi", 2);
  });
  bounded_socket partner =
      greet("127.0.0.1", door.port, shared, 5, in(long_enough));
  char said[2];
  partner.receive(said, sizeof said);
  EXPECT_EQ(std::string(said, 2), "hi");
  host.get();
}

// A scanner that opens ports and says nothing must not cost a measurement.
TEST(accept_partner, is_not_held_up_by_strangers) {
  const listener door = listen_anywhere();
  const secret shared = secret::random();
  std::vector<bounded_socket> strangers;
  strangers.reserve(50);
  for (int i = 0; i < 50; ++i)
    strangers.push_back(stranger(door));
  strangers[7].send("GET / HTTP/1.0\r\n\r\n and more", 27);
  auto host = std::async(std::launch::async, [&] {
    accept_partner(door, shared, 1, in(long_enough), -1);
  });
  greet("127.0.0.1", door.port, shared, 1, in(long_enough));
  host.get();
}

TEST(accept_partner, refuses_another_secret_and_another_number) {
  const listener door = listen_anywhere();
  const secret shared = secret::random();
  auto host = std::async(std::launch::async, [&] {
    return reason_of([&] { accept_partner(door, shared, 1, in(1000), -1); });
  });
  const auto deadline = in(long_enough);
  EXPECT_NE(reason_of([&] {
              greet("127.0.0.1", door.port, secret::random(), 1, deadline);
            }),
            "");
  EXPECT_NE(
      reason_of([&] { greet("127.0.0.1", door.port, shared, 2, deadline); }),
      "");
  EXPECT_EQ(host.get(), "the partner did not connect in time");
}

TEST(accept_partner, ends_when_the_coordinator_has_something_to_say) {
  const listener door = listen_anywhere();
  int control[2];
  ASSERT_EQ(::pipe(control), 0);
  ::close(control[1]);
  EXPECT_EQ(reason_of([&] {
              accept_partner(door, secret::random(), 1, in(long_enough),
                             control[0]);
            }),
            "the partner could not connect");
  ::close(control[0]);
}

TEST(greet, does_not_take_everybody_for_the_partner) {
  const listener door = listen_anywhere();
  const secret shared = secret::random();
  const secret other{shared.asked, secret::random().answer};
  auto host = std::async(std::launch::async, [&] {
    accept_partner(door, other, 1, in(long_enough), -1);
  });
  EXPECT_EQ(reason_of([&] {
              greet("127.0.0.1", door.port, shared, 1, in(long_enough));
            }),
            "connect to 127.0.0.1: not the partner");
  host.get();
}

TEST(greet, does_not_wait_for_ever) {
  const listener door = listen_anywhere();  // accepts and never answers
  EXPECT_EQ(reason_of([&] {
              greet("127.0.0.1", door.port, secret::random(), 1, in(100));
            }),
            "no answer in time");
}

TEST(connect_to, says_what_is_wrong) {
  std::uint16_t closed = 0;
  { closed = listen_anywhere().port; }
  EXPECT_EQ(reason_of([&] { connect_to("127.0.0.1", closed, in(1000)); }),
            "connect to 127.0.0.1: Connection refused");
  EXPECT_EQ(reason_of([&] {
              connect_to("no.such.host.invalid", 1, in(1000));
            }).substr(0, 30),
            "resolve no.such.host.invalid: ");
}

}  // namespace
}  // namespace zelk::net_pairs
