#include "src/collect/src/accumulate/stored_header.h"

#include <cstring>
#include <limits>

namespace zelk::accumulate {

namespace {

constexpr std::uint8_t known_api = 1;
constexpr std::int64_t usec_per_sec = 1'000'000;

std::int64_t saturated_usec(std::int64_t sec, std::int64_t usec) {
  std::int64_t result = 0;
  if (!__builtin_mul_overflow(sec, usec_per_sec, &result) &&
      !__builtin_add_overflow(result, usec, &result))
    return result;
  return sec < 0 ? std::numeric_limits<std::int64_t>::min()
                 : std::numeric_limits<std::int64_t>::max();
}

// 0 where the two do not belong together; the raw header is kept then.
std::int64_t usec_part(std::int64_t unique_timestamp, std::int64_t timestamp) {
  std::int64_t usec = 0;
  if (__builtin_mul_overflow(timestamp, usec_per_sec, &usec) ||
      __builtin_sub_overflow(unique_timestamp, usec, &usec))
    return 0;
  return usec;
}

template <std::size_t N>
void fill(char (&field)[N], std::string_view text) {
  text.copy(field, N);
}

// SQLite has no "not a number", and one zero.
double storable(double duration) {
  return duration == 0 || duration != duration ? 0.0 : duration;
}

void put_bytes(std::string& packed, const void* value, std::size_t size) {
  packed.append(static_cast<const char*>(value), size);
}

std::string size_fault(const char* block, std::int64_t claimed,
                       std::size_t size) {
  if (claimed >= 0 && static_cast<std::uint64_t>(claimed) == size) return "";
  return "the header says " + std::to_string(claimed) + " bytes of " + block +
         ", there are " + std::to_string(size);
}

}  // namespace

header_columns columns_of(const provider_result_header& header) {
  header_columns columns;
  columns.name = field_text(header.name);
  columns.hostname = field_text(header.hostname);
  columns.host_arg = field_text(header.host_arg);
  columns.username = field_text(header.username);
  columns.option_id = field_text(header.option_id);
  columns.exit_status = header.exit_status;
  columns.encoding = header.encoding;
  columns.timestamp = header.timestamp_sec;
  columns.unique_timestamp =
      saturated_usec(header.timestamp_sec, header.timestamp_usec);
  columns.duration = storable(header.duration);
  columns.num_nodes = header.num_nodes;
  columns.version = header.version;
  columns.stdout_size = header.stdout_size;
  columns.stderr_size = header.stderr_size;
  columns.nodes_csv_size = header.nodes_csv_size;
  return columns;
}

provider_result_header header_of(const header_columns& columns) {
  provider_result_header header;
  std::memset(&header, 0, sizeof header);
  header.api = known_api;
  header.exit_status = static_cast<std::int32_t>(columns.exit_status);
  fill(header.name, columns.name);
  header.encoding = static_cast<std::int32_t>(columns.encoding);
  header.timestamp_sec = columns.timestamp;
  header.timestamp_usec =
      usec_part(columns.unique_timestamp, columns.timestamp);
  header.duration = columns.duration;
  fill(header.hostname, columns.hostname);
  fill(header.host_arg, columns.host_arg);
  fill(header.username, columns.username);
  header.nodes_csv_size = columns.nodes_csv_size;
  header.num_nodes = static_cast<std::uint16_t>(columns.num_nodes);
  header.stdout_size = columns.stdout_size;
  header.stderr_size = columns.stderr_size;
  fill(header.option_id, columns.option_id);
  header.version = static_cast<std::int32_t>(columns.version);
  return header;
}

bool needs_raw_header(const provider_result_header& header,
                      const header_columns& columns) {
  return image_of(header_of(columns)) != image_of(header);
}

std::string pack(const header_columns& columns) {
  std::string packed;
  packed.reserve(512);
  for (const std::int64_t number :
       {columns.exit_status, columns.encoding, columns.timestamp,
        columns.unique_timestamp, columns.num_nodes, columns.version,
        columns.stdout_size, columns.stderr_size, columns.nodes_csv_size})
    put_bytes(packed, &number, sizeof number);
  put_bytes(packed, &columns.duration, sizeof columns.duration);
  for (const std::string_view text :
       {columns.name, columns.hostname, columns.host_arg, columns.username,
        columns.option_id}) {
    const auto length = static_cast<std::uint8_t>(text.size());
    put_bytes(packed, &length, sizeof length);
    packed += text;
  }
  return packed;
}

std::string header_fault(const provider_result_header& header,
                         std::size_t stdout_size, std::size_t stderr_size,
                         std::size_t nodes_csv_size) {
  if (header.api != known_api)
    return "its format is " + std::to_string(header.api) +
           ", this program knows format " + std::to_string(known_api);
  std::string fault = size_fault("stdout", header.stdout_size, stdout_size);
  if (fault.empty())
    fault = size_fault("stderr", header.stderr_size, stderr_size);
  if (fault.empty())
    fault = size_fault("node names", header.nodes_csv_size, nodes_csv_size);
  return fault;
}

std::string_view image_of(const provider_result_header& header) {
  return {reinterpret_cast<const char*>(&header), sizeof header};
}

}  // namespace zelk::accumulate
