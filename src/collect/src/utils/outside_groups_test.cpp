#include "src/collect/src/utils/outside_groups.h"

#include <gtest/gtest.h>

namespace zelk {
namespace {

using word_list = std::vector<std::string>;

constexpr char known[] = "@role:..., @*";

// A machine whose programs all give one answer.
struct one_answer {
  program_answer reply;
  std::vector<word_list> asked;

  program_runner runner() {
    return [this](const word_list& words) {
      asked.push_back(words);
      return reply;
    };
  }
  node::expansion of(const std::string& group) {
    return outside_group(group, known, runner());
  }
};

std::string problem_of(const std::string& group, const program_answer& reply) {
  const node::expansion found = one_answer{reply, {}}.of(group);
  EXPECT_TRUE(found.names.empty());
  return found.problem;
}

TEST(outside_group, asks_sinfo_for_partitions) {
  one_answer machine{{true, 0, "n2\nn1\nn1\n", ""}, {}};
  EXPECT_EQ(machine.of("slurm:it's").names, (word_list{"n1", "n2"}));
  EXPECT_EQ(machine.asked,
            (std::vector<word_list>{{"sinfo", "--noheader", "--Node",
                                     "--format=%N", "--partition=it's"}}));
}

TEST(outside_group, asks_cluset_for_all_others) {
  one_answer machine{{true, 0, "n[1-2],x\n", ""}, {}};
  EXPECT_EQ(machine.of("rack:1").names, (word_list{"n1", "n2", "x"}));
  EXPECT_EQ(machine.asked,
            (std::vector<word_list>{{"cluset", "--fold", "--", "@rack:1"}}));
}

TEST(outside_group, says_who_is_missing_or_mute) {
  EXPECT_EQ(problem_of("slurm:x", {true, 127, "", "sh: not found"}),
            "sinfo is not installed");
  EXPECT_EQ(problem_of("slurm:x", {true, 124, "n1\n", ""}),
            "sinfo did not answer");
  EXPECT_EQ(problem_of("slurm:x", {false, 0, "", "no memory"}),
            "cannot run sinfo: no memory");
  EXPECT_EQ(problem_of("x", {true, 127, "", ""}),
            "there is no group '@x' (known: @role:..., @*; others by cluset, "
            "which is not installed)");
}

TEST(outside_group, takes_nothing_from_a_program_that_failed) {
  EXPECT_EQ(problem_of("slurm:x", {true, 1, "n1\n", "error: no\x1b way\nmore"}),
            "sinfo: error: no? way");
  EXPECT_EQ(problem_of("x", {true, 2, "n1\n", ""}),
            "cluset: exit status 2, silent");
  EXPECT_EQ(problem_of("x", {true, 1, "", std::string(1000, 'x')}).size(), 208);
}

TEST(outside_group, knows_no_group_that_is_empty) {
  EXPECT_EQ(problem_of("slurm:x", {true, 0, "", ""}),
            "Slurm has no nodes in a partition 'x'");
  EXPECT_EQ(problem_of("x", {true, 0, "\n", ""}),
            "cluset knows no nodes of a group '@x'");
}

// Without a name sinfo would tell of every partition.
TEST(outside_group, asks_nobody_for_a_partition_without_a_name) {
  one_answer machine{{true, 0, "n1\n", ""}, {}};
  EXPECT_EQ(machine.of("slurm:").problem,
            "expected a partition behind '@slurm:'");
  EXPECT_TRUE(machine.asked.empty());
}

TEST(outside_group, takes_no_answer_that_is_no_node_set) {
  for (const char* text : {"-oProxyCommand=x\n", "n[3-1]\n", "@other\n"}) {
    SCOPED_TRACE(text);
    EXPECT_TRUE(problem_of("slurm:x", {true, 0, text, ""})
                    .starts_with("sinfo printed no node set: "));
  }
}

TEST(slurm_idle_nodes, may_be_none) {
  one_answer machine{{true, 0, "", ""}, {}};
  EXPECT_EQ(slurm_idle_nodes(machine.runner()).problem, "");
  EXPECT_EQ(machine.asked.front().back(), "--states=idle");
}

}  // namespace
}  // namespace zelk
