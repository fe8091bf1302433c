// Records that were taken and are not stored yet, ready to be.
//
// Everything that can be found out without the database is found out here:
// digests, text or not, whether the columns are enough. The storage of short
// texts is used again by the next batch: giving back and taking a few megabytes
// for each batch costs more than hashing them.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "src/collect/src/accumulate/sha256.h"
#include "src/collect/src/provider/datastore_row.h"

namespace zelk::accumulate {

// A block of bytes and what it is called in the datastore.
struct named_block {
  std::string bytes;
  digest name = {};  // of an empty block: zero
  bool text = false;
};

struct pending_record {
  std::uint64_t sequence = 0;
  std::int64_t run = 0;
  provider_result_header header = {};
  named_block stdout;
  named_block stderr;
  named_block nodes;
  digest whole = {};        // of the header and the three names
  bool raw_header = false;  // as needs_raw_header()
};

// Fills in what can be found out, once the header and the bytes are there.
void complete(sha256& hash, pending_record& record);

// Bytes of the three blocks.
std::size_t block_bytes(const pending_record& record);

class pending_batch {
 public:
  // Takes a record for `run`, moving the two texts out of `row`.
  void take(sha256& hash, datastore_row& row, std::uint64_t sequence,
            std::int64_t run);
  void clear();

  std::span<const pending_record> records() const {
    return {slots_.data(), count_};
  }
  bool empty() const { return count_ == 0; }
  std::size_t size() const { return count_; }
  std::size_t bytes() const { return bytes_; }  // of memory, about

 private:
  std::vector<pending_record> slots_;  // the first count_ are in use
  std::size_t count_ = 0;
  std::size_t bytes_ = 0;
};

}  // namespace zelk::accumulate
