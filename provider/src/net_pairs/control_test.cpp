#include "provider/src/net_pairs/control.h"

#include <locale>

#include <gtest/gtest.h>

namespace zelk::net_pairs {
namespace {

TEST(control_line, of_a_lead_reads_back) {
  const lead_command said{7,
                          4711,
                          {50, milliseconds(20), milliseconds(30), {}},
                          milliseconds(900),
                          "node02-ib0"};
  EXPECT_EQ(to_line(said), "lead 7 4711 50 20 30 900 node02-ib0");
  const auto read = read_lead(to_line(said));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->number, 7U);
  EXPECT_EQ(read->port, 4711);
  EXPECT_EQ(read->how.pings, 50U);
  EXPECT_EQ(read->how.ping_time, milliseconds(20));
  EXPECT_EQ(read->how.stream_time, milliseconds(30));
  EXPECT_EQ(read->patience, milliseconds(900));
  EXPECT_EQ(read->host, "node02-ib0");
}

TEST(control_line, of_a_serve_reads_back) {
  const auto read = read_serve(to_line({8, milliseconds(1), milliseconds(2)}));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->number, 8U);
  EXPECT_EQ(read->stream_time, milliseconds(1));
  EXPECT_EQ(read->patience, milliseconds(2));
}

TEST(control_line, of_figures_loses_no_digit) {
  const pair_figures figures{12.0625, 1e-3, 123456789.0125, 18};
  const auto read = read_answer(to_line(answer{9, figures, ""}));
  ASSERT_TRUE(read && read->found);
  EXPECT_EQ(read->number, 9U);
  EXPECT_EQ(read->found->latency_us, figures.latency_us);
  EXPECT_EQ(read->found->forward_mb_s, figures.forward_mb_s);
  EXPECT_EQ(read->found->backward_mb_s, figures.backward_mb_s);
  EXPECT_EQ(read->found->retransmits, figures.retransmits);
}

TEST(control_line, of_a_failure_keeps_its_reason) {
  const auto read = read_answer("failed 3 connect to b: Connection refused");
  ASSERT_TRUE(read);
  EXPECT_EQ(read->reason, "connect to b: Connection refused");
  EXPECT_FALSE(read->found);
}

TEST(control_line, that_is_none_gives_nothing) {
  for (const char* line : {"",
                           " ",
                           "lead",
                           "lead 1",
                           "lead 1 2 3 4 5 6",
                           "lead 1 2 3 4 5 6 ",
                           "lead -1 2 3 4 5 6 host",
                           "lead 1 70000 3 4 5 6 host",
                           "serve 1 2 3 4",
                           "serve 1 2",
                           "serve a b c",
                           "found 1 2 3 4",
                           "found 1 2 3 4 5 6",
                           "found 1 x 3 4 5",
                           "served",
                           "served 1 2",
                           "failed 1",
                           "failed 1 ",
                           "failed",
                           "net_pairs 1 1",
                           "served 4294967296",
                           "found  1 2 3 4 5"}) {
    SCOPED_TRACE(line);
    EXPECT_FALSE(read_lead(line));
    EXPECT_FALSE(read_serve(line));
    EXPECT_FALSE(read_answer(line));
  }
}

TEST(read_hello, takes_a_port_of_its_own_version_only) {
  EXPECT_EQ(read_hello("net_pairs 1 65535"), 65535);
  for (const char* line : {"", "net_pairs 1 ", "net_pairs 1 65536",
                           "net_pairs 2 80", "net_pairs 1 80 ", "Welcome!"}) {
    SCOPED_TRACE(line);
    EXPECT_FALSE(read_hello(line));
  }
}

TEST(line_buffer, joins_what_comes_in_pieces) {
  line_buffer buffer;
  EXPECT_TRUE(buffer.add("se").empty());
  EXPECT_EQ(buffer.add("rve\nle"), std::vector<std::string>{"serve"});
  EXPECT_EQ(buffer.add("ad\n\n"), (std::vector<std::string>{"lead", ""}));
}

TEST(line_buffer, keeps_the_head_of_a_line_without_end) {
  line_buffer buffer;
  const std::string flood(3000, 'x');
  for (int i = 0; i < 100; ++i)
    EXPECT_TRUE(buffer.add(flood).empty());
  EXPECT_EQ(buffer.add("\nnext\n"),
            (std::vector<std::string>{std::string(4096, 'x'), "next"}));
}

}  // namespace
}  // namespace zelk::net_pairs
