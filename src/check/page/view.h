// What all sections of a page look things up in.
//
// Made once a page and only read afterwards; it points into the judgement and
// the options, which must outlive it.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "src/check/judgement.h"
#include "src/check/page/markup.h"
#include "src/check/page/page.h"

namespace zelk::check::html {

// How much of a thing is shown. The numbers are for people: nobody reads more,
// and the page stays light. Steps down come from page.cpp when it is too large.
struct page_limits {
  std::size_t first_things = 10;    // findings with a card
  std::size_t finding_rows = 2000;  // in the table of all
  std::size_t values = 12;          // of nodes, listed for one finding
  std::size_t heat_rows = 400;
  bool full_map = true;  // a line a node, in the heat map
  std::size_t strip_plots = 60;
  std::size_t quiet_metrics = 120;  // one table row each
  std::size_t differences = 400;
  std::size_t value_groups = 20;  // of one difference
  std::size_t coverage_rows = 300;
  std::size_t node_sections = 600;
  std::size_t status_rows = 150;   // nodes in the history
  std::size_t text_bytes = 2000;   // of one text of a node
  std::size_t folded_bytes = 600;  // of one list of nodes
  bool error_output = true;
  bool json = true;
};

class page_view {
 public:
  page_view(const judgement& judged, const page_options& chosen,
            const page_limits& most);

  const judgement& what;
  const page_options& options;
  const page_limits& limits;

  // judgement::columns in the order shown: "reach", then by subsystem.
  const std::vector<std::size_t>& columns() const { return columns_; }
  // The subsystem's name by place in columns(): "memory", "network".
  const std::vector<std::string_view>& subsystems() const {
    return subsystems_;
  }

  // The node of that name, or null.
  const node_view* node(const std::string& name) const;
  // Where a node stands among all, by its place in judgement::nodes: in the
  // node file's order, those that it has not behind.
  std::size_t place_of(std::size_t node) const {
    return order_.empty() ? node : order_[node];
  }
  // Whether a node has a section of its own on the page.
  bool has_section(const node_view& one) const;
  // "#..." of the finding, by its place in judgement::findings.
  const std::string& anchor(std::size_t finding) const {
    return anchors_[finding];
  }
  // The distribution that a finding is about, or null.
  const distribution* distribution_of(const finding& one) const;

 private:
  void order_columns();
  void name_findings();
  void choose_sections();
  void place_nodes();

  std::vector<std::size_t> columns_;
  std::vector<std::string_view> subsystems_;
  std::vector<std::string> anchors_;
  std::unordered_map<std::string_view, std::size_t> places_;
  std::vector<bool> sections_;      // by node
  std::vector<std::size_t> order_;  // by node; empty: as they are
};

// Folded as cluster tools read it: "node[013,088]".
std::string folded(const std::vector<std::string>& nodes);

// "memory" of "mem_total"; "other" of what has none.
std::string_view subsystem_of(std::string_view provider);

}  // namespace zelk::check::html
