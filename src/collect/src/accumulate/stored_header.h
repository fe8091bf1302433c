// The header of a stored result: as columns, and back to its 736 bytes.
//
// Nothing here trusts a header: texts may lack terminators, numbers may be
// anything. Pure functions.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "src/collect/src/provider/result_header.h"

namespace zelk::accumulate {

// What is stored of a header. Views point into what it was made from.
struct header_columns {
  std::string_view name;
  std::string_view hostname;
  std::string_view host_arg;
  std::string_view username;
  std::string_view option_id;
  std::int64_t exit_status = 0;
  std::int64_t encoding = 0;
  std::int64_t timestamp = 0;         // seconds since the Unix epoch
  std::int64_t unique_timestamp = 0;  // microseconds since the Unix epoch
  double duration = 0;                // seconds
  std::int64_t num_nodes = 0;
  std::int64_t version = 0;
  std::int64_t stdout_size = 0;
  std::int64_t stderr_size = 0;
  std::int64_t nodes_csv_size = 0;
};

// A time that 64 bits of microseconds cannot hold becomes the nearest they can.
header_columns columns_of(const provider_result_header& header);

// The header that an honest worker would have sent for these columns.
provider_result_header header_of(const header_columns& columns);

// Whether `header_of(columns_of(header))` has other bytes than `header`: then
// the columns are not enough to give the record back as it was.
bool needs_raw_header(const provider_result_header& header,
                      const header_columns& columns);

// Returns the columns as bytes: other bytes for other columns, and never as
// long as a header.
std::string pack(const header_columns& columns);

// "", or why a record of this header and blocks of these lengths cannot be one.
std::string header_fault(const provider_result_header& header,
                         std::size_t stdout_size, std::size_t stderr_size,
                         std::size_t nodes_csv_size);

std::string_view image_of(const provider_result_header& header);

}  // namespace zelk::accumulate
