// What counts as text.

#pragma once

#include <string_view>

namespace zelk::text {

// Whether `bytes` are UTF-8 in its shortest forms, without surrogates and
// without a zero byte: what any reader may take for text.
bool is_text(std::string_view bytes);

}  // namespace zelk::text
