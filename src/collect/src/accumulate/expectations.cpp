#include "src/collect/src/accumulate/expectations.h"

namespace zelk::accumulate {

namespace {

using datastore::database;
using datastore::statement;

constexpr const char* expectations_of_run[] = {
    "SELECT node, '', '', reason FROM expected_node WHERE run = ?1 ORDER BY "
    "node",
    "SELECT node, provider, option_id, reason FROM expected_result WHERE run = "
    "?1 ORDER BY node, provider, option_id",
};

constexpr char update_node[] =
    "UPDATE expected_node SET reason = ?3 WHERE run = ?1 AND node = ?2";
constexpr char update_result[] =
    "UPDATE expected_result SET reason = ?3 WHERE run = ?1 AND node = ?2 AND "
    "provider = ?4 AND option_id = ?5";

}  // namespace

void for_each_expectation(
    database& base, std::int64_t number,
    const std::function<void(const missing_result&)>& visit) {
  for (const char* sql : expectations_of_run) {
    statement query(base, sql);
    query.bind(1, number);
    while (query.step())
      visit({{std::string(query.bytes(0)), std::string(query.bytes(1)),
              std::string(query.bytes(2))},
             std::string(query.bytes(3))});
  }
}

void set_missing_reasons(database& base, std::int64_t number,
                         const std::vector<missing_result>& missing) {
  datastore::transaction change(base);
  statement node(base, update_node);
  statement result(base, update_result);
  for (const missing_result& each : missing) {
    statement& update = each.what.provider.empty() ? node : result;
    update.bind(1, number)
        .bind_bytes(2, each.what.node)
        .bind_bytes(3, each.reason);
    if (!each.what.provider.empty())
      update.bind_bytes(4, each.what.provider)
          .bind_bytes(5, each.what.option_id);
    update.run();
  }
  change.commit();
}

}  // namespace zelk::accumulate
