#include "src/collect/src/accumulate/marks.h"

#include <set>

namespace zelk::accumulate {

namespace {

using datastore::database;
using datastore::statement;

void add_nodes(database& base, std::int64_t id,
               const std::vector<std::string>& nodes) {
  statement insert(base, "INSERT INTO acceptance_node VALUES (?1, ?2)");
  for (const std::string& node : nodes)
    insert.bind(1, id).bind_bytes(2, node).run();
}

// A number, or NULL for 0.
void bind_some(statement& to, int index, std::int64_t value) {
  value == 0 ? to.bind_null(index) : to.bind(index, value);
}

}  // namespace

bool mark_baseline(database& base, const baseline_mark& mark) {
  datastore::transaction marking(base);
  statement(base,
            "INSERT OR REPLACE INTO baseline SELECT 1, number, ?2, ?3, ?4 FROM "
            "run WHERE number = ?1")
      .bind(1, mark.run)
      .bind_bytes(2, mark.name)
      .bind(3, mark.made_usec)
      .bind_bytes(4, mark.who)
      .run();
  const bool marked = base.changes() > 0;
  marking.commit();
  return marked;
}

bool clear_baseline(database& base) {
  statement(base, "DELETE FROM baseline").run();
  return base.changes() > 0;
}

std::int64_t add_acceptance(database& base, const new_acceptance& wanted) {
  datastore::transaction adding(base);
  statement insert(base,
                   "INSERT INTO acceptance (check_id, node_set, reason, who, "
                   "made, until, run) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)");
  insert.bind_text(1, wanted.check)
      .bind_bytes(2, wanted.node_set)
      .bind_bytes(3, wanted.reason)
      .bind_bytes(4, wanted.who)
      .bind(5, wanted.made_usec);
  bind_some(insert, 6, wanted.until_usec);
  bind_some(insert, 7, wanted.run);
  insert.run();
  const std::int64_t id = base.last_id();
  add_nodes(base, id, wanted.nodes);
  adding.commit();
  return id;
}

bool revoke_acceptance(database& base, std::int64_t id, std::string_view who,
                       std::int64_t usec) {
  statement(base,
            "UPDATE acceptance SET revoked = ?2, revoked_by = ?3 WHERE id = ?1 "
            "AND revoked IS NULL")
      .bind(1, id)
      .bind(2, usec)
      .bind_bytes(3, who)
      .run();
  return base.changes() > 0;
}

std::vector<std::string> unknown_nodes(database& base,
                                       const std::vector<std::string>& nodes,
                                       std::optional<std::int64_t> run) {
  statement query(base,
                  "SELECT node FROM host WHERE ?1 IS NULL OR run = ?1 UNION "
                  "SELECT node FROM expected_node WHERE ?1 IS NULL OR run = "
                  "?1");
  run ? query.bind(1, *run) : query.bind_null(1);
  std::set<std::string, std::less<>> known;
  while (query.step())
    known.emplace(query.bytes(0));
  std::vector<std::string> unknown;
  for (const std::string& node : nodes)
    if (!known.contains(node)) unknown.push_back(node);
  return unknown;
}

}  // namespace zelk::accumulate
