#include "src/collect/src/utils/cluster_sizes.h"

#include <cstddef>
#include <cstdlib>

#include "src/common/log/error_log.h"

namespace zelk {

namespace {

constexpr char source[] = "src/collect/src/utils";

std::vector<int> copies(int count, int size) {
  return std::vector<int>(static_cast<std::size_t>(count), size);
}

}  // namespace

std::vector<int> split_cluster_sizes(int total, int size, int minimum) {
  if (size == 0) return {total};
  if (minimum < 1) {
    log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
        << "Invalid minimum cluster size";
    return {};
  }
  // No size could help, and trying all of them may take long.
  if (total < minimum) return {};
  for (int tried = size; tried > minimum; --tried) {
    const std::div_t parts = std::div(total, tried);
    if (parts.rem == 0) return copies(parts.quot, tried);
    if (parts.rem >= minimum) {
      std::vector<int> sizes = copies(parts.quot, tried);
      sizes.push_back(parts.rem);
      return sizes;
    }
  }
  return copies(total / minimum, minimum);
}

}  // namespace zelk
