// Base64 with the alphabet of RFC 4648, padded.

#pragma once

#include <string>
#include <string_view>

namespace zelk::reading {

std::string base64_of(std::string_view bytes);

struct base64_bytes {
  std::string bytes;
  std::string problem;  // empty when the text was understood
};

// Decodes `text`; white space anywhere is skipped, the padding may be missing.
// The problem names the byte.
base64_bytes bytes_of_base64(std::string_view text);

}  // namespace zelk::reading
