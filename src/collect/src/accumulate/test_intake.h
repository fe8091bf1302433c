// Test support: what peers put on the wire, byte by byte.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/accumulate/test_store.h"

namespace zelk::accumulate {

using lines = std::vector<std::string>;
using frame_list = std::vector<std::string>;

inline frame_list frames_of(const provider_result& record) {
  return {std::string(image_of(record.header)),
          std::string(record.stdout.view()), std::string(record.stderr.view()),
          record.nodes_csv};
}

// The greeting and introduction of a peer that pushes.
inline std::string greeting() {
  return "\xff" + std::string(8, '\0') + "\x7f\x03\x01NULL" +
         std::string(48, '\0');
}
inline std::string command(const std::string& body) {
  return std::string{'\x04', static_cast<char>(body.size())} + body;
}
inline std::string introduction(const std::string& type = "PUSH") {
  return command("\x05READY\x0bSocket-Type" + std::string(3, '\0') +
                 static_cast<char>(type.size()) + type);
}

// One frame, with the long form of the length where asked for or needed.
inline std::string frame(std::string_view body, bool more,
                         bool long_form = false) {
  std::string bytes;
  if (body.size() > 255 || long_form) {
    bytes += static_cast<char>((more ? 1 : 0) | 2);
    for (int shift = 56; shift >= 0; shift -= 8)
      bytes += static_cast<char>(body.size() >> shift);
  } else {
    bytes += static_cast<char>(more ? 1 : 0);
    bytes += static_cast<char>(body.size());
  }
  return bytes.append(body);
}

inline std::string message(const frame_list& frames) {
  std::string bytes;
  for (std::size_t i = 0; i < frames.size(); ++i)
    bytes += frame(frames[i], i + 1 < frames.size());
  return bytes;
}
inline std::string message(const provider_result& record) {
  return message(frames_of(record));
}

}  // namespace zelk::accumulate
