#include "src/common/facts/fact.h"

#include <array>
#include <charconv>

namespace zelk::facts {

std::string_view name_of(value_type type) {
  constexpr const char* names[] = {"text", "integer", "number", "boolean",
                                   "list"};
  return names[static_cast<std::size_t>(type)];
}

std::string_view name_of(better direction) {
  constexpr const char* names[] = {"none", "higher", "lower"};
  return names[static_cast<std::size_t>(direction)];
}

std::string_view name_of(comparison compare) {
  constexpr const char* names[] = {"equal",  "outlier",  "counter",
                                   "unique", "volatile", "state"};
  return names[static_cast<std::size_t>(compare)];
}

std::string text_of(const fact_value& value) {
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  if (const auto* integer = std::get_if<std::int64_t>(&value))
    return std::to_string(*integer);
  if (const auto* truth = std::get_if<bool>(&value))
    return *truth ? "true" : "false";
  std::array<char, 32> digits{};
  const auto [end, fault] = std::to_chars(
      digits.data(), digits.data() + digits.size(), std::get<double>(value));
  return fault == std::errc() ? std::string(digits.data(), end) : "";
}

}  // namespace zelk::facts
