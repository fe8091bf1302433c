#include "src/collect/src/collect/make_plan.h"

#include "src/collect/src/collect/suites.h"
#include "src/collect/src/collect/test_tree.h"

namespace zelk::collect {
namespace {

using std::chrono::seconds;

class planning : public collect_tree {
 protected:
  plan made(const words& nodes, const words& busy = {}) {
    node_selection selection;
    for (const std::string& name : nodes)
      selection.nodes.push_back({name, "", ""});
    selection.busy = busy;
    from_.wanted = {"@all"};
    catalogue descriptions(from_);
    EXPECT_TRUE(descriptions.read_options());
    chosen_providers chosen = choose_providers(from_, descriptions);
    EXPECT_EQ(chosen.problem, "");
    return make_plan(from_, descriptions, selection, chosen.providers);
  }

  static words left_out(const plan& of) {
    words all;
    for (const not_required& one : of.not_required)
      all.push_back(one.node + " " + one.provider + ": " + one.reason);
    return all;
  }
  static words expected(const std::vector<task>& phase) {
    words all;
    for (const task& one : phase)
      for (const expected_result& result : one.expected)
        all.push_back(result.node + " " + result.provider + " " +
                      result.option);
    return all;
  }

  collect_settings from_ = settings();
};

TEST_F(planning, gives_each_node_all_providers_of_single_nodes) {
  configure(R"(<provider_options><provider name="b"><option id="x"/>
<option id="y" timeout="100"/></provider></provider_options>)");
  install("a");
  install("b");
  const plan of = made({"n2", "n1"});
  ASSERT_EQ(of.phases.size(), 1U);
  EXPECT_EQ(expected(of.phases[0]), (words{"n2 a None", "n2 b x", "n2 b y",
                                           "n1 a None", "n1 b x", "n1 b y"}));
  const task& first = of.phases[0][0];
  EXPECT_EQ(first.descriptions, (words{in_root("etc/providers/a.xml"),
                                       in_root("etc/providers/b.xml")}));
  EXPECT_EQ(first.group, words{});
  EXPECT_EQ(first.limit, seconds(60 + 60 + 100) + task_margin);
  EXPECT_EQ(expected_results(of), 6U);
  EXPECT_FALSE(of.seed);
  EXPECT_EQ(left_out(of), words{});
}

TEST_F(planning, runs_a_cluster_provider_on_the_first_of_each_group) {
  install("single");
  install_cluster("pairs", 2, 2);
  const plan of = made({"a", "b", "c", "d", "e"});
  ASSERT_EQ(of.phases.size(), 2U);
  EXPECT_EQ(of.phases[0].size(), 5U);
  EXPECT_EQ(expected(of.phases[1]), (words{"a pairs None", "c pairs None"}));
  EXPECT_EQ(of.phases[1][0].group, (words{"a", "b"}));
  EXPECT_EQ(of.phases[1][1].group, (words{"c", "d"}));
  EXPECT_EQ(left_out(of),
            words{"e pairs: left over: it runs on groups of 2 nodes"});
  EXPECT_EQ(expected_results(of), 7U);
}

// Two that measure the network at once would measure each other.
TEST_F(planning, gives_each_cluster_provider_a_phase) {
  install_cluster("x", 2, 3);
  install_cluster("y", 2, 4);
  install_cluster("z", 0, 0);
  const plan of = made({"a", "b", "c", "d"});
  ASSERT_EQ(of.phases.size(), 4U);
  EXPECT_TRUE(of.phases[0].empty());
  EXPECT_EQ(expected(of.phases[1]), (words{"a x None", "c x None"}));
  EXPECT_EQ(expected(of.phases[2]), words{"a y None"});
  EXPECT_EQ(expected(of.phases[3]), words{"a z None"});
  EXPECT_EQ(of.phases[3][0].group.size(), 4U);
}

TEST_F(planning, scales_time_outs_to_the_largest_group) {
  install("x",
          "<timeout scale='linear'>100</timeout>"
          "<requires min_nodes='2' max_nodes='3'/>");
  const plan of = made({"a", "b", "c", "d", "e"});
  EXPECT_EQ(of.providers[0].options[0].timeout, seconds(300));
  EXPECT_EQ(of.phases[1][0].limit, seconds(300) + task_margin);
}

TEST_F(planning, says_why_a_provider_is_not_required) {
  install("arm", "<requires architecture='aarch64'/>");
  install("intel", "<requires architecture='x86_64'/>");
  install_cluster("many", 4, 8);
  install_cluster("odd", 4, 2);
  const plan of = made({"a", "b"}, {"c"});
  EXPECT_EQ(left_out(of),
            (words{"c : busy", "a arm: runs only on aarch64",
                   "b arm: runs only on aarch64",
                   "a many: needs 4 nodes, 2 are selected",
                   "b many: needs 4 nodes, 2 are selected",
                   "a odd: needs at least 4 nodes and at most 2",
                   "b odd: needs at least 4 nodes and at most 2"}));
  EXPECT_EQ(expected_results(of), 2U);
  EXPECT_EQ(names_of(of.providers), words{"intel"});
}

TEST_F(planning, orders_nodes_by_the_method_asked_for) {
  install_cluster("pairs", 2, 2);
  from_.order = nodelist_method_t::ROUND_ROBIN;
  EXPECT_EQ(made({"a", "b", "c", "d"}).phases[1][0].group, (words{"a", "c"}));
  from_.order = nodelist_method_t::ROTATE_RIGHT;
  EXPECT_EQ(made({"a", "b", "c", "d"}).phases[1][0].group, (words{"d", "a"}));
}

TEST_F(planning, tells_the_seed_of_random_groups) {
  install_cluster("pairs", 2, 2);
  install_cluster("trios", 3, 3);
  from_.order = nodelist_method_t::RANDOM;
  const plan first = made({"a", "b", "c", "d", "e", "f"});
  ASSERT_TRUE(first.seed);
  EXPECT_EQ(first.remarks, words{"grouped at random with --seed " +
                                 std::to_string(*first.seed)});
  from_.seed = first.seed;
  const plan second = made({"a", "b", "c", "d", "e", "f"});
  EXPECT_EQ(second.phases[1][0].group, first.phases[1][0].group);
}

}  // namespace
}  // namespace zelk::collect
