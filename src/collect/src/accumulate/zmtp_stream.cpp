// The receiving end of ZMTP 3, as much of it as a pushing peer can show us.
//
//   greeting   64 bytes: FF, 8 bytes, 7F, version (2), mechanism (20, zero
//              filled), as-server (1), zeros
//   frame      flags (1), length (1, or 8 big-endian when flag 2 is set), body;
//              flag 1: another frame of this message follows, flag 4: a command
//   command    length of its name (1), name, data
//
// Both ends send a greeting and then the command READY, whose data are
// properties: name length (1), name, value length (4), value. "Socket-Type" is
// the one that matters. Afterwards the peer sends messages and, now and then, a
// PING, which wants a PONG with the same context.
//
// Why not the library's own receiving socket, which speaks the same? It limits
// what it holds by counting messages for each connection, and a frame before it
// is looked at only by the size that all frames share: with ten thousand peers
// and records of up to 64 MiB, no setting of it bounds the memory, a message
// that never ends is bounded by nothing, and the connections alone, idle, take
// 35 KiB each (350 MiB at ten thousand). It cuts a peer off for a frame that is
// too long and tells nobody why, and drops what it has received when it is
// closed. Here a record is admitted or refused when its header has come, memory
// is counted in bytes for all peers together, and what is refused has a name.
//
// Peers of ZMTP 1 and 2 are refused: they have no handshake, so any bytes at
// all would pass as a message of theirs.

#include "src/collect/src/accumulate/zmtp_stream.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "src/collect/src/accumulate/printable.h"
#include "src/common/str/str.h"

namespace zelk::accumulate {

namespace {

constexpr std::size_t greeting_size = 64;
constexpr std::size_t signature_end = 9;  // position of its last byte
constexpr std::size_t version_at = 10;
constexpr std::size_t mechanism_at = 12;
constexpr std::size_t mechanism_size = 20;

constexpr unsigned char flag_more = 1;
constexpr unsigned char flag_long = 2;
constexpr unsigned char flag_command = 4;

// READY carries a handful of properties, PING a context of up to 16 bytes.
constexpr std::size_t most_command = 4096;
// A peer that asks and does not read the answers is given no more of them.
constexpr std::size_t most_replies = 4096;

std::string our_greeting() {
  std::string greeting(greeting_size, '\0');
  greeting[0] = '\xff';
  greeting[signature_end] = '\x7f';
  greeting[version_at] = 3;
  greeting[version_at + 1] = 1;
  greeting.replace(mechanism_at, 4, "NULL");
  return greeting;
}

// Requires: `body` is shorter than 256 bytes.
std::string command_frame(const std::string& body) {
  return std::string{static_cast<char>(flag_command),
                     static_cast<char>(body.size())} +
         body;
}

// Cuts a text that is preceded by its length, of `length_size` bytes, off the
// front of `bytes`. Returns false when it is not whole.
bool take_text(std::string_view& bytes, std::size_t length_size,
               std::string_view& text) {
  if (bytes.size() < length_size) return false;
  std::size_t length = 0;
  for (std::size_t i = 0; i < length_size; ++i)
    length = length << 8 | static_cast<unsigned char>(bytes[i]);
  bytes.remove_prefix(length_size);
  if (bytes.size() < length) return false;
  text = bytes.substr(0, length);
  bytes.remove_prefix(length);
  return true;
}

// Returns the value of "Socket-Type", or "" when the properties are not whole.
std::string_view socket_type(std::string_view properties) {
  std::string_view name, value, type;
  while (!properties.empty()) {
    if (!take_text(properties, 1, name) || !take_text(properties, 4, value))
      return {};
    if (str::upper(name) == "SOCKET-TYPE") type = value;
  }
  return type;
}

}  // namespace

zmtp_stream::zmtp_stream(std::size_t max_record, memory_budget& budget)
    : assembler_(max_record, budget), replies_(our_greeting()) {}

zmtp_stream::state zmtp_stream::feed(std::string_view& bytes) {
  if (!fault_.empty()) return state::broken;
  state now = state::reading;
  if (step_ == step::admission) now = admit();
  while (now == state::reading && !bytes.empty()) {
    switch (step_) {
      case step::greeting:
        now = read_greeting(bytes);
        break;
      case step::head:
        now = read_head(bytes);
        break;
      case step::command:
        now = read_command(bytes);
        break;
      case step::body:
        now = read_body(bytes);
        break;
      case step::admission:
        now = admit();
        break;
    }
  }
  return now;
}

zmtp_stream::state zmtp_stream::read_greeting(std::string_view& bytes) {
  const std::size_t count = std::min(bytes.size(), greeting_size - have_);
  std::memcpy(carry_.data() + have_, bytes.data(), count);
  bytes.remove_prefix(count);
  have_ = static_cast<std::uint8_t>(have_ + count);
  return check_greeting();
}

// Judges what has come of it, so that a stranger is known by the first byte and
// not only after 64.
zmtp_stream::state zmtp_stream::check_greeting() {
  if (carry_[0] != '\xff' ||
      (have_ > signature_end && (carry_[signature_end] & 1) == 0))
    return broken(refusal::garbage,
                  "'" + printable({carry_.data(), have_}) + "' is not ZMTP");
  if (have_ > version_at && carry_[version_at] < 3)
    return broken(refusal::garbage, "ZMTP older than version 3");
  if (have_ < greeting_size) return state::reading;

  const char* mechanism = carry_.data() + mechanism_at;
  const std::string_view name(mechanism, ::strnlen(mechanism, mechanism_size));
  if (name != "NULL")
    return broken(refusal::garbage, "security mechanism '" + printable(name) +
                                        "' instead of 'NULL'");
  step_ = step::head;
  have_ = 0;
  return state::reading;
}

std::size_t zmtp_stream::head_size() const {
  return have_ > 0 && (carry_[0] & flag_long) != 0 ? 9 : 2;
}

zmtp_stream::state zmtp_stream::read_head(std::string_view& bytes) {
  while (have_ < head_size() && !bytes.empty()) {
    carry_[have_++] = bytes.front();
    bytes.remove_prefix(1);
  }
  return have_ < head_size() ? state::reading : begin_frame();
}

zmtp_stream::state zmtp_stream::begin_frame() {
  left_ = 0;
  for (std::size_t i = 1; i < have_; ++i)
    left_ = left_ << 8 | static_cast<unsigned char>(carry_[i]);
  const auto flags = static_cast<unsigned char>(carry_[0]);
  have_ = 0;
  if (flags > (flag_more | flag_long | flag_command))
    return broken(refusal::garbage, "a frame with unknown flags");

  if ((flags & flag_command) != 0) {
    if (left_ == 0 || left_ > most_command)
      return broken(refusal::garbage,
                    "a command of " + std::to_string(left_) + " bytes");
    step_ = step::command;
    return state::reading;
  }
  if (!established_)
    return broken(refusal::garbage, "a message before the introduction");
  more_ = (flags & flag_more) != 0;
  step_ = step::admission;
  return admit();
}

zmtp_stream::state zmtp_stream::read_command(std::string_view& bytes) {
  const auto count =
      static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), left_));
  command_.append(bytes.substr(0, count));
  bytes.remove_prefix(count);
  left_ -= count;
  if (left_ > 0) return state::reading;
  const state next = obey_command();
  command_ = {};  // idle peers keep no storage
  step_ = step::head;
  return next;
}

zmtp_stream::state zmtp_stream::obey_command() {
  std::string_view data = command_, name;
  if (!take_text(data, 1, name))
    return broken(refusal::garbage, "a command without a name");
  if (!established_) {
    if (name == "READY") return greet_back(data);
    return broken(refusal::garbage,
                  "the command '" + printable(name) + "' instead of 'READY'");
  }
  constexpr std::size_t ttl_size = 2, most_context = 16;
  if (name == "PING" && data.size() >= ttl_size &&
      data.size() <= ttl_size + most_context && replies_.size() < most_replies)
    replies_ += command_frame("\4PONG" + std::string(data.substr(ttl_size)));
  return state::reading;  // any other command asks nothing of us
}

zmtp_stream::state zmtp_stream::greet_back(std::string_view properties) {
  const std::string_view type = socket_type(properties);
  if (type != "PUSH")
    return broken(refusal::garbage, "a socket of type '" + printable(type) +
                                        "' instead of 'PUSH'");
  established_ = true;
  using namespace std::string_literals;
  replies_ += command_frame("\5READY\13Socket-Type\0\0\0\4PULL"s);
  return state::reading;
}

zmtp_stream::state zmtp_stream::admit() {
  switch (assembler_.begin_frame(left_, more_)) {
    case record_assembler::admission::granted:
      break;
    case record_assembler::admission::wait:
      return state::waiting;
    case record_assembler::admission::broken:
      return broken(refusal::malformed, assembler_.fault());
  }
  step_ = step::body;
  return left_ == 0 ? end_of_body() : state::reading;
}

zmtp_stream::state zmtp_stream::read_body(std::string_view& bytes) {
  const auto count =
      static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), left_));
  const std::span<unsigned char> place = room();
  if (!place.empty()) std::memcpy(place.data(), bytes.data(), count);
  bytes.remove_prefix(count);
  return took(count);
}

std::span<unsigned char> zmtp_stream::room() {
  if (step_ != step::body) return {};
  return assembler_.room();
}

zmtp_stream::state zmtp_stream::took(std::size_t bytes) {
  assembler_.took(bytes);
  left_ -= bytes;
  return left_ == 0 ? end_of_body() : state::reading;
}

zmtp_stream::state zmtp_stream::end_of_body() {
  step_ = step::head;
  return assembler_.end_frame() ? state::message : state::reading;
}

std::size_t zmtp_stream::wanted() const {
  constexpr std::uint64_t much = 1 << 20;  // bytes; callers read less
  switch (step_) {
    case step::greeting:
      return greeting_size - have_;
    case step::head:
      return head_size() - have_;
    case step::admission:
      return 0;
    case step::command:
    case step::body:
      break;
  }
  return static_cast<std::size_t>(std::min(left_, much));
}

std::string zmtp_stream::take_replies() {
  return std::exchange(replies_, {});
}

void zmtp_stream::ping() {
  using namespace std::string_literals;
  if (established_ && replies_.size() < most_replies)
    replies_ += command_frame("\4PING\0\0"s);
}

bool zmtp_stream::between_messages() const {
  return step_ == step::head && have_ == 0 && assembler_.between_messages();
}

zmtp_stream::state zmtp_stream::broken(refusal kind, const std::string& fault) {
  kind_ = kind;
  fault_ = fault;
  return state::broken;
}

}  // namespace zelk::accumulate
