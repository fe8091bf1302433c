// Where and by whom a result is produced: three text fields of the record.
//
// None of the steps fails the run. Requires: a fresh record, all zero.

#pragma once

#include <string_view>

#include "src/collect/src/provider/result.h"

namespace zelk {

// Copies up to 255 bytes of `text`, given with -H, into `host_arg`.
void set_record_text(provider_result& record, std::string_view text);

// Fills `hostname` by gethostname(2); all zero after an error record.
void set_hostname(provider_result& record);

// Fills `username` by getlogin_r(3) into 9 bytes: a login name over 8 bytes, or
// none, is recorded as "Unknown" with a debug record.
void set_username(provider_result& record);

}  // namespace zelk
