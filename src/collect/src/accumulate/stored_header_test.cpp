#include "src/collect/src/accumulate/stored_header.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/test_store.h"

namespace zelk::accumulate {
namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

provider_result_header plain_header() {
  return a_result("node01", 5'000).header;
}

bool comes_back(const provider_result_header& header) {
  return !needs_raw_header(header, columns_of(header));
}

TEST(columns_of, takes_every_field) {
  const provider_result_header header = plain_header();
  const header_columns columns = columns_of(header);
  EXPECT_EQ(columns.name, "memory");
  EXPECT_EQ(columns.hostname, "node01");
  EXPECT_EQ(columns.host_arg, "");
  EXPECT_EQ(columns.username, "ada");
  EXPECT_EQ(columns.option_id, "None");
  EXPECT_EQ(columns.timestamp, 1'760'000'000);
  EXPECT_EQ(columns.unique_timestamp, 1'760'000'000'005'000);
  EXPECT_EQ(columns.duration, 1.5);
  EXPECT_EQ(columns.version, 3);
  EXPECT_TRUE(comes_back(header));
}

TEST(columns_of, reads_no_further_than_a_field_without_terminator) {
  provider_result_header header;
  std::memset(&header, 'x', sizeof header);
  const header_columns columns = columns_of(header);
  EXPECT_EQ(columns.name.size(), 64U);
  EXPECT_EQ(columns.hostname.size(), 255U);
  EXPECT_EQ(columns.host_arg.size(), 255U);
  EXPECT_EQ(columns.username.size(), 10U);
  EXPECT_EQ(columns.option_id.size(), 60U);
}

struct time_case {
  std::int64_t sec;
  std::int64_t usec;
  std::int64_t unique;
};

TEST(columns_of, holds_impossible_times_at_the_ends) {
  const time_case cases[] = {
      {0, 0, 0},          {-1, 999'999, -1},  {most, 0, most},
      {least, 0, least},  {0, most, most},    {1, most, most},
      {-1, least, least}, {5, -1, 4'999'999}, {most / 1'000'000, 999'999, most},
  };
  for (const time_case& c : cases) {
    SCOPED_TRACE(c.sec);
    provider_result_header header = plain_header();
    header.timestamp_sec = c.sec;
    header.timestamp_usec = c.usec;
    EXPECT_EQ(columns_of(header).unique_timestamp, c.unique);
  }
}

TEST(needs_raw_header, keeps_what_columns_cannot_give_back) {
  const auto changed = [](auto change) {
    provider_result_header header = plain_header();
    change(header);
    return !comes_back(header);
  };
  EXPECT_FALSE(changed([](auto&) {}));
  EXPECT_FALSE(changed([](auto& h) { h.num_nodes = 65535; }));
  EXPECT_FALSE(changed([](auto& h) { h.exit_status = -9; }));
  EXPECT_TRUE(changed([](auto& h) { h.padding_1[0] = 1; }));
  EXPECT_TRUE(changed([](auto& h) { h.padding_2[3] = 1; }));
  EXPECT_TRUE(changed([](auto& h) { h.padding_3[5] = 1; }));
  EXPECT_TRUE(changed([](auto& h) { h.reserved[15] = 1; }));
  EXPECT_TRUE(changed([](auto& h) { h.name[63] = 'x'; }));
  EXPECT_TRUE(changed([](auto& h) { h.duration = -0.0; }));
  EXPECT_TRUE(changed([](auto& h) { h.duration = std::nan(""); }));
  EXPECT_FALSE(changed([](auto& h) { h.duration = INFINITY; }));
  EXPECT_TRUE(changed([](auto& h) { h.timestamp_sec = most; }));
}

// What is not flagged must come back; what is flagged is kept raw.
TEST(needs_raw_header, is_right_about_any_bytes) {
  std::mt19937 random(1);
  for (int i = 0; i < 20'000; ++i) {
    provider_result_header header = plain_header();
    auto* bytes = reinterpret_cast<unsigned char*>(&header);
    for (unsigned n = random() % 4; n > 0; --n)
      bytes[random() % sizeof header] = static_cast<unsigned char>(random());
    const header_columns columns = columns_of(header);
    if (needs_raw_header(header, columns)) continue;
    const provider_result_header back = header_of(columns);
    ASSERT_EQ(image_of(back), image_of(header));
  }
}

TEST(pack, gives_other_bytes_for_other_columns) {
  std::set<std::string> seen;
  const auto add = [&](auto change) {
    provider_result_header header = plain_header();
    change(header);
    return seen.insert(pack(columns_of(header))).second;
  };
  EXPECT_TRUE(add([](auto&) {}));
  EXPECT_FALSE(add([](auto&) {}));
  EXPECT_TRUE(add([](auto& h) { h.exit_status = 1; }));
  EXPECT_TRUE(add([](auto& h) { h.timestamp_usec += 1; }));
  EXPECT_TRUE(add([](auto& h) { h.duration = 1.25; }));
  EXPECT_TRUE(add([](auto& h) { h.stdout_size = 4; }));
  // One text ends where the next begins.
  EXPECT_TRUE(add([](auto& h) {
    put(h.name, "memoryn");
    put(h.hostname, "ode01");
  }));
  provider_result_header full;
  std::memset(&full, 'x', sizeof full);
  EXPECT_LT(pack(columns_of(full)).size(), sizeof full);
}

TEST(header_fault, compares_every_length) {
  provider_result_header header = plain_header();
  EXPECT_EQ(header_fault(header, 3, 0, 6), "");
  EXPECT_EQ(header_fault(header, 2, 0, 6),
            "the header says 3 bytes of stdout, there are 2");
  EXPECT_EQ(header_fault(header, 3, 1, 6),
            "the header says 0 bytes of stderr, there are 1");
  EXPECT_EQ(header_fault(header, 3, 0, 5),
            "the header says 6 bytes of node names, there are 5");
  header.stdout_size = -1;
  EXPECT_EQ(header_fault(header, static_cast<std::size_t>(-1), 0, 6),
            "the header says -1 bytes of stdout, there are "
            "18446744073709551615");
  header.api = 0;
  EXPECT_EQ(header_fault(header, 3, 0, 6),
            "its format is 0, this program knows format 1");
}

}  // namespace
}  // namespace zelk::accumulate
