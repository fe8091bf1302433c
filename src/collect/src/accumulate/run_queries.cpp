// Looking runs up: by what people type, and as a list.

#include <algorithm>
#include <charconv>
#include <ctime>

#include "src/collect/src/accumulate/runs.h"

namespace zelk::accumulate {

namespace {

using datastore::database;
using datastore::statement;
using datastore::store_error;
using datastore::store_failure;

constexpr std::int64_t usec_per_sec = 1'000'000;

constexpr char run_columns[] =
    "SELECT number, uuid, label, note, command_line, state, started, "
    "coalesce(ended, 0), nodes_expected, results_expected, nodes, results, "
    "(SELECT count(*) FROM expected_node x WHERE x.run = number AND EXISTS "
    "(SELECT 1 FROM host s WHERE s.run = x.run AND s.node = x.node)) FROM run ";

constexpr char newest_first[] = " ORDER BY started DESC, number DESC";

run_state state_named(std::string_view name) {
  for (const run_state state :
       {run_state::running, run_state::complete, run_state::partial})
    if (run_state_name(state) == name) return state;
  return run_state::interrupted;
}

run run_of(const statement& row) {
  run result;
  result.number = row.integer(0);
  result.uuid = row.bytes(1);
  result.label = row.bytes(2);
  result.note = row.bytes(3);
  result.command_line = row.bytes(4);
  result.state = state_named(row.bytes(5));
  result.started_usec = row.integer(6);
  result.ended_usec = row.integer(7);
  result.nodes_expected = row.integer(8);
  result.results_expected = row.integer(9);
  result.nodes = row.integer(10);
  result.results = row.integer(11);
  result.nodes_answered = row.integer(12);
  return result;
}

std::optional<run> first_of(statement& query) {
  if (!query.step()) return {};
  return run_of(query);
}

bool parse_number(std::string_view text, std::int64_t& number) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end && number >= 0;
}

// "YYYY-MM-DD"
bool parse_day(std::string_view text, std::tm& day) {
  const std::string digits(text);
  day = {};
  const char* stop = ::strptime(digits.c_str(), "%Y-%m-%d", &day);
  return text.size() == 10 && stop && *stop == '\0';
}

std::int64_t usec_of(std::tm local) {
  local.tm_isdst = -1;
  return static_cast<std::int64_t>(std::mktime(&local)) * usec_per_sec;
}

std::optional<run> newest_of_day(database& base, const std::tm& day) {
  std::tm next = day;
  next.tm_mday += 1;
  run_filter filter;
  filter.started_from_usec = usec_of(day);
  filter.started_until_usec = usec_of(next);
  filter.limit = 1;
  const std::vector<run> found = list_runs(base, filter);
  if (found.empty()) return {};
  return found.front();
}

std::optional<run> newest_with_label(database& base, std::string_view label) {
  statement query(base, std::string(run_columns) + "WHERE label = ?1" +
                            newest_first + " LIMIT 1");
  query.bind_bytes(1, label);
  return first_of(query);
}

std::optional<run> latest(database& base, std::int64_t before) {
  statement query(
      base, std::string(run_columns) + newest_first + " LIMIT 1 OFFSET ?1");
  query.bind(1, before);
  return first_of(query);
}

// Every condition is always there, switched off by its own parameter: one
// statement text, whatever is asked for.
constexpr char conditions[] =
    "WHERE (?1 = '' OR label = ?1) AND started >= ?2 AND (?3 = 0 OR started < "
    "?3)";

std::string node_condition(std::size_t count) {
  if (count == 0) return "";
  std::string list;
  for (std::size_t i = 0; i < count; ++i)
    list += (i == 0 ? "?" : ", ?") + std::to_string(5 + i);
  return " AND number IN (SELECT s.run FROM host s WHERE s.node IN (" + list +
         ") UNION SELECT s.run FROM host s JOIN name h ON h.id = s.hostname "
         "WHERE h.text IN (" +
         list + "))";
}

}  // namespace

std::int64_t nodes_not_expected(const run& of) {
  return of.nodes_expected == 0 ? 0 : of.nodes - of.nodes_answered;
}

std::optional<run> find_run(database& base, std::int64_t number) {
  statement query(base, std::string(run_columns) + "WHERE number = ?1");
  query.bind(1, number);
  return first_of(query);
}

std::optional<run> find_run_by_uuid(database& base, std::string_view uuid) {
  statement query(base, std::string(run_columns) + "WHERE uuid = ?1");
  query.bind_text(1, uuid);
  return first_of(query);
}

std::optional<run> find_run(database& base, std::string_view text) {
  constexpr std::string_view by_label = "label:";
  constexpr std::string_view by_age = "latest~";
  std::int64_t number = 0;
  std::tm day = {};
  if (parse_number(text, number)) return find_run(base, number);
  if (text == "latest") return latest(base, 0);
  if (text.starts_with(by_age) &&
      parse_number(text.substr(by_age.size()), number))
    return latest(base, number);
  if (text.starts_with(by_label))
    return newest_with_label(base, text.substr(by_label.size()));
  if (parse_day(text, day)) return newest_of_day(base, day);
  throw store_error(store_failure::row,
                    "'" + std::string(text) +
                        "' is not a run: a number, 'latest', 'latest~N', "
                        "'label:NAME' or a day such as 2025-11-20");
}

std::vector<run> list_runs(database& base, const run_filter& filter) {
  std::string sql = std::string(run_columns) + conditions;
  sql += node_condition(filter.nodes.size());
  sql += newest_first;
  sql += " LIMIT ?4";
  statement query(base, sql);
  query.bind_bytes(1, filter.label)
      .bind(2, filter.started_from_usec)
      .bind(3, filter.started_until_usec)
      .bind(4, filter.limit > 0 ? filter.limit : -1);
  int index = 5;
  for (const std::string& node : filter.nodes)
    query.bind_bytes(index++, node);
  std::vector<run> runs;
  while (query.step())
    runs.push_back(run_of(query));
  return runs;
}

}  // namespace zelk::accumulate
