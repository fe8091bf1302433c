#include "src/check/page/heat_rows.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "src/check/page/test_cluster.h"
#include "src/check/page/wording.h"
#include "src/check/test_judgement.h"

namespace zelk::check::html {
namespace {

struct rows_of {
  explicit rows_of(const judgement& judged)
      : what(judged), view(what, options, limits), rows(heat_rows(view)) {}
  std::string nodes(std::size_t row) const {
    std::vector<std::string> names;
    for (const std::size_t place : rows[row].nodes)
      names.push_back(what.nodes[place].name);
    return folded(names);
  }

  judgement what;
  page_options options;
  page_limits limits;
  page_view view;
  std::vector<heat_row> rows;
};

TEST(heat_rows, puts_like_nodes_into_one_row_the_worst_first) {
  const rows_of of(example_judgement());
  ASSERT_EQ(of.rows.size(), 10U);
  EXPECT_EQ(of.nodes(0), "node[037,112]");
  EXPECT_EQ(of.nodes(1), "node[013,088]");
  EXPECT_EQ(of.nodes(4), "node[101-104]");
}

TEST(heat_rows, puts_nodes_without_trouble_last_by_class) {
  const rows_of of(example_judgement());
  for (std::size_t i = 0; i < of.rows.size(); ++i)
    EXPECT_EQ(of.rows[i].calm, i >= 6) << i;
  EXPECT_EQ(of.rows[6].class_name, "A");
  EXPECT_EQ(of.rows[6].nodes.size(), 90U);
  EXPECT_EQ(of.rows[7].class_name, "B");
  EXPECT_EQ(of.nodes(9), "gpu07");  // the one whose trouble is accepted
}

TEST(heat_rows, holds_every_node_once) {
  const rows_of of(cluster_of(1000));
  std::vector<bool> seen(1000);
  for (const heat_row& row : of.rows)
    for (const std::size_t place : row.nodes) {
      EXPECT_FALSE(seen[place]);
      seen[place] = true;
    }
  EXPECT_EQ(std::count(seen.begin(), seen.end(), true), 1000);
  EXPECT_LT(of.rows.size(), 60U);
}

TEST(heat_rows, stays_within_bounds_when_cells_and_findings_do_not_fit) {
  judgement broken = example_judgement();
  broken.nodes[0].cells.clear();
  broken.nodes[1].findings = {999};
  const rows_of of(broken);
  EXPECT_FALSE(of.rows.empty());
}

TEST(states_in, are_those_of_the_rows) {
  const rows_of of(example_judgement());
  const std::vector<cell_state> states = states_in(of.rows);
  EXPECT_EQ(states.front(), cell_state::crit);
  EXPECT_EQ(states.back(), cell_state::ok);
}

TEST(page_view, groups_columns_by_subsystem_with_reach_first) {
  const rows_of of(example_judgement());
  EXPECT_EQ(of.what.columns[of.view.columns().front()], "reach");
  EXPECT_EQ(subsystem_of("mem_total_numa"), "memory");
  EXPECT_EQ(subsystem_of("something"), "other");
}

TEST(page_view, gives_every_finding_a_link_of_its_own) {
  judgement twice = example_judgement();
  twice.findings.push_back(twice.findings.front());
  const rows_of of(twice);
  EXPECT_NE(of.view.anchor(0), of.view.anchor(twice.findings.size() - 1));
  EXPECT_EQ(of.view.anchor(1), "f-mem-size");
}

}  // namespace
}  // namespace zelk::check::html
