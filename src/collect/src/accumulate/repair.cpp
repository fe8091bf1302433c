#include "src/collect/src/accumulate/repair.h"

#include <array>
#include <string>

#include "src/collect/src/accumulate/sha256.h"

namespace zelk::accumulate {

namespace {

using datastore::database;
using datastore::statement;

constexpr const char* fault_counts[] = {
    "SELECT count(*) FROM content WHERE id <= (SELECT content_indexed FROM "
    "counter) AND id NOT IN (SELECT content FROM content_index)",
    "SELECT count(*) FROM run r WHERE results <> (SELECT count(*) FROM host s "
    "JOIN result x ON x.host = s.id WHERE s.run = r.number)",
    "SELECT count(*) FROM run r WHERE nodes <> (SELECT count(DISTINCT node) "
    "FROM host s WHERE s.run = r.number)",
};

// The counter of removals tells a process that stores at this moment to read
// the outputs' names again.
constexpr const char* repairs[] = {
    "DELETE FROM content_index",
    "UPDATE run SET results = (SELECT count(*) FROM host s JOIN result x ON "
    "x.host = s.id WHERE s.run = number), nodes = (SELECT count(DISTINCT node) "
    "FROM host s WHERE s.run = number)",
    "UPDATE counter SET removals = removals + 1, content_indexed = "
    "(SELECT coalesce(max(id), 0) FROM content), next_content = "
    "max(next_content, (SELECT coalesce(max(id), 0) FROM content) + 1), "
    "next_result = max(next_result, (SELECT coalesce(max(id), 0) FROM result) "
    "+ 1)",
    "REINDEX",
};

void index_contents(database& base) {
  statement contents(base, "SELECT id, hash FROM content");
  statement insert(base,
                   "INSERT OR IGNORE INTO content_index (prefix, content) "
                   "VALUES (?1, ?2)");
  while (contents.step()) {
    const std::string_view hash = contents.bytes(1);
    digest name = {};
    if (hash.size() != name.size()) continue;  // verify tells of it
    std::copy(hash.begin(), hash.end(), name.begin());
    insert.bind(1, prefix_of(name)).bind(2, contents.integer(0)).run();
  }
}

}  // namespace

std::int64_t count_repairable_faults(database& base) {
  std::int64_t faults = 0;
  for (const char* sql : fault_counts)
    faults += base.integer(sql);
  return faults;
}

std::int64_t repair_datastore(database& base) {
  datastore::transaction repair(base);
  const std::int64_t faults = count_repairable_faults(base);
  for (const char* sql : repairs)
    base.execute(sql);
  index_contents(base);
  repair.commit();
  return faults;
}

}  // namespace zelk::accumulate
