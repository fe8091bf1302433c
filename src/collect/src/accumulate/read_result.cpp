#include "src/collect/src/accumulate/read_result.h"

#include <cstring>

#include "src/collect/src/accumulate/stored_header.h"

namespace zelk::accumulate {

namespace {

using datastore::database;
using datastore::statement;

constexpr char whole_result[] =
    "SELECT p.text, h.text, a.text, u.text, i.text, r.exit_status, r.encoding, "
    "r.timestamp, r.unique_timestamp, r.duration, r.num_nodes, r.version, "
    "o.body, e.body, n.body, r.header "
    "FROM result r "
    "JOIN host s ON s.id = r.host "
    "JOIN name h ON h.id = s.hostname "
    "JOIN name a ON a.id = s.host_arg "
    "JOIN name p ON p.id = r.provider "
    "JOIN name i ON i.id = r.option_id "
    "JOIN name u ON u.id = r.username "
    "LEFT JOIN content o ON o.id = r.stdout "
    "LEFT JOIN content e ON e.id = r.stderr "
    "LEFT JOIN content n ON n.id = r.node_names "
    "WHERE r.id = ?1";

constexpr int header_column = 15;

header_columns columns_of_row(const statement& row) {
  header_columns columns;
  columns.name = row.bytes(0);
  columns.hostname = row.bytes(1);
  columns.host_arg = row.bytes(2);
  columns.username = row.bytes(3);
  columns.option_id = row.bytes(4);
  columns.exit_status = row.integer(5);
  columns.encoding = row.integer(6);
  columns.timestamp = row.integer(7);
  columns.unique_timestamp = row.integer(8);
  columns.duration = row.real(9);
  columns.num_nodes = row.integer(10);
  columns.version = row.integer(11);
  columns.stdout_size = static_cast<std::int64_t>(row.bytes(12).size());
  columns.stderr_size = static_cast<std::int64_t>(row.bytes(13).size());
  columns.nodes_csv_size = static_cast<std::int64_t>(row.bytes(14).size());
  return columns;
}

provider_result_header header_of_row(const statement& row) {
  const std::string_view raw = row.bytes(header_column);
  provider_result_header header = {};
  if (raw.size() != sizeof header) return header_of(columns_of_row(row));
  std::memcpy(&header, raw.data(), sizeof header);
  return header;
}

// Each condition is left out when nothing is asked of it, so that the index of
// the others is used.
std::string filter_text(const result_filter& filter) {
  std::string sql =
      "SELECT r.id FROM result r JOIN host s ON s.id = r.host "
      "JOIN name h ON h.id = s.hostname JOIN name p ON p.id = r.provider "
      "WHERE true";
  if (filter.run != 0) sql += " AND s.run = ?1";
  if (!filter.node.empty()) sql += " AND ?2 IN (s.node, h.text)";
  if (!filter.provider.empty()) sql += " AND p.text = ?3";
  return sql + " ORDER BY r.id";
}

}  // namespace

std::optional<provider_result> read_result(database& base, std::int64_t id) {
  statement query(base, whole_result);
  if (!query.bind(1, id).step()) return {};
  provider_result result;
  result.header = header_of_row(query);
  result.stdout.append(query.bytes(12));
  result.stderr.append(query.bytes(13));
  result.nodes_csv = query.bytes(14);
  return result;
}

void for_each_result(database& base, const result_filter& filter,
                     const std::function<bool(std::int64_t)>& visit) {
  statement query(base, filter_text(filter));
  if (filter.run != 0) query.bind(1, filter.run);
  if (!filter.node.empty()) query.bind_bytes(2, filter.node);
  if (!filter.provider.empty()) query.bind_bytes(3, filter.provider);
  while (query.step())
    if (!visit(query.integer(0))) return;
}

}  // namespace zelk::accumulate
