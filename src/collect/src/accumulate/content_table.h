// Outputs by content: each distinct block of bytes is stored once, under its
// SHA-256.
//
// Belongs to a connection and its thread, and is used inside write transactions
// only. content_table.cpp tells how the look-up stays fast while outputs pour
// in.

#pragma once

#include <cstdint>
#include <vector>

#include "src/collect/src/accumulate/digest_filter.h"
#include "src/collect/src/accumulate/digest_map.h"
#include "src/collect/src/accumulate/pending_batch.h"
#include "src/common/datastore/sqlite.h"

namespace zelk::accumulate {

class content_table {
 public:
  explicit content_table(datastore::database& base);

  // At the head of a transaction: takes in what other writers did meanwhile.
  void begin();

  // This block will be asked for soon.
  void announce(const named_block& block) const {
    if (!block.bytes.empty()) recent_.announce(block.name);
  }

  // Returns the number of the block, which is stored if it is new.
  std::int64_t id(const named_block& block);

  // At the end of a transaction, before the commit. `fold_all`: leaves nothing
  // for the next opener to read in.
  void finish(bool fold_all = false);

  // How many blocks this transaction has stored so far.
  std::size_t mark() const { return added_.size(); }
  // After a roll-back to where mark() was `mark`.
  void rewind(std::size_t mark);
  // After a roll-back whose extent is not known.
  void forget() { loaded_ = filtering_ = false; }

 private:
  void load();
  void load_from(std::int64_t first);
  std::int64_t find(const digest& name);
  bool has_hash(std::int64_t id, const digest& name);
  std::int64_t store(const named_block& block);
  bool surely_new(const digest& name);
  void fill_filter();
  void fold();

  datastore::statement version_;
  datastore::statement counters_;
  datastore::statement tail_;
  datastore::statement candidates_;
  datastore::statement hash_;
  datastore::statement all_prefixes_;
  datastore::statement store_;
  datastore::statement index_;
  datastore::statement update_;

  digest_map recent_;
  digest_filter indexed_names_;  // what content_index has, when filtering_
  bool filtering_ = false;
  int misses_ = 0;             // look-ups in content_index that found nothing
  std::vector<digest> added_;  // by this transaction
  bool loaded_ = false;
  std::int64_t data_version_ = 0;
  std::int64_t next_ = 1;
  std::int64_t indexed_ = 0;
  std::int64_t removals_ = 0;
};

}  // namespace zelk::accumulate
