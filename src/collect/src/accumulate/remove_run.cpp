// Taking a run out, and the outputs that nobody else has.

#include "src/collect/src/accumulate/runs.h"

namespace zelk::accumulate {

namespace {

using datastore::database;
using datastore::statement;

// The ids of the run's results, and of the outputs they point to. Temporary
// tables: the run may have millions.
constexpr char collect_ids[] =
    "CREATE TEMP TABLE gone_result (id INTEGER PRIMARY KEY);"
    "CREATE TEMP TABLE gone_content (id INTEGER PRIMARY KEY);";

constexpr char collect_results[] =
    "INSERT INTO gone_result SELECT r.id FROM host s JOIN result r ON r.host = "
    "s.id WHERE s.run = ?1";

constexpr const char* collect_contents[] = {
    "INSERT OR IGNORE INTO gone_content SELECT stdout FROM gone_result g JOIN "
    "result r ON r.id = g.id WHERE stdout IS NOT NULL",
    "INSERT OR IGNORE INTO gone_content SELECT stderr FROM gone_result g JOIN "
    "result r ON r.id = g.id WHERE stderr IS NOT NULL",
    "INSERT OR IGNORE INTO gone_content SELECT node_names FROM gone_result g "
    "JOIN result r ON r.id = g.id WHERE node_names IS NOT NULL",
};

// A process that stores at this moment remembers outputs by number. The counter
// of removals tells it to look again.
constexpr const char* removals[] = {
    "DELETE FROM result_twin WHERE result IN (SELECT id FROM gone_result)",
    "DELETE FROM result WHERE id IN (SELECT id FROM gone_result)",
    "DELETE FROM gone_content WHERE id IN (SELECT stdout FROM result)",
    "DELETE FROM gone_content WHERE id IN (SELECT stderr FROM result)",
    "DELETE FROM gone_content WHERE id IN (SELECT node_names FROM result)",
    "DELETE FROM content WHERE id IN (SELECT id FROM gone_content)",
    "DELETE FROM content_index WHERE content IN (SELECT id FROM gone_content)",
    "UPDATE counter SET removals = removals + 1",
};

constexpr const char* run_removals[] = {
    "DELETE FROM baseline WHERE run = ?1",
    "DELETE FROM host WHERE run = ?1",
    "DELETE FROM expected_result WHERE run = ?1",
    "DELETE FROM expected_node WHERE run = ?1",
    "DELETE FROM run WHERE number = ?1",
};

void drop_ids(database& base) {
  base.execute(
      "DROP TABLE IF EXISTS temp.gone_result;"
      "DROP TABLE IF EXISTS temp.gone_content;");
}

}  // namespace

std::int64_t remove_run(database& base, std::int64_t number) {
  drop_ids(base);
  base.execute(collect_ids);
  datastore::transaction removal(base);
  statement(base, collect_results).bind(1, number).run();
  const std::int64_t count = base.changes();
  for (const char* sql : collect_contents)
    base.execute(sql);
  for (const char* sql : removals)
    base.execute(sql);
  for (const char* sql : run_removals)
    statement(base, sql).bind(1, number).run();
  removal.commit();
  drop_ids(base);
  return count;
}

}  // namespace zelk::accumulate
