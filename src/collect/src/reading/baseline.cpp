#include "src/collect/src/reading/baseline.h"

#include "src/collect/src/reading/view_exists.h"

namespace zelk::reading {

std::optional<stored_baseline> read_baseline(datastore::database& base) {
  if (!view_exists(base, "v_baseline")) return {};
  datastore::statement query(
      base, "SELECT run, name, made_usec, who FROM v_baseline");
  if (!query.step()) return {};
  return stored_baseline{query.integer(0), std::string(query.bytes(1)),
                         query.integer(2), std::string(query.bytes(3))};
}

std::optional<std::int64_t> marked_baseline(datastore::database& base) {
  const std::optional<stored_baseline> found = read_baseline(base);
  if (!found) return {};
  return found->run;
}

}  // namespace zelk::reading
