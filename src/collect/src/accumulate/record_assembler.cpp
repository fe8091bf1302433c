// What a sender claims is compared with what it sends as early as possible.
//
// A header is 736 bytes and says how long the three blocks are. Each block
// comes as a frame with a length of its own, which must be the same one. Both
// are numbers from the network: they are compared as they are, added up only
// after each was found to be small, and trusted only when they agree.
//
// A bad message is read to its end and thrown away as it comes. Cutting the
// connection instead would be simpler and would cost the sender's good records
// that are on the wire behind it. Only a message that never seems to end is not
// waited for.

#include "src/collect/src/accumulate/record_assembler.h"

#include <algorithm>
#include <new>
#include <utility>

#include "src/collect/src/accumulate/printable.h"

namespace zelk::accumulate {

namespace {

constexpr std::size_t header_size = sizeof(provider_result_header);
constexpr std::uint64_t frame_count = 4;

// A message is skipped to its end up to here. A real sender's mistake is one
// frame too many, or an output of some gigabytes; beyond is mischief.
constexpr std::uint64_t most_skipped_frames = 64;
constexpr std::uint64_t most_skipped_bytes = std::uint64_t{16} << 30;

constexpr const char* block_names[] = {"header", "stdout", "stderr",
                                       "node names"};

std::string block_text(std::size_t index, std::int64_t size) {
  return std::string(block_names[index]) + " of " + std::to_string(size) +
         " bytes";
}

// Requires: no size below 0.
std::uint64_t record_size(const provider_result_header& header) {
  return header_size + static_cast<std::uint64_t>(header.stdout_size) +
         static_cast<std::uint64_t>(header.stderr_size) +
         static_cast<std::uint64_t>(header.nodes_csv_size);
}

std::size_t block_cost(std::int64_t size) {
  return size == 0 ? 0 : std::max(static_cast<std::size_t>(size), least_block);
}

// Requires: no size below 0, and a record that may be stored.
std::size_t record_cost(const provider_result_header& header) {
  return record_overhead + block_cost(header.stdout_size) +
         block_cost(header.stderr_size) +
         static_cast<std::size_t>(header.nodes_csv_size);
}

}  // namespace

record_assembler::record_assembler(std::size_t max_record,
                                   memory_budget& budget)
    : max_record_(max_record), budget_(budget) {}

record_assembler::~record_assembler() {
  reset();
}

record_assembler::admission record_assembler::begin_frame(std::uint64_t size,
                                                          bool more) {
  more_ = more;
  filled_ = 0;
  if (skipping_) return begin_skipped(size);
  return frames_ == 0 ? begin_header(size, more) : begin_block(size, more);
}

record_assembler::admission record_assembler::begin_header(std::uint64_t size,
                                                           bool more) {
  if (size != header_size)
    refuse(refusal::malformed, "header of " + std::to_string(size) +
                                   " bytes instead of " +
                                   std::to_string(header_size));
  else if (!more)
    refuse(refusal::malformed, "");  // too few frames, told at the end
  if (skipping_) return begin_skipped(size);

  arrival_ = budget_.places().take();
  ++frames_;
  return admission::granted;
}

record_assembler::admission record_assembler::begin_block(std::uint64_t size,
                                                          bool more) {
  const bool last = frames_ + 1 == frame_count;
  if (more == last)
    refuse(refusal::malformed, "");  // too many or too few, told at the end
  else if (size != expected_size())
    refuse(refusal::malformed, std::string(block_names[frames_]) + " of " +
                                   std::to_string(size) +
                                   " bytes where the header says " +
                                   std::to_string(expected_size()));
  else if (frames_ == 1 && !make_room())
    return admission::wait;
  if (skipping_) return begin_skipped(size);

  ++frames_;
  return admission::granted;
}

record_assembler::admission record_assembler::begin_skipped(
    std::uint64_t size) {
  ++frames_;
  if (frames_ <= most_skipped_frames && size <= most_skipped_bytes &&
      seen_ <= most_skipped_bytes)
    return admission::granted;
  fault_ += fault_.empty() ? "" : ", in ";
  fault_ += "a message without an end";
  return admission::broken;
}

std::uint64_t record_assembler::expected_size() const {
  const provider_result_header& header = arrival_->record.header;
  const std::int64_t sizes[] = {header_size, header.stdout_size,
                                header.stderr_size, header.nodes_csv_size};
  return static_cast<std::uint64_t>(sizes[frames_]);
}

// Returns false when the memory budget has no room for the record now.
bool record_assembler::make_room() {
  provider_result& record = arrival_->record;
  const std::size_t charge = record_cost(record.header);
  if (!budget_.reserve(charge)) return false;
  charge_ = charge;
  try {
    if (record.header.stdout_size > 0)
      budget_.places().take_storage(record.stdout);
    record.stdout.free_tail(
        static_cast<std::size_t>(record.header.stdout_size));
    record.stderr.free_tail(
        static_cast<std::size_t>(record.header.stderr_size));
    record.nodes_csv.resize(
        static_cast<std::size_t>(record.header.nodes_csv_size));
  } catch (const std::bad_alloc&) {
    refuse(refusal::oversize,
           "no memory for its " + std::to_string(charge) + " bytes");
  }
  return true;
}

std::span<unsigned char> record_assembler::room() {
  if (skipping_) return {};
  provider_result& record = arrival_->record;
  if (frames_ == 1)
    return {reinterpret_cast<unsigned char*>(&record.header) + filled_,
            header_size - filled_};
  if (frames_ == frame_count)
    return {reinterpret_cast<unsigned char*>(record.nodes_csv.data()) + filled_,
            record.nodes_csv.size() - filled_};

  util::byte_buffer& block = frames_ == 2 ? record.stdout : record.stderr;
  const std::int64_t size =
      frames_ == 2 ? record.header.stdout_size : record.header.stderr_size;
  const std::size_t left = static_cast<std::size_t>(size) - filled_;
  return {block.free_tail(left), left};
}

void record_assembler::took(std::size_t bytes) {
  seen_ += bytes;
  filled_ += bytes;
  if (skipping_) return;
  if (frames_ == 2) arrival_->record.stdout.grown_by(bytes);
  if (frames_ == 3) arrival_->record.stderr.grown_by(bytes);
}

bool record_assembler::end_frame() {
  if (frames_ == 1 && !skipping_) look_at_header();
  if (more_) return false;
  if (!skipping_ && arrival_->record.nodes_csv.find('\0') != std::string::npos)
    refuse(refusal::malformed, "node names with a zero byte");
  // How many there are is seen at the end, and says more than what the first
  // one lacks of a header.
  if (skipping_ && kind_ == refusal::malformed && frames_ != frame_count)
    fault_ = std::to_string(frames_) + " frames instead of " +
             std::to_string(frame_count);
  return true;
}

void record_assembler::look_at_header() {
  const provider_result_header& header = arrival_->record.header;
  header_known_ = true;
  const std::string fault = api_fault(header);
  if (!fault.empty()) return refuse(refusal::malformed, fault);

  const std::int64_t sizes[] = {header.stdout_size, header.stderr_size,
                                header.nodes_csv_size};
  std::uint64_t sum = header_size;
  for (std::size_t i = 0; i < std::size(sizes); ++i) {
    if (sizes[i] < 0)
      return refuse(refusal::malformed, block_text(i + 1, sizes[i]));
    // A number below 2^63 and one that was found small: no overflow.
    sum += static_cast<std::uint64_t>(sizes[i]);
    if (sum > max_record_)
      return refuse(refusal::oversize, block_text(i + 1, sizes[i]) +
                                           " where a record may have " +
                                           std::to_string(max_record_));
  }
}

void record_assembler::refuse(refusal kind, const std::string& fault) {
  skipping_ = true;
  kind_ = kind;
  fault_ = fault;
  if (charge_ > 0) budget_.release(std::exchange(charge_, 0));
  if (!arrival_) return;
  arrival_->record.stdout = {};
  arrival_->record.stderr = {};
  arrival_->record.nodes_csv = {};
}

std::unique_ptr<arrival> record_assembler::take() {
  if (skipping_) return nullptr;
  arrival_->charge = std::exchange(charge_, 0);
  std::unique_ptr<arrival> taken = std::move(arrival_);
  reset();
  return taken;
}

std::string record_assembler::whose() const {
  if (!header_known_) return "";
  const provider_result_header& header = arrival_->record.header;
  return printable(field_text(header.hostname)) + ", provider " +
         printable(field_text(header.name));
}

std::string record_assembler::how_far() const {
  std::string text = std::to_string(seen_);
  if (header_known_ && !skipping_)
    text += " of " + std::to_string(record_size(arrival_->record.header));
  return text + " bytes";
}

void record_assembler::reset() {
  if (charge_ > 0) budget_.release(std::exchange(charge_, 0));
  arrival_.reset();
  frames_ = 0;
  more_ = false;
  filled_ = 0;
  seen_ = 0;
  header_known_ = false;
  skipping_ = false;
  fault_.clear();
}

}  // namespace zelk::accumulate
