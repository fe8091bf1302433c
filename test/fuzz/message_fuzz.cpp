// Messages from a stranger: what the check lets pass must be decoded whole, and
// what it does not must neither be read past its end nor change the record.
//
// Input: the number of frames, then for each but the last a length of two
// bytes, the lower first, and the content; the last one is the rest.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string_view>

#include <czmq.h>

#include "src/collect/src/provider/message.h"
#include "src/common/log/settings.h"

namespace {

std::string_view taken(std::string_view& rest, std::size_t size) {
  const std::string_view front = rest.substr(0, size);
  rest.remove_prefix(front.size());
  return front;
}

std::size_t number(std::string_view bytes) {
  std::size_t value = 0;
  for (std::size_t i = bytes.size(); i > 0; --i)
    value = value << 8 | static_cast<unsigned char>(bytes[i - 1]);
  return value;
}

zmsg_t* message_from(std::string_view input) {
  zmsg_t* message = zmsg_new();
  const std::size_t frames = number(taken(input, 1)) % 7;
  for (std::size_t i = 1; i <= frames; ++i) {
    const std::size_t size =
        i == frames ? input.size() : number(taken(input, 2));
    const std::string_view frame = taken(input, size);
    zmsg_addmem(message, frame.data(), frame.size());
  }
  return message;
}

bool may_be_decoded(zmsg_t* message) {
  return zmsg_size(message) != 4 || zframe_size(zmsg_first(message)) >=
                                        sizeof(zelk::provider_result_header);
}

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  // Records are built, names and all, and go nowhere.
  zelk::log::LOG_LEVEL = zelk::log::level_info;
  std::cerr.rdbuf(nullptr);
  zmsg_t* message = message_from({reinterpret_cast<const char*>(data), size});
  const bool good = zelk::result_message_fault(message).empty();
  zelk::provider_result record;
  if (may_be_decoded(message)) {
    const bool decoded = zelk::decode_result_message(record, message);
    require(decoded || !good);
    require(decoded || record.stdout.empty());
    require(!good || zelk::sizes_fit_blocks(record));
  } else {
    require(!good);
  }
  zmsg_destroy(&message);
  return 0;
}
