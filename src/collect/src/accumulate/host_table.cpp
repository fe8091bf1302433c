#include "src/collect/src/accumulate/host_table.h"

namespace zelk::accumulate {

namespace {

// A sender that invents host names costs rows, not memory.
constexpr std::size_t most_known = 100'000;

bool yields_row(datastore::statement& query) {
  const bool found = query.step();
  query.reset();
  return found;
}

// Neither field can hold a zero byte. Returns `key`, whose storage is used
// again.
const std::string& key_of(std::string_view hostname, std::string_view host_arg,
                          std::string& key) {
  key.assign(hostname);
  key += '\0';
  key += host_arg;
  return key;
}

}  // namespace

std::string_view node_of_host(datastore::statement& expected, std::int64_t run,
                              std::string_view hostname,
                              std::string_view host_arg) {
  const std::string_view short_name = hostname.substr(0, hostname.find('.'));
  for (const std::string_view name : {host_arg, hostname, short_name})
    if (!name.empty() && yields_row(expected.bind(1, run).bind_bytes(2, name)))
      return name;
  return hostname;
}

host_table::host_table(datastore::database& base, name_table& names)
    : base_(base),
      names_(names),
      find_(base,
            "SELECT id FROM host WHERE hostname = ?1 AND run = ?2 AND host_arg "
            "= ?3"),
      find_node_(base, "SELECT 1 FROM host WHERE run = ?1 AND node = ?2"),
      expected_(base, expected_node_query),
      insert_(base,
              "INSERT INTO host (run, hostname, host_arg, node) VALUES (?1, "
              "?2, ?3, ?4)"),
      remove_(base, "DELETE FROM host WHERE id = ?1") {}

host_table::entry host_table::get(std::int64_t run, std::string_view hostname,
                                  std::string_view host_arg) {
  if (run != known_run_ || known_.size() >= most_known) known_.clear();
  known_run_ = run;
  entry& known = known_[key_of(hostname, host_arg, key_)];
  if (known.id != 0) return known;

  const std::int64_t hostname_id = names_.id(hostname);
  const std::int64_t host_arg_id = names_.id(host_arg);
  known.hostname = hostname_id;
  known.id = find(run, hostname_id, host_arg_id);
  if (known.id != 0) return known;

  const std::string_view node =
      node_of_host(expected_, run, hostname, host_arg);
  const bool new_node =
      !yields_row(find_node_.bind(1, run).bind_bytes(2, node));
  insert_.bind(1, run)
      .bind(2, hostname_id)
      .bind(3, host_arg_id)
      .bind_bytes(4, node)
      .run();
  known.id = base_.last_id();
  return {known.id, hostname_id, true, new_node};
}

void host_table::take_back(const entry& unused, std::string_view hostname,
                           std::string_view host_arg) {
  remove_.bind(1, unused.id).run();
  known_.erase(key_of(hostname, host_arg, key_));
}

std::int64_t host_table::find(std::int64_t run, std::int64_t hostname,
                              std::int64_t host_arg) {
  find_.bind(1, hostname).bind(2, run).bind(3, host_arg);
  const std::int64_t id = find_.step() ? find_.integer(0) : 0;
  find_.reset();
  return id;
}

}  // namespace zelk::accumulate
