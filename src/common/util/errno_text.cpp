#include "src/common/util/errno_text.h"

#include <cstring>

namespace zelk::util {

std::string errno_text(int code) {
  return "(" + std::to_string(code) + "): " + std::strerror(code);
}

}  // namespace zelk::util
