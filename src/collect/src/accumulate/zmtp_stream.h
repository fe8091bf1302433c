// The byte stream of one peer: ZMTP 3, NULL mechanism, PUSH there and PULL
// here.
//
// Takes bytes as they come, in pieces of any size, and hands the frames to the
// record_assembler. Pure: it reads and writes no socket. It holds a few hundred
// bytes for a peer that sends nothing, whatever that peer sent before.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "src/collect/src/accumulate/record_assembler.h"

namespace zelk::accumulate {

class zmtp_stream {
 public:
  enum class state {
    reading,  // wants more bytes
    message,  // one is complete: take or reset it in assembler(), then go on
    waiting,  // for memory: feed({}) again when some was released
    broken,   // fault() says why; nothing more is read
  };

  zmtp_stream(std::size_t max_record, memory_budget& budget);

  // Takes bytes off the front of `bytes` until they are used up or the state is
  // another than `reading`.
  state feed(std::string_view& bytes);

  // The same in place: where the next bytes of a block go, when that is known
  // (else empty), and that so many were put there.
  std::span<unsigned char> room();
  state took(std::size_t bytes);

  // So many bytes come before the next decision about memory: who reads no more
  // at once is left with nothing when that decision is to wait.
  std::size_t wanted() const;

  // Bytes for the peer, in the order they are to be sent. Empties it.
  std::string take_replies();
  // Asks the peer for a sign of life.
  void ping();

  // The peer has introduced itself as one that pushes.
  bool established() const { return established_; }
  // Nothing of a message or of a frame has come: the end may come here.
  bool between_messages() const;
  bool heard_anything() const { return step_ != step::greeting || have_ > 0; }

  const std::string& fault() const { return fault_; }
  refusal kind() const { return kind_; }
  record_assembler& assembler() { return assembler_; }
  const record_assembler& assembler() const { return assembler_; }

 private:
  // greeting -> head <-> command
  //              ^ \---> admission -> body
  //              \--------------------/
  enum class step : std::uint8_t { greeting, head, admission, command, body };

  state read_greeting(std::string_view& bytes);
  state check_greeting();
  state read_head(std::string_view& bytes);
  state begin_frame();
  state read_command(std::string_view& bytes);
  state obey_command();
  state greet_back(std::string_view properties);
  state admit();
  state read_body(std::string_view& bytes);
  state end_of_body();
  state broken(refusal kind, const std::string& fault);
  std::size_t head_size() const;

  record_assembler assembler_;
  std::string replies_;
  std::string command_;
  std::string fault_;
  std::uint64_t left_ = 0;           // bytes of the frame's body to come
  std::array<char, 64> carry_ = {};  // a greeting or a frame's head, so far
  std::uint8_t have_ = 0;            // bytes in it
  step step_ = step::greeting;
  refusal kind_ = refusal::garbage;
  bool more_ = false;  // a frame of the same message follows
  bool established_ = false;
};

}  // namespace zelk::accumulate
