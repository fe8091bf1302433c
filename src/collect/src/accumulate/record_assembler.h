// The frames of one peer's messages put together to records.
//
// Sizes are looked at before a byte of a block is read: a frame that
// contradicts the header, or a record over the limit, costs no memory and is
// skipped to the end of its message; the peer's next record is as welcome as
// any. What was wrong with it is kept as words for people. The memory of a
// record is reserved as a whole before its first block, so a record that was
// begun can be finished.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "src/collect/src/accumulate/arrival_pool.h"
#include "src/collect/src/accumulate/memory_budget.h"
#include "src/collect/src/accumulate/refusal.h"

namespace zelk::accumulate {

class record_assembler {
 public:
  enum class admission {
    granted,
    wait,    // ask again when memory was released
    broken,  // this message will not end within reason: cut the peer off
  };

  record_assembler(std::size_t max_record, memory_budget& budget);
  ~record_assembler();
  record_assembler(const record_assembler&) = delete;
  record_assembler& operator=(const record_assembler&) = delete;

  // A frame of `size` bytes follows, and another one of the same message when
  // there is `more`.
  admission begin_frame(std::uint64_t size, bool more);
  // Where the frame's next bytes go; empty when they are to be skipped.
  std::span<unsigned char> room();
  // So many bytes of the frame were put there, or skipped.
  void took(std::size_t bytes);
  // The frame is complete. Returns whether the message is, too: then there is
  // either a record to take or a fault.
  bool end_frame();

  // Returns the record, or null when the message was refused.
  std::unique_ptr<arrival> take();
  const std::string& fault() const { return fault_; }
  refusal kind() const { return kind_; }

  bool between_messages() const { return frames_ == 0; }
  std::size_t held() const { return charge_; }
  // "node017, provider memory": whose message this is as far as it is known,
  // made of printable characters whatever the header holds.
  std::string whose() const;
  // "5120 of 7340 bytes", of the message that has been begun.
  std::string how_far() const;
  // Forgets the message that has been begun, or its fault.
  void reset();

 private:
  admission begin_header(std::uint64_t size, bool more);
  admission begin_block(std::uint64_t size, bool more);
  admission begin_skipped(std::uint64_t size);
  void look_at_header();
  bool make_room();
  void refuse(refusal kind, const std::string& fault);
  std::uint64_t expected_size() const;

  const std::size_t max_record_;
  memory_budget& budget_;
  std::unique_ptr<arrival> arrival_;  // from the header's first byte on
  std::size_t charge_ = 0;            // reserved
  std::uint64_t frames_ = 0;          // begun, of this message
  bool more_ = false;                 // behind the frame
  std::size_t filled_ = 0;            // bytes in the frame's place
  std::uint64_t seen_ = 0;            // bytes of the message
  bool header_known_ = false;
  bool skipping_ = false;  // to the end of a message that is refused
  std::string fault_;
  refusal kind_ = refusal::malformed;
};

}  // namespace zelk::accumulate
