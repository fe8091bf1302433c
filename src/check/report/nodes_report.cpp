// The form nodes: whom the findings shown are about, to be given to another
// program. Names no program could read back are shown in a visible form.

#include "src/check/report/forms.h"
#include "src/check/report/phrases.h"
#include "src/common/node/natural_order.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

void write_node_set(const judgement& judged, const report_options& options,
                    std::ostream& out) {
  std::vector<std::string> nodes;
  for (const finding* found : shown_findings(judged, options))
    nodes.insert(nodes.end(), found->nodes.begin(), found->nodes.end());
  node::sort_naturally(nodes);
  if (nodes.empty()) return;
  if (options.one_line) {
    out << node_set_text(nodes) << '\n';
    return;
  }
  for (const std::string& name : nodes)
    out << text::visible_text(name) << '\n';
}

}  // namespace zelk::check
