#include "src/collect/src/collect/slurm_nodes.h"

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

constexpr char answer[] =
    "node01 idle\nnode02 down*\nnode03 mixed\nnode04 drained\nnode05 idle~\n"
    "node06 allocated#\nnode07 draining@\nnode08 idle*\n\nodd line here\n";

TEST(slurm_nodes, lets_nodes_be_used_that_work_or_will) {
  const slurm_nodes nodes(answer);
  for (const char* node : {"node01", "node03", "node05", "node06"}) {
    SCOPED_TRACE(node);
    EXPECT_FALSE(nodes.problem(node));
  }
}

TEST(slurm_nodes, says_why_a_node_cannot_be_used) {
  const slurm_nodes nodes(answer);
  EXPECT_EQ(nodes.problem("node02")->how, ending::no_route);
  EXPECT_EQ(nodes.problem("node02")->reason,
            "slurm: node02 does not respond (down*)");
  EXPECT_EQ(nodes.problem("node08")->reason,
            "slurm: node08 does not respond (idle*)");
  EXPECT_EQ(nodes.problem("node04")->reason, "slurm: node04 is drained");
  EXPECT_EQ(nodes.problem("node04")->common_reason,
            "slurm: the node is drained");
  EXPECT_EQ(nodes.problem("node07")->reason, "slurm: node07 is draining@");
  EXPECT_EQ(nodes.problem("node1")->how, ending::unknown_host);
  EXPECT_EQ(nodes.problem("node1")->reason,
            "slurm: node1 is no node of this cluster");
}

TEST(slurm_nodes, lets_no_state_move_the_cursor) {
  const slurm_nodes nodes("n1 down*\x1b[2J\n");
  EXPECT_EQ(nodes.problem("n1")->reason, "slurm: n1 is down*?[2J");
}

TEST(slurm_nodes, keeps_to_an_allocation) {
  slurm_nodes nodes(answer);
  nodes.restrict_to({"node01", "node02", "node04"}, "77");
  EXPECT_FALSE(nodes.problem("node01"));
  EXPECT_FALSE(nodes.problem("node04"));  // what one has, one may use
  EXPECT_EQ(nodes.problem("node02")->how, ending::no_route);
  EXPECT_EQ(nodes.problem("node03")->reason,
            "slurm: node03 is not in the allocation of job 77");
}

}  // namespace
}  // namespace zelk::collect
