#include "src/collect/src/collect/limit_text.h"

#include <fmt/format.h>

namespace zelk::collect {

std::string limit_text(const option_set& set, bool typed) {
  const char* origin = "description";
  if (set.timeout_sec > 0) origin = "the provider options";
  if (typed) origin = "--timeout";
  return fmt::format("limit {} s from {}", set.timeout.count(), origin);
}

}  // namespace zelk::collect
