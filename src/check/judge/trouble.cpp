#include "src/check/judge/trouble.h"

#include <charconv>

namespace zelk::check {

stable_hash key_of(const hit& what, const run_view& run,
                   const classes& groups) {
  stable_hash key;
  key.add(what.check->id);
  if (what.column != nullptr) {
    key.add(what.what == shape::outlier ? "" : what.column->fact->name);
    key.add(what.column->fact->option);
  } else if (what.provider < run.data().providers.size()) {
    key.add(run.data().providers[what.provider].name);
    key.add(run.data().providers[what.provider].option);
  }
  if (is_common(what.what))
    key.add(what.in_class < groups.list.size()
                ? groups.list[what.in_class].identity
                : "");
  return key;
}

std::uint64_t trouble_key(const hit& what, stable_hash start,
                          const std::string& node) {
  return start.add(is_common(what.what) ? "" : std::string_view(node)).value();
}

std::string in_hexadecimal(std::uint64_t number) {
  constexpr char digits[] = "0123456789abcdef";
  std::string result(16, '0');
  for (std::size_t i = result.size(); i-- > 0; number >>= 4)
    result[i] = digits[number & 15];
  return result;
}

std::uint64_t from_hexadecimal(std::string_view text) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number, 16);
  return read.ec == std::errc() && read.ptr == end ? number : 0;
}

}  // namespace zelk::check
