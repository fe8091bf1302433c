#include "src/common/preproc/preproc.h"
#include "src/common/str/str.h"

namespace zelk::preproc {

// Between single quotes a shell takes every byte as it is, the backslash too,
// so the single quote is the only one that has to leave them.
std::string shell_quoted(std::string_view value) {
  return "'" + str::replace(value, "'", "'\\''") + "'";
}

}  // namespace zelk::preproc
