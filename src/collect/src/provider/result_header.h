// The fixed head of a provider result: a wire format and a file format.
//
// It travels as the raw image of this struct (little-endian, x86-64 Linux ABI):
// the first frame of a message and the first 736 bytes of a result file. It is
// never changed, only superseded under another `api`. A text field may fill its
// array to the last byte and then has no terminator: read it by field_text().

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace zelk {

constexpr std::uint8_t result_api = 1;

struct provider_result_header {
  std::uint8_t api;           // result_api
  std::uint8_t padding_1[3];  // zero, as all padding here
  std::int32_t exit_status;   // as cmd::exit_status
  char name[64];              // at most 63 bytes of the provider's name
  std::int32_t encoding;      // provider::encoding
  std::uint8_t padding_2[4];
  std::int64_t timestamp_sec;   // end of the run, since the Unix epoch
  std::int64_t timestamp_usec;  // 0 to 999999
  double duration;              // seconds
  char hostname[255];
  char host_arg[255];           // text of -H
  char username[10];            // at most 8 bytes, or "Unknown"
  std::int64_t nodes_csv_size;  // bytes
  std::uint16_t num_nodes;
  std::uint8_t padding_3[6];
  std::int64_t stdout_size;   // bytes
  std::int64_t stderr_size;   // bytes
  char option_id[60];         // at most 59 bytes
  std::int32_t version;       // of the provider description
  std::uint8_t reserved[16];  // zero
};

static_assert(std::is_trivially_copyable_v<provider_result_header>);
static_assert(std::is_standard_layout_v<provider_result_header>);
static_assert(offsetof(provider_result_header, api) == 0);
static_assert(offsetof(provider_result_header, exit_status) == 4);
static_assert(offsetof(provider_result_header, name) == 8);
static_assert(offsetof(provider_result_header, encoding) == 72);
static_assert(offsetof(provider_result_header, timestamp_sec) == 80);
static_assert(offsetof(provider_result_header, timestamp_usec) == 88);
static_assert(offsetof(provider_result_header, duration) == 96);
static_assert(offsetof(provider_result_header, hostname) == 104);
static_assert(offsetof(provider_result_header, host_arg) == 359);
static_assert(offsetof(provider_result_header, username) == 614);
static_assert(offsetof(provider_result_header, nodes_csv_size) == 624);
static_assert(offsetof(provider_result_header, num_nodes) == 632);
static_assert(offsetof(provider_result_header, stdout_size) == 640);
static_assert(offsetof(provider_result_header, stderr_size) == 648);
static_assert(offsetof(provider_result_header, option_id) == 656);
static_assert(offsetof(provider_result_header, version) == 716);
static_assert(offsetof(provider_result_header, reserved) == 720);
static_assert(sizeof(provider_result_header) == 736);

// Returns the text of a fixed field: up to its first zero byte, or all of it.
template <std::size_t N>
std::string_view field_text(const char (&field)[N]) {
  return {field, ::strnlen(field, N)};
}

}  // namespace zelk
