// How a received message becomes a record.
//
// Frame 1 is the image of the header, and it claims how long frames 2 and 3
// are. The claim and the frame come from the same sender, but nothing forces
// them to agree: a block is therefore only read when its frame is at least as
// long as claimed. All of it is looked at before the first byte of the record
// changes, so that a bad message cannot spoil a good record.
//
// A first frame that is too short for a header is no message of any version of
// this product. Between a collector and its own workers that is a broken
// installation and ends the process at once; a server on a network asks
// result_message_fault() first, which also refuses what decoding lets pass.

#include "src/collect/src/provider/message.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <utility>

#include <czmq.h>

#include "src/common/log/error_log.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/provider/message";

constexpr std::size_t frame_count = 4;
constexpr std::size_t header_size = sizeof(provider_result_header);

struct message_deleter {
  void operator()(zmsg_t* message) const { zmsg_destroy(&message); }
};
struct frame_deleter {
  void operator()(zframe_t* frame) const { zframe_destroy(&frame); }
};
using unique_message = std::unique_ptr<zmsg_t, message_deleter>;
using unique_frame = std::unique_ptr<zframe_t, frame_deleter>;

std::string_view frame_bytes(zframe_t* frame) {
  return {reinterpret_cast<const char*>(zframe_data(frame)),
          zframe_size(frame)};
}

// The frames of a message where they lie.
struct frame_views {
  std::string_view header;
  std::string_view stdout;
  std::string_view stderr;
  std::string_view nodes_csv;
};

// Requires: four frames.
frame_views views_of(zmsg_t* message) {
  frame_views views;
  views.header = frame_bytes(zmsg_first(message));
  views.stdout = frame_bytes(zmsg_next(message));
  views.stderr = frame_bytes(zmsg_next(message));
  views.nodes_csv = frame_bytes(zmsg_next(message));
  return views;
}

// Requires: `bytes` holds a header.
provider_result_header header_in(std::string_view bytes) {
  provider_result_header header;
  std::memcpy(&header, bytes.data(), header_size);
  return header;
}

provider_result_header header_or_abort(std::string_view bytes) {
  if (bytes.size() >= header_size) return header_in(bytes);
  std::cerr << "Received a provider result with a header of " << bytes.size()
            << " bytes instead of " << header_size << "\n";
  std::abort();
}

// A size below zero is a huge one here, which no frame has.
bool holds(std::string_view frame, std::int64_t size) {
  return static_cast<std::uint64_t>(size) <= frame.size();
}

std::string length_fault(const char* block, std::string_view frame,
                         std::int64_t size) {
  if (static_cast<std::uint64_t>(size) == frame.size()) return "";
  return std::string(block) + " of " + std::to_string(frame.size()) +
         " bytes where the header says " + std::to_string(size);
}

bool append_frame(zmsg_t* message, const void* data, std::int64_t size) {
  return zmsg_addmem(message, data, static_cast<std::size_t>(size)) == 0;
}

// Copies each block once, into the frame that ZeroMQ will own.
unique_message message_of(const provider_result& record) {
  const provider_result_header& header = record.header;
  unique_message message(zmsg_new());
  zmsg_t* frames = message.get();
  if (append_frame(frames, &header, header_size) &&
      append_frame(frames, record.stdout.data(), header.stdout_size) &&
      append_frame(frames, record.stderr.data(), header.stderr_size) &&
      append_frame(frames, record.nodes_csv.data(), header.nodes_csv_size))
    return message;
  return nullptr;
}

bool send(unique_message message, zsock_t* socket) {
  if (message == nullptr) return false;
  zmsg_t* frames = message.release();
  const int result = zmsg_send(&frames, socket);
  const int code = errno;
  // Null once ZeroMQ has taken it.
  zmsg_destroy(&frames);
  errno = code;
  return result == 0;
}

void drop_frame(zmsg_t* message) {
  zframe_t* frame = zmsg_pop(message);
  zframe_destroy(&frame);
}

// Appends the first `size` bytes of the frame in front and frees it.
void move_frame(zmsg_t* message, util::byte_buffer& block, std::int64_t size) {
  const unique_frame frame(zmsg_pop(message));
  block.append(
      frame_bytes(frame.get()).substr(0, static_cast<std::size_t>(size)));
}

void log_received(const provider_result_header& header, std::size_t size) {
  if (log::LOG_LEVEL < log::level_info) return;
  log::ErrorLog(source, __func__, __LINE__, log::level_info).stream()
      << "Received data provider '" << field_text(header.name) << "' from "
      << field_text(header.hostname) << " (" << size << " bytes)";
}

bool refuse(const std::string& why) {
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream() << why;
  return false;
}

}  // namespace

bool send_provider_result(const provider_result& record, zsock_t* socket) {
  if (!sizes_fit_blocks(record)) return false;
  if (send(message_of(record), socket)) return true;
  const int code = errno;
  std::cerr << "zmsg_send: " << code << "\n";
  return false;
}

bool receive_provider_result(provider_result& record, zsock_t* socket) {
  const unique_message message(zmsg_recv(socket));
  if (message == nullptr) return false;
  return decode_result_message(record, message.get());
}

std::string result_message_fault(zmsg_t* message) {
  if (zmsg_size(message) != frame_count)
    return std::to_string(zmsg_size(message)) + " frames instead of " +
           std::to_string(frame_count);

  const frame_views frames = views_of(message);
  if (frames.header.size() != header_size)
    return "header of " + std::to_string(frames.header.size()) +
           " bytes instead of " + std::to_string(header_size);

  const provider_result_header header = header_in(frames.header);
  std::string fault = api_fault(header);
  if (fault.empty())
    fault = length_fault("stdout", frames.stdout, header.stdout_size);
  if (fault.empty())
    fault = length_fault("stderr", frames.stderr, header.stderr_size);
  if (fault.empty())
    fault = length_fault("node names", frames.nodes_csv, header.nodes_csv_size);
  if (fault.empty() && frames.nodes_csv.find('\0') != frames.nodes_csv.npos)
    fault = "node names with a zero byte";
  return fault;
}

bool decode_result_message(provider_result& record, zmsg_t* message) {
  if (zmsg_size(message) != frame_count)
    return refuse("Unrecognized message format");

  const std::size_t content_size = zmsg_content_size(message);
  const frame_views frames = views_of(message);
  const provider_result_header header = header_or_abort(frames.header);
  if (!holds(frames.stdout, header.stdout_size) ||
      !holds(frames.stderr, header.stderr_size))
    return refuse("Received a provider result whose output is incomplete");

  // From here on only memory can run out, and does so before anything changes.
  // A text ends at its first zero byte.
  std::string nodes_csv(
      frames.nodes_csv.substr(0, frames.nodes_csv.find('\0')));
  record.stdout.free_tail(static_cast<std::size_t>(header.stdout_size));
  record.stderr.free_tail(static_cast<std::size_t>(header.stderr_size));

  record.header = header;
  drop_frame(message);
  move_frame(message, record.stdout, header.stdout_size);
  move_frame(message, record.stderr, header.stderr_size);
  drop_frame(message);
  record.nodes_csv = std::move(nodes_csv);
  log_received(header, content_size);
  return true;
}

}  // namespace zelk
