#include "provider/src/net_pairs/report.h"

#include <gtest/gtest.h>

namespace zelk::net_pairs {
namespace {

const std::vector<std::string> three{"node01", "node02", "gpu-1.site"};

TEST(report, has_a_line_for_each_figure_in_the_order_of_the_nodes) {
  outcome all;
  all.rounds_played = 3;
  all.pairs_planned = 3;
  all.pairs = {{{0, 1}, pair_figures{10, 1000, 1100, 0}, ""},
               {{0, 2}, pair_figures{20, 900, 950, 4}, ""},
               {{1, 2}, pair_figures{30.125, 1000, 100, 1}, ""}};
  EXPECT_EQ(report(three, all),
            "nodes: 3\n"
            "rounds: 3\n"
            "pairs.measured: 3\n"
            "pairs.unmeasured: 0\n"
            "pair.node01.node02.latency_us: 10.00\n"
            "pair.node01.node02.forward_mb_s: 1000.00\n"
            "pair.node01.node02.backward_mb_s: 1100.00\n"
            "pair.node01.node02.retransmits: 0\n"
            "pair.node01.gpu-1.site.latency_us: 20.00\n"
            "pair.node01.gpu-1.site.forward_mb_s: 900.00\n"
            "pair.node01.gpu-1.site.backward_mb_s: 950.00\n"
            "pair.node01.gpu-1.site.retransmits: 4\n"
            "pair.node02.gpu-1.site.latency_us: 30.12\n"
            "pair.node02.gpu-1.site.forward_mb_s: 1000.00\n"
            "pair.node02.gpu-1.site.backward_mb_s: 100.00\n"
            "pair.node02.gpu-1.site.retransmits: 1\n"
            "node.node01.partners: 2\n"
            "node.node01.latency_us: 10.00\n"
            "node.node01.bandwidth_mb_s: 950.00\n"
            "node.node02.partners: 2\n"
            "node.node02.latency_us: 10.00\n"
            "node.node02.bandwidth_mb_s: 1000.00\n"
            "node.gpu-1.site.partners: 2\n"
            "node.gpu-1.site.latency_us: 20.00\n"
            "node.gpu-1.site.bandwidth_mb_s: 900.00\n"
            "latency_us.median: 20.00\n"
            "latency_us.worst: 30.12\n"
            "bandwidth_mb_s.median: 950.00\n"
            "bandwidth_mb_s.worst: 100.00\n");
  EXPECT_EQ(unmeasured(all), 0U);
}

TEST(report, says_what_was_not_measured_and_why) {
  outcome all;
  all.rounds_played = 1;
  all.pairs_planned = 3;
  all.pairs = {{{0, 1}, {}, "connect to node02: Connection refused"}};
  all.lost = {{2, "No route to host"}};
  EXPECT_EQ(report(three, all),
            "nodes: 3\n"
            "rounds: 1\n"
            "pairs.measured: 0\n"
            "pairs.unmeasured: 3\n"
            "node.gpu-1.site.failed: No route to host\n"
            "pair.node01.node02.failed: connect to node02: Connection "
            "refused\n");
}

TEST(only_permission_missing, needs_a_refused_login_of_every_other_node) {
  outcome all;
  all.lost = {{1, "root@node02: Permission denied (publickey)."}};
  EXPECT_FALSE(only_permission_missing(all, 3));
  EXPECT_TRUE(only_permission_missing(all, 2));
  all.lost.push_back({2, "Host key verification failed."});
  EXPECT_TRUE(only_permission_missing(all, 3));
  all.lost.back().reason = "connect to host: Connection refused";
  EXPECT_FALSE(only_permission_missing(all, 3));
}

}  // namespace
}  // namespace zelk::net_pairs
