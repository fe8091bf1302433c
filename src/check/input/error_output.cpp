#include "src/check/input/error_output.h"

#include <algorithm>
#include <string_view>

namespace zelk::check {

namespace {

constexpr std::size_t longest = std::size_t{8} << 10;  // bytes

}  // namespace

error_output::error_output(const datastore::database& base, std::int64_t run)
    : run_(run),
      query_(base,
             "SELECT stderr FROM v_result WHERE run = ?1 AND node = ?2 AND "
             "provider = ?3 AND (?4 = '' OR option_id = ?4) "
             "ORDER BY ended_usec DESC, result DESC LIMIT 1") {}

std::string error_output::of(const std::string& node,
                             const std::string& provider) {
  const std::size_t slash = provider.find('/');
  const std::string name = provider.substr(0, slash);
  const std::string option =
      slash == provider.npos ? "" : provider.substr(slash + 1);
  query_.reset();
  query_.bind(1, run_).bind_bytes(2, node).bind_bytes(3, name).bind_bytes(
      4, option);
  std::string text;
  if (query_.step()) {
    const std::string_view all = query_.bytes(0);
    text = all.substr(all.size() - std::min(all.size(), longest));
  }
  query_.reset();
  return text;
}

}  // namespace zelk::check
