// The form nodes: whom the findings shown are about, to be given to another
// program. Names that no command can take are left out; whoever calls tells.

#include "src/check/report/forms.h"
#include "src/check/report/phrases.h"
#include "src/common/node/natural_order.h"

namespace zelk::check {

void write_node_set(const judgement& judged, const report_options& options,
                    std::ostream& out) {
  std::vector<std::string> nodes;
  for (const finding* found : shown_findings(judged, options))
    nodes.insert(nodes.end(), found->nodes.begin(), found->nodes.end());
  nodes = apart(nodes).fit;
  node::sort_naturally(nodes);
  if (nodes.empty()) return;
  if (options.one_line) {
    out << command_set(nodes) << '\n';
    return;
  }
  for (const std::string& name : nodes)
    out << name << '\n';
}

}  // namespace zelk::check
