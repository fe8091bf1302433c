// What only we can know about a datastore: that names and counters are true.

#include <algorithm>

#include "src/collect/src/accumulate/pending_batch.h"
#include "src/collect/src/accumulate/read_result.h"

namespace zelk::accumulate {

namespace {

using datastore::database;
using datastore::statement;

using complaint = std::function<void(const std::string&)>;

std::int64_t verify_contents(database& base, const complaint& complain) {
  sha256 hash;
  statement query(base, "SELECT id, size, hash, body FROM content");
  std::int64_t faults = 0;
  while (query.step()) {
    const std::string_view body = query.bytes(3);
    if (query.bytes(2) == bytes_of(hash({body})) &&
        query.integer(1) == static_cast<std::int64_t>(body.size()))
      continue;
    complain("Output " + std::to_string(query.integer(0)) +
             " is not what its hash says");
    ++faults;
  }
  return faults;
}

// Each row of `sql` is a number to be put behind `words`.
std::int64_t complain_of_rows(database& base, const std::string& sql,
                              const std::string& words,
                              const complaint& complain) {
  statement query(base, sql);
  std::int64_t faults = 0;
  for (; query.step(); ++faults)
    complain(words + std::to_string(query.integer(0)));
  return faults;
}

pending_record as_pending(const provider_result& result) {
  pending_record record;
  record.header = result.header;
  record.stdout.bytes = result.stdout.view();
  record.stderr.bytes = result.stderr.view();
  record.nodes.bytes = result.nodes_csv;
  return record;
}

std::int64_t verify_keys(database& base, const complaint& complain) {
  sha256 hash;
  statement query(base, "SELECT id, digest FROM result");
  std::int64_t faults = 0;
  while (query.step()) {
    const std::optional<provider_result> result =
        read_result(base, query.integer(0));
    if (result) {
      pending_record record = as_pending(*result);
      complete(hash, record);
      if (bytes_of(record.whole) == query.bytes(1)) continue;
    }
    complain("Result " + std::to_string(query.integer(0)) +
             " is not the record that came in");
    ++faults;
  }
  return faults;
}

struct rule {
  const char* sql;    // yields what breaks it
  const char* words;  // before the number
};

constexpr rule rules[] = {
    {"SELECT min(id) FROM content GROUP BY hash HAVING count(*) > 1",
     "There is more than one copy of output "},
    {"SELECT id FROM content WHERE id <= (SELECT content_indexed FROM counter) "
     "AND id NOT IN (SELECT content FROM content_index)",
     "Not to be found by its hash is output "},
    {"SELECT id FROM result WHERE twin <> 0 AND (twin <> id OR id NOT IN "
     "(SELECT result FROM result_twin))",
     "Not to be found by its digest is result "},
    {"SELECT number FROM run r WHERE results <> (SELECT count(*) FROM host s "
     "JOIN result x ON x.host = s.id WHERE s.run = r.number)",
     "Another number of results than stored is counted for run "},
    {"SELECT number FROM run r WHERE nodes <> (SELECT count(DISTINCT node) "
     "FROM "
     "host s WHERE s.run = r.number)",
     "Another number of nodes than stored is counted for run "},
};

}  // namespace

std::int64_t verify_datastore(database& base, const complaint& complain) {
  std::int64_t faults = verify_contents(base, complain);
  for (const rule& each : rules)
    faults += complain_of_rows(base, each.sql, each.words, complain);
  statement references(base, "PRAGMA foreign_key_check");
  for (; references.step(); ++faults)
    complain("A row of table " + std::string(references.bytes(0)) +
             " refers to nothing");
  return faults + verify_keys(base, complain);
}

}  // namespace zelk::accumulate
