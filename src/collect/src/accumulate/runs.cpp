#include "src/collect/src/accumulate/runs.h"

#include <sys/random.h>

#include <array>
#include <chrono>
#include <cstdio>

#include "src/collect/src/accumulate/host_table.h"
#include "src/collect/src/accumulate/run_owner.h"

namespace zelk::accumulate {

namespace {

using datastore::database;
using datastore::statement;
using datastore::store_error;
using datastore::store_failure;
using datastore::transaction;

constexpr std::string_view state_names[] = {"running", "complete", "partial",
                                            "interrupted"};

std::int64_t now_usec() {
  using namespace std::chrono;
  return duration_cast<microseconds>(system_clock::now().time_since_epoch())
      .count();
}

// A random one (version 4, variant 1).
std::string new_uuid() {
  std::array<unsigned char, 16> random = {};
  if (::getrandom(random.data(), random.size(), 0) !=
      static_cast<ssize_t>(random.size()))
    throw std::runtime_error("The system gives no random bytes");
  random[6] = static_cast<unsigned char>((random[6] & 0x0F) | 0x40);
  random[8] = static_cast<unsigned char>((random[8] & 0x3F) | 0x80);
  std::string text;
  for (std::size_t i = 0; i < random.size(); ++i) {
    std::array<char, 3> digits = {};
    std::snprintf(digits.data(), digits.size(), "%02x", random[i]);
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += digits.data();
  }
  return text;
}

void change(database& base, std::int64_t number, statement& update) {
  update.run();
  if (base.changes() == 1) return;
  throw store_error(store_failure::row, "Datastore '" + base.path() +
                                            "': there is no run " +
                                            std::to_string(number));
}

// A run may expect hundreds of thousands of results.
class expectation_writer {
 public:
  explicit expectation_writer(database& base)
      : base_(base),
        node_(base,
              "INSERT INTO expected_node (run, node) VALUES (?1, ?2) ON "
              "CONFLICT DO NOTHING"),
        result_(base,
                "INSERT INTO expected_result (run, node, provider, option_id) "
                "VALUES (?1, ?2, ?3, ?4) ON CONFLICT DO NOTHING") {}

  void add(std::int64_t number, const expectation& what) {
    node_.bind(1, number).bind_bytes(2, what.node).run();
    any_new_node_ = any_new_node_ || base_.changes() > 0;
    if (what.provider.empty()) return;
    result_.bind(1, number)
        .bind_bytes(2, what.node)
        .bind_bytes(3, what.provider)
        .bind_bytes(4, what.option_id)
        .run();
  }

  // A node was added that was not expected before.
  bool any_new_node() const { return any_new_node_; }

 private:
  database& base_;
  statement node_;
  statement result_;
  bool any_new_node_ = false;
};

// Results may have come before anybody said which nodes are expected.
void name_hosts_again(database& base, std::int64_t number) {
  statement hosts(base,
                  "SELECT s.id, h.text, a.text FROM host s JOIN name h ON h.id "
                  "= s.hostname JOIN name a ON a.id = s.host_arg WHERE s.run "
                  "= ?1");
  statement expected(base, expected_node_query);
  statement rename(base, "UPDATE host SET node = ?2 WHERE id = ?1");
  hosts.bind(1, number);
  while (hosts.step()) {
    const std::string hostname(hosts.bytes(1));
    const std::string host_arg(hosts.bytes(2));
    const std::int64_t id = hosts.integer(0);
    rename.bind(1, id)
        .bind_bytes(2, node_of_host(expected, number, hostname, host_arg))
        .run();
  }
}

void count_expected(database& base, std::int64_t number,
                    std::int64_t result_count) {
  statement update(
      base,
      "UPDATE run SET nodes_expected = (SELECT count(*) FROM expected_node "
      "WHERE run = ?1), results_expected = max(results_expected, ?2, (SELECT "
      "count(*) FROM expected_result WHERE run = ?1)), nodes = (SELECT "
      "count(DISTINCT node) FROM host WHERE run = ?1) WHERE number = ?1");
  update.bind(1, number).bind(2, result_count);
  change(base, number, update);
}

run_state state_by_results(database& base, std::int64_t number) {
  statement query(base,
                  "SELECT results < results_expected OR EXISTS (SELECT 1 FROM "
                  "v_missing WHERE run = ?1) FROM run WHERE number = ?1");
  const bool partial = query.bind(1, number).step() && query.integer(0) != 0;
  return partial ? run_state::partial : run_state::complete;
}

void give_reasons(database& base, std::int64_t number,
                  std::string_view reason) {
  statement(base,
            "UPDATE expected_node SET reason = ?2 WHERE run = ?1 AND reason = "
            "'' AND node IN (SELECT node FROM v_missing WHERE run = ?1 AND "
            "provider = '')")
      .bind(1, number)
      .bind_bytes(2, reason)
      .run();
  statement(base,
            "UPDATE expected_result SET reason = ?2 WHERE run = ?1 AND reason "
            "= '' AND (node, provider, option_id) IN (SELECT node, provider, "
            "option_id FROM v_missing WHERE run = ?1 AND reason = '')")
      .bind(1, number)
      .bind_bytes(2, reason)
      .run();
}

// Requires: `owner` outlives the use of `query`.
void bind_owner(statement& query, int first, const run_owner& owner) {
  query.bind_bytes(first, owner.host)
      .bind(first + 1, owner.pid)
      .bind(first + 2, owner.start);
}

void set_text(database& base, std::int64_t number, std::string_view sql,
              std::string_view text) {
  statement update(base, sql);
  update.bind(1, number).bind_bytes(2, text);
  change(base, number, update);
}

}  // namespace

std::string_view run_state_name(run_state state) {
  return state_names[static_cast<std::size_t>(state)];
}

std::int64_t create_run(database& base, const run& wanted) {
  const std::string uuid = wanted.uuid.empty() ? new_uuid() : wanted.uuid;
  statement insert(base,
                   "INSERT INTO run (uuid, label, note, command_line, state, "
                   "started, owner_host, owner_pid, owner_start) VALUES (?1, "
                   "?2, ?3, ?4, 'running', ?5, ?6, ?7, ?8)");
  insert.bind_text(1, uuid)
      .bind_bytes(2, wanted.label)
      .bind_bytes(3, wanted.note)
      .bind_bytes(4, wanted.command_line)
      .bind(5, wanted.started_usec != 0 ? wanted.started_usec : now_usec());
  const run_owner owner = this_process();
  bind_owner(insert, 6, owner);
  transaction creation(base);
  insert.run();
  const std::int64_t number = base.last_id();
  creation.commit();
  return number;
}

void expect_results(database& base, std::int64_t number,
                    const std::vector<expectation>& expected,
                    std::int64_t result_count) {
  transaction addition(base);
  expectation_writer writer(base);
  for (const expectation& what : expected)
    writer.add(number, what);
  if (writer.any_new_node()) name_hosts_again(base, number);
  count_expected(base, number, result_count);
  addition.commit();
}

void set_missing_reason(database& base, std::int64_t number,
                        const expectation& what, std::string_view reason) {
  transaction addition(base);
  expectation_writer(base).add(number, what);
  statement node(base,
                 "UPDATE expected_node SET reason = ?3 WHERE run = ?1 AND node "
                 "= ?2");
  statement result(base,
                   "UPDATE expected_result SET reason = ?3 WHERE run = ?1 AND "
                   "node = ?2 AND provider = ?4 AND option_id = ?5");
  statement& update = what.provider.empty() ? node : result;
  update.bind(1, number).bind_bytes(2, what.node).bind_bytes(3, reason);
  if (!what.provider.empty())
    update.bind_bytes(4, what.provider).bind_bytes(5, what.option_id);
  update.run();
  name_hosts_again(base, number);
  count_expected(base, number, 0);
  addition.commit();
}

run_state close_run(database& base, std::int64_t number,
                    std::optional<run_state> state, std::string_view reason,
                    std::int64_t ended_usec) {
  transaction closing(base);
  give_reasons(base, number, reason);
  const run_state final_state = state ? *state : state_by_results(base, number);
  statement update(base,
                   "UPDATE run SET state = ?2, ended = max(started, ?3) WHERE "
                   "number = ?1");
  update.bind(1, number)
      .bind_text(2, run_state_name(final_state))
      .bind(3, ended_usec != 0 ? ended_usec : now_usec());
  change(base, number, update);
  closing.commit();
  return final_state;
}

void reopen_run(database& base, std::int64_t number) {
  statement update(base,
                   "UPDATE run SET state = 'running', ended = NULL, owner_host "
                   "= ?2, owner_pid = ?3, owner_start = ?4 WHERE number = ?1");
  const run_owner owner = this_process();
  update.bind(1, number);
  bind_owner(update, 2, owner);
  change(base, number, update);
}

std::vector<std::int64_t> abandoned_runs(database& base) {
  statement query(base,
                  "SELECT number, owner_host, owner_pid, owner_start FROM run "
                  "WHERE state = 'running' ORDER BY number");
  std::vector<std::int64_t> abandoned;
  while (query.step())
    if (has_ended(
            {std::string(query.bytes(1)), query.integer(2), query.integer(3)}))
      abandoned.push_back(query.integer(0));
  return abandoned;
}

std::vector<std::int64_t> close_abandoned_runs(database& base) {
  std::vector<std::int64_t> abandoned = abandoned_runs(base);
  for (const std::int64_t number : abandoned)
    close_run(base, number, run_state::interrupted,
              "the run was interrupted before a result arrived");
  return abandoned;
}

void set_run_label(database& base, std::int64_t number,
                   std::string_view label) {
  set_text(base, number, "UPDATE run SET label = ?2 WHERE number = ?1", label);
}

void set_run_note(database& base, std::int64_t number, std::string_view note) {
  set_text(base, number, "UPDATE run SET note = ?2 WHERE number = ?1", note);
}

std::vector<missing_result> missing_results(database& base,
                                            std::int64_t number) {
  statement query(base,
                  "SELECT node, provider, option_id, reason FROM v_missing "
                  "WHERE run = ?1 ORDER BY node, provider, option_id");
  query.bind(1, number);
  std::vector<missing_result> missing;
  while (query.step())
    missing.push_back(
        {{std::string(query.bytes(0)), std::string(query.bytes(1)),
          std::string(query.bytes(2))},
         std::string(query.bytes(3))});
  return missing;
}

}  // namespace zelk::accumulate
