// A provider result as a locked file in a shared directory.
//
// The content is the four frames of the message one behind the other. The
// writer holds an exclusive flock(2) while it writes; a collector takes the
// same lock before it reads.

#pragma once

#include <string>
#include <string_view>

#include "src/collect/src/provider/result.h"

namespace zelk {

// Writes `record` to the file that mkstemp(3) makes of `path_template`, which
// receives the final name. Returns whether all of it was written; otherwise one
// error record was logged and the file removed; a record with a size beyond its
// block makes no file at all. `directory` is not used.
bool write_provider_result_file(const provider_result& record,
                                const char* directory, char* path_template);

// Reads a result file's `content` back into `record`. Returns "", or what is
// wrong: shorter than a header, another `api`, or a length other than its
// header claims. Never reads past `content`, whatever the sizes say.
std::string parse_result_file(std::string_view content,
                              provider_result& record);

}  // namespace zelk
