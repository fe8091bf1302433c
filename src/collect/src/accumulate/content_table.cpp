// How an output is found by its hash while a hundred thousand a second arrive.
//
// An index on the hash is the obvious way, and the slowest part of the whole
// store: hashes are random, so each new output changes another page of the
// index. With a million outputs, a batch of 1,000 new ones of 1 KiB writes 1 MB
// of content and then some 10 MB of index pages, twice (log and database).
//
// So the index lags behind. The table content holds every block with its hash,
// in order of arrival; content_index holds (first 8 bytes of the hash, number)
// of the blocks up to counter.content_indexed; the hashes of the blocks behind
// that are in memory here. When those have become many they are sorted and put
// into the index in one go, which touches each page once for many entries.
// Nothing is at stake when the process dies: the next one reads the blocks
// behind content_indexed again. Eight bytes of hash are enough to find a
// candidate; the whole hash is compared where the block lies.
//
// Another process may store, fold or remove between two of our transactions.
// SQLite's data_version tells that somebody did; counter tells what: new blocks
// are read in, and after a removal everything is read anew, for what we
// remember may be gone.
//
// Most outputs that are not in memory are new, and asking the index for each of
// them is a fifth of all work. So a filter, which is loaded once a process has
// stored enough to be worth it, knows two bytes about every hash in the index.
//
// An index in memory alone was rejected (it grows with the datastore), and so
// were larger batches (they only shift the point where it hurts).

#include "src/collect/src/accumulate/content_table.h"

#include <algorithm>
#include <utility>

namespace zelk::accumulate {

namespace {

// Blocks whose hash is kept in memory: about 6 MB, and one fold of 60 ms.
constexpr std::size_t most_recent = 65'536;

// In vain, before the filter is loaded: that takes 0.1 s for a million outputs,
// and a scan of ten files shall not wait for it.
constexpr int most_misses = 5'000;

}  // namespace

content_table::content_table(datastore::database& base)
    : version_(base, "PRAGMA data_version"),
      counters_(base,
                "SELECT next_content, content_indexed, removals FROM counter"),
      tail_(base, "SELECT id, hash FROM content WHERE id >= ?1"),
      candidates_(base, "SELECT content FROM content_index WHERE prefix = ?1"),
      hash_(base, "SELECT hash FROM content WHERE id = ?1"),
      all_prefixes_(base, "SELECT prefix FROM content_index"),
      store_(base,
             "INSERT INTO content (id, size, hash, body) VALUES (?1, ?2, ?3, "
             "?4)"),
      index_(base,
             "INSERT INTO content_index (prefix, content) VALUES (?1, ?2)"),
      update_(base,
              "UPDATE counter SET next_content = ?1, content_indexed = ?2") {}

void content_table::begin() {
  added_.clear();
  version_.step();
  const std::int64_t now = version_.integer(0);
  version_.reset();
  if (loaded_ && now == data_version_) return;
  load();
  data_version_ = now;
}

void content_table::load() {
  counters_.step();
  const std::int64_t next = counters_.integer(0);
  const std::int64_t indexed = counters_.integer(1);
  const std::int64_t removals = counters_.integer(2);
  counters_.reset();
  // Somebody else has folded, or our own fold was rolled back.
  if (std::exchange(indexed_, indexed) != indexed) filtering_ = false;
  if (!loaded_ || std::exchange(removals_, removals) != removals) {
    removals_ = removals;
    recent_.clear();
    next_ = indexed_ + 1;
  }
  // Blocks that another process has folded meanwhile stay in memory as well,
  // till our own next fold.
  load_from(std::max(next_, indexed_ + 1));
  next_ = next;
  loaded_ = true;
}

void content_table::load_from(std::int64_t first) {
  tail_.bind(1, first);
  while (tail_.step()) {
    const std::string_view hash = tail_.bytes(1);
    digest name = {};
    if (hash.size() != name.size()) continue;  // damaged; verify tells
    std::copy(hash.begin(), hash.end(), name.begin());
    if (recent_.find(name) == 0) recent_.add(name, tail_.integer(0));
  }
  tail_.reset();
}

std::int64_t content_table::id(const named_block& block) {
  std::int64_t found = recent_.find(block.name);
  if (found != 0) return found;
  if (indexed_ > 0) found = find(block.name);
  if (found == 0) return store(block);
  // What was asked for again will be asked for again.
  recent_.add(block.name, found);
  return found;
}

// Nearly always there is no candidate, so the index is asked alone.
std::int64_t content_table::find(const digest& name) {
  if (surely_new(name)) return 0;
  std::int64_t found = 0;
  candidates_.bind(1, prefix_of(name));
  while (found == 0 && candidates_.step()) {
    const std::int64_t candidate = candidates_.integer(0);
    if (has_hash(candidate, name)) found = candidate;
  }
  candidates_.reset();
  if (found == 0) ++misses_;
  return found;
}

bool content_table::surely_new(const digest& name) {
  if (!filtering_ && misses_ >= most_misses) fill_filter();
  return filtering_ && !indexed_names_.may_hold(prefix_of(name));
}

// Twice the room, for what will be folded next.
void content_table::fill_filter() {
  indexed_names_.reset(2 * static_cast<std::size_t>(indexed_) + most_recent);
  while (all_prefixes_.step())
    indexed_names_.add(all_prefixes_.integer(0));
  all_prefixes_.reset();
  filtering_ = true;
}

bool content_table::has_hash(std::int64_t id, const digest& name) {
  const bool same =
      hash_.bind(1, id).step() && hash_.bytes(0) == bytes_of(name);
  hash_.reset();
  return same;
}

std::int64_t content_table::store(const named_block& block) {
  store_.bind(1, next_)
      .bind(2, static_cast<std::int64_t>(block.bytes.size()))
      .bind_blob(3, bytes_of(block.name));
  if (block.text)
    store_.bind_text(4, block.bytes);
  else
    store_.bind_blob(4, block.bytes);
  store_.run();
  recent_.add(block.name, next_);
  added_.push_back(block.name);
  return next_++;
}

void content_table::finish(bool fold_all) {
  const bool fold_now = recent_.size() >= (fold_all ? 1 : most_recent);
  if (added_.empty() && !fold_now) return;
  if (fold_now) fold();
  update_.bind(1, next_).bind(2, indexed_).run();
}

void content_table::fold() {
  std::vector<std::pair<std::int64_t, std::int64_t>> entries;
  entries.reserve(recent_.size());
  recent_.for_each([&](const digest& name, std::int64_t id) {
    if (id > indexed_) entries.emplace_back(prefix_of(name), id);
  });
  std::sort(entries.begin(), entries.end());
  for (const auto& [prefix, id] : entries) {
    index_.bind(1, prefix).bind(2, id).run();
    if (filtering_) indexed_names_.add(prefix);
  }
  if (indexed_names_.crowded()) filtering_ = false;
  indexed_ = next_ - 1;
  recent_.clear();
}

void content_table::rewind(std::size_t mark) {
  next_ -= static_cast<std::int64_t>(added_.size() - mark);
  while (added_.size() > mark) {
    recent_.erase(added_.back());
    added_.pop_back();
  }
}

}  // namespace zelk::accumulate
