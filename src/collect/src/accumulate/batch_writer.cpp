// One record becomes at most a dozen rows, and a batch of them one transaction.
//
// What is paid for every record is its row in result with two index entries; a
// new output adds its row in content. These grow at their ends, or nearly so:
// result and content are numbered in order of arrival, result_key begins with
// the time, and result_host with a number that is given when a host first
// answers in a run. So a batch changes few pages, however much is stored
// already. Names, hosts and runs are remembered and cost nothing.
//
// A record is known again by its key (time, host, provider, option set) and the
// digest of all of it. The key alone is unique among ordinary rows (twin 0), so
// that one INSERT both stores and asks. Only when it stores nothing we look
// closer: the same digest is the same record; another one is a conflict, kept
// as a twin, and found again through result_twin however many there are.
//
// A record that the database refuses must not take its batch with it.
// Savepoints would isolate every record, at a quarter of the speed; so a batch
// is tried without them first, and again with them only when a record was
// refused.

#include "src/collect/src/accumulate/batch_writer.h"

#include <utility>

namespace zelk::accumulate {

namespace {

using datastore::store_error;
using datastore::store_failure;

// Records that are looked at before their turn: their digests lie anywhere in a
// few megabytes, and are fetched while the ones in front are stored.
constexpr std::size_t looked_ahead = 4;

std::int64_t first_integer(datastore::statement& query) {
  const std::int64_t value = query.step() ? query.integer(0) : 0;
  query.reset();
  return value;
}

void bind_block(datastore::statement& insert, int index, std::int64_t id) {
  if (id == 0)
    insert.bind_null(index);
  else
    insert.bind(index, id);
}

}  // namespace

batch_writer::batch_writer(datastore::database base)
    : base_(std::move(base)),
      log_(base_),
      identity_(base_.path()),
      names_(base_),
      hosts_(base_, names_),
      contents_(base_),
      next_id_(base_, "SELECT next_result FROM counter"),
      insert_(base_,
              "INSERT INTO result (id, host, hostname, provider, option_id, "
              "username, num_nodes, exit_status, timestamp, unique_timestamp, "
              "twin, duration, encoding, version, stdout, stderr, node_names, "
              "digest, header) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, "
              "?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19) ON CONFLICT "
              "(unique_timestamp, hostname, provider, option_id, twin) DO "
              "NOTHING"),
      find_first_(base_,
                  "SELECT id FROM result WHERE unique_timestamp = ?1 AND "
                  "hostname = ?2 AND provider = ?3 AND option_id = ?4 AND twin "
                  "= 0 AND digest = ?5"),
      find_twin_(base_,
                 "SELECT result FROM result_twin WHERE unique_timestamp = ?1 "
                 "AND hostname = ?2 AND provider = ?3 AND option_id = ?4 AND "
                 "digest = ?5"),
      insert_twin_(base_,
                   "INSERT INTO result_twin (unique_timestamp, hostname, "
                   "provider, option_id, digest, result) VALUES (?1, ?2, ?3, "
                   "?4, ?5, ?6)"),
      run_of_(base_,
              "SELECT s.run FROM result r JOIN host s ON s.id = r.host WHERE "
              "r.id = ?1"),
      update_next_id_(base_, "UPDATE counter SET next_result = ?1"),
      grow_run_(base_,
                "UPDATE run SET results = results + ?2, nodes = nodes + ?3 "
                "WHERE number = ?1") {}

std::vector<row_outcome> batch_writer::write(
    std::span<const pending_record> batch) {
  commit_failed_ = false;
  try {
    return write_all(batch, false);
  } catch (const store_error& error) {
    if (error.failure() != store_failure::row) throw;
  }
  return write_all(batch, true);
}

std::vector<row_outcome> batch_writer::write_all(
    std::span<const pending_record> batch, bool isolated) {
  std::vector<row_outcome> outcomes;
  outcomes.reserve(batch.size());
  try {
    check_identity();
    log_.check();
    datastore::transaction whole(base_);
    begin();
    for (std::size_t i = 0; i < batch.size(); ++i) {
      if (i + looked_ahead < batch.size()) announce(batch[i + looked_ahead]);
      outcomes.push_back(isolated ? store_isolated(batch[i]) : store(batch[i]));
    }
    commit(whole);
  } catch (...) {
    forget();
    throw;
  }
  return outcomes;
}

void batch_writer::announce(const pending_record& record) const {
  contents_.announce(record.stdout);
  contents_.announce(record.nodes);
}

// Before a batch, so that nothing is written into nowhere; and behind its
// commit, before anybody is told.
void batch_writer::check_identity() {
  if (identity_.unchanged()) return;
  throw store_error(store_failure::fatal,
                    "Datastore '" + base_.path() +
                        "': the file was removed or replaced while it was in "
                        "use");
}

void batch_writer::begin() {
  contents_.begin();
  next_id_.step();
  first_id_ = next_ = next_id_.integer(0);
  next_id_.reset();
}

void batch_writer::commit(datastore::transaction& batch) {
  contents_.finish();
  if (next_ != first_id_) update_next_id_.bind(1, next_).run();
  grow_runs();
  // Whatever fails from here on may have failed behind the write.
  commit_failed_ = true;
  batch.commit();
  check_identity();
  commit_failed_ = false;
  log_.committed();
}

void batch_writer::grow_runs() {
  for (const auto& [run, growth] : growth_) {
    grow_run_.bind(1, run).bind(2, growth.results).bind(3, growth.nodes).run();
    if (base_.changes() == 1) continue;
    throw store_error(store_failure::fatal,
                      "Datastore '" + base_.path() + "': run " +
                          std::to_string(run) +
                          " was removed while results came in for it");
  }
  growth_.clear();
}

void batch_writer::forget() {
  names_.forget();
  hosts_.forget();
  contents_.forget();
  growth_.clear();
}

row_outcome batch_writer::store_isolated(const pending_record& record) {
  const std::size_t mark = contents_.mark();
  datastore::savepoint alone(base_);
  try {
    row_outcome result = store(record);
    alone.keep();
    return result;
  } catch (const store_error& error) {
    if (error.failure() != store_failure::row) throw;
    names_.forget();
    hosts_.forget();
    contents_.rewind(mark);
    return {record.sequence, outcome::rejected, 0, record.run, error.what()};
  }
}

row_outcome batch_writer::store(const pending_record& record) {
  const header_columns columns = columns_of(record.header);
  const host_table::entry host =
      hosts_.get(record.run, columns.hostname, columns.host_arg);
  const record_key key = {columns.unique_timestamp, host.hostname,
                          names_.id(columns.name),
                          names_.id(columns.option_id)};
  bind_columns(record, columns, key, host.id);
  row_outcome result{record.sequence, outcome::stored, next_, record.run, ""};
  if (!insert(0)) {
    if (is_duplicate(key, record.whole, result)) {
      if (host.made) hosts_.take_back(host, columns.hostname, columns.host_arg);
      return result;
    }
    result.result = outcome::conflict;
    insert(next_);
    bind_key(insert_twin_, key, record.whole).bind(6, next_).run();
  }
  run_growth& growth = growth_[record.run];
  growth.results += 1;
  growth.nodes += host.new_node ? 1 : 0;
  ++next_;
  return result;
}

bool batch_writer::insert(std::int64_t twin) {
  insert_.bind(11, twin).run();
  return base_.changes() == 1;
}

datastore::statement& batch_writer::bind_key(datastore::statement& query,
                                             const record_key& key,
                                             const digest& whole) {
  return query.bind(1, key.unique_timestamp)
      .bind(2, key.hostname)
      .bind(3, key.provider)
      .bind(4, key.option_id)
      .bind_blob(5, bytes_of(whole));
}

bool batch_writer::is_duplicate(const record_key& key, const digest& whole,
                                row_outcome& found) {
  for (datastore::statement* query : {&find_first_, &find_twin_}) {
    const std::int64_t id = first_integer(bind_key(*query, key, whole));
    if (id == 0) continue;
    found.result = outcome::duplicate;
    found.id = id;
    found.run = first_integer(run_of_.bind(1, id));
    return true;
  }
  return false;
}

std::int64_t batch_writer::store_block(const named_block& block) {
  return block.bytes.empty() ? 0 : contents_.id(block);
}

void batch_writer::bind_columns(const pending_record& record,
                                const header_columns& columns,
                                const record_key& key, std::int64_t host) {
  insert_.bind(1, next_)
      .bind(2, host)
      .bind(3, key.hostname)
      .bind(4, key.provider)
      .bind(5, key.option_id)
      .bind(6, names_.id(columns.username))
      .bind(7, columns.num_nodes)
      .bind(8, columns.exit_status)
      .bind(9, columns.timestamp)
      .bind(10, columns.unique_timestamp)
      .bind(12, columns.duration)
      .bind(13, columns.encoding)
      .bind(14, columns.version)
      .bind_blob(18, bytes_of(record.whole));
  bind_block(insert_, 15, store_block(record.stdout));
  bind_block(insert_, 16, store_block(record.stderr));
  bind_block(insert_, 17, store_block(record.nodes));
  if (record.raw_header)
    insert_.bind_blob(19, image_of(record.header));
  else
    insert_.bind_null(19);
}

void batch_writer::tidy() {
  try {
    datastore::transaction fold(base_);
    contents_.begin();
    contents_.finish(true);
    fold.commit();
  } catch (...) {
    forget();
    throw;
  }
  log_.wait();
  base_.checkpoint();
}

}  // namespace zelk::accumulate
