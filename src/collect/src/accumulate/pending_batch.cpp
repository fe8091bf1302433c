#include "src/collect/src/accumulate/pending_batch.h"

#include <utility>

#include "src/collect/src/accumulate/stored_header.h"
#include "src/common/text/utf8.h"

namespace zelk::accumulate {

namespace {

// Of a slot's texts. Times the slots of a batch: some 16 MiB at most.
constexpr std::size_t kept_capacity = 4096;  // bytes

void name_block(sha256& hash, named_block& block) {
  block.name = block.bytes.empty() ? digest{} : hash({block.bytes});
  block.text = text::is_text(block.bytes);
}

void empty_block(named_block& block) {
  block.bytes.clear();
  // An assignment would keep the storage.
  if (block.bytes.capacity() > kept_capacity) std::string().swap(block.bytes);
}

}  // namespace

void complete(sha256& hash, pending_record& record) {
  for (named_block* block : {&record.stdout, &record.stderr, &record.nodes})
    name_block(hash, *block);
  const header_columns columns = columns_of(record.header);
  record.raw_header = needs_raw_header(record.header, columns);
  // The lengths of the blocks are in both forms, so a block without a name is
  // an empty one.
  const std::string packed = record.raw_header ? std::string() : pack(columns);
  record.whole =
      hash({record.raw_header ? image_of(record.header) : packed,
            bytes_of(record.stdout.name), bytes_of(record.stderr.name),
            bytes_of(record.nodes.name)});
}

std::size_t block_bytes(const pending_record& record) {
  return record.stdout.bytes.size() + record.stderr.bytes.size() +
         record.nodes.bytes.size();
}

void pending_batch::take(sha256& hash, datastore_row& row,
                         std::uint64_t sequence, std::int64_t run) {
  if (count_ == slots_.size()) slots_.emplace_back();
  pending_record& record = slots_[count_];
  record.sequence = sequence;
  record.run = run;
  record.header = row.header;
  record.nodes.bytes = row.nodes_csv;
  std::swap(record.stdout.bytes, row.stdout);
  std::swap(record.stderr.bytes, row.stderr);
  complete(hash, record);
  ++count_;
  bytes_ += sizeof record + block_bytes(record);
}

void pending_batch::clear() {
  for (pending_record& record : std::span(slots_.data(), count_))
    for (named_block* block : {&record.stdout, &record.stderr, &record.nodes})
      empty_block(*block);
  count_ = 0;
  bytes_ = 0;
}

}  // namespace zelk::accumulate
