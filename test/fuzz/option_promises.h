// What every option set keeps to, whatever file it was read from.

#pragma once

#include <string_view>

#include "src/common/preproc/config.h"
#include "test/fuzz/memory_file.h"

namespace zelk {

// Returns whether `text` is any number of NAME='...' and one blank each, with
// nothing of a value outside single quotes but \'.
inline bool is_assignments(std::string_view text) {
  while (!text.empty()) {
    const std::size_t equals = text.find('=');
    if (equals == 0 || equals == text.npos) return false;
    if (text.substr(0, equals).find_first_of(" '\"\\$`;&|\n") != text.npos)
      return false;
    text.remove_prefix(equals + 1);
    while (text.starts_with('\'')) {
      const std::size_t end = text.find('\'', 1);
      if (end == text.npos) return false;
      text.remove_prefix(end + 1);
      if (text.starts_with("\\'")) text.remove_prefix(2);
    }
    if (!text.starts_with(' ')) return false;
    text.remove_prefix(1);
  }
  return true;
}

inline void require_promises(const Config& config) {
  for (const auto& [key, provider] : config.provider_configs) {
    require(!key.empty() && provider);
    for (const auto& set : provider->option_sets) {
      require(!set.option_id.empty() && set.option_id.size() <= 59);
      require(set.timeout >= 0);
      require(set.timeout > 0 || set.scale_type == ScaleType::CONSTANT);
      require(is_assignments(set.option_text));
    }
  }
}

}  // namespace zelk
