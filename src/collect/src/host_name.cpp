#include "src/collect/src/host_name.h"

#include <unistd.h>

namespace zelk {

std::string host_name() {
  char buffer[256] = {};  // one byte more than is asked for: always terminated
  if (::gethostname(buffer, sizeof buffer - 1) != 0) return {};
  return buffer;
}

}  // namespace zelk
