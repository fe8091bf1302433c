#include "src/collect/src/reading/acceptances.h"

#include <utility>

#include "src/collect/src/reading/view_exists.h"
#include "src/common/node/natural_order.h"

namespace zelk::reading {

namespace {

using datastore::statement;

stored_acceptance acceptance_of(const statement& row) {
  stored_acceptance result;
  result.id = row.integer(0);
  result.check = row.bytes(1);
  result.nodes_text = row.bytes(2);
  result.reason = row.bytes(3);
  result.who = row.bytes(4);
  result.made_usec = row.integer(5);
  result.until_usec = row.integer(6);
  result.revoked_usec = row.integer(7);
  result.revoked_by = row.bytes(8);
  result.run = row.integer(9);
  return result;
}

std::vector<std::string> nodes_of(statement& query, std::int64_t id) {
  std::vector<std::string> nodes;
  query.bind(1, id);
  while (query.step())
    nodes.emplace_back(query.bytes(0));
  query.reset();
  node::sort_naturally(nodes);
  return nodes;
}

}  // namespace

std::vector<stored_acceptance> acceptances(datastore::database& base) {
  if (!view_exists(base, "v_acceptance")) return {};
  statement rows(base,
                 "SELECT acceptance, check_id, node_set, reason, who, "
                 "made_usec, until_usec, revoked_usec, revoked_by, run FROM "
                 "v_acceptance ORDER BY acceptance");
  statement nodes(base,
                  "SELECT node FROM v_acceptance_node WHERE acceptance = ?1");
  std::vector<stored_acceptance> found;
  while (rows.step()) {
    found.push_back(acceptance_of(rows));
    found.back().nodes = nodes_of(nodes, found.back().id);
  }
  return found;
}

}  // namespace zelk::reading
