// The record of one run of one provider: the header and three byte blocks.
//
// A plain value. Whoever fills the blocks sets the three sizes of the header;
// deliveries send and write as many bytes as the sizes say.

#pragma once

#include <string>
#include <string_view>

#include "src/collect/src/provider/result_header.h"
#include "src/common/util/byte_buffer.h"

namespace zelk {

struct provider_result {
  provider_result_header header = {};  // every byte zero
  util::byte_buffer stdout;            // exactly as captured
  util::byte_buffer stderr;
  std::string nodes_csv;  // names, each pair separated by ", "
};

// Copies at most 59 bytes of `id` into the record; the rest of the field is
// zero.
void set_option_id(provider_result& record, std::string_view id);

// Returns whether each size of the header lies within its block, so that as
// many bytes can be read. Otherwise one error record was logged: whoever filled
// the record forgot the sizes.
bool sizes_fit_blocks(const provider_result& record);

// Returns "", or that a received header is of another version than this one.
std::string api_fault(const provider_result_header& header);

// Returns the thirteen-part summary that is logged before delivery. The output
// blocks stand in it byte for byte, so make it only when it will be read.
std::string result_summary(const provider_result& record);

}  // namespace zelk
