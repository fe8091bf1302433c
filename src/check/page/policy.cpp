#include "src/check/page/policy.h"

#include <cstdint>

#include "src/collect/src/accumulate/sha256.h"

namespace zelk::check::html {

namespace {

constexpr char digits[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Three bytes, or what is left of them, as four digits.
void append_quad(std::string& out, std::string_view bytes) {
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i < 3; ++i)
    bits = bits << 8 |
           (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U);
  for (std::size_t i = 0; i < 4; ++i)
    out += i <= bytes.size() ? digits[bits >> (18 - 6 * i) & 0x3fU] : '=';
}

bool is_picture(std::string_view type) {
  return type == "image/png" || type == "image/svg+xml" ||
         type == "image/jpeg" || type == "image/webp" || type == "image/gif";
}

std::string sources(std::string_view text, bool beside) {
  if (text.empty()) return "'none'";
  return beside ? "'self'" : '\'' + content_hash(text) + '\'';
}

}  // namespace

std::string base64(std::string_view bytes) {
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t at = 0; at < bytes.size(); at += 3)
    append_quad(out, bytes.substr(at, 3));
  return out;
}

std::string content_hash(std::string_view text) {
  accumulate::sha256 hash;
  const accumulate::digest value = hash({text});
  return "sha256-" + base64(accumulate::bytes_of(value));
}

std::string data_address(std::string_view media_type, std::string_view bytes) {
  std::string out = "data:";
  out += is_picture(media_type) ? media_type : "application/octet-stream";
  return out + ";base64," + base64(bytes);
}

std::string content_policy(std::string_view style, std::string_view script,
                           bool beside) {
  return "default-src 'none'; style-src " + sources(style, beside) +
         "; script-src " + sources(script, beside) +
         "; img-src data:; base-uri 'none'; form-action 'none'";
}

}  // namespace zelk::check::html
