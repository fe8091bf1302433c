#include "src/common/facts/value.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <system_error>

namespace zelk::facts {

namespace {

constexpr std::size_t excerpt_bytes = 60;

template <typename Number>
std::optional<fact_value> number_of(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  Number value{};
  const char* const end = text.data() + text.size();
  const auto [stopped_at, fault] = std::from_chars(text.data(), end, value);
  if (fault != std::errc() || stopped_at != end) return std::nullopt;
  return value;
}

std::optional<fact_value> finite_number(std::string_view text) {
  std::optional<fact_value> value = number_of<double>(text);
  // "inf" and "nan" are what tools print for "could not be computed".
  if (value && !std::isfinite(std::get<double>(*value))) return std::nullopt;
  return value;
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::optional<fact_value> truth_of(std::string_view text) {
  constexpr const char* yes[] = {"1", "yes", "true", "on", "y", "enabled"};
  constexpr const char* no[] = {"0", "no", "false", "off", "n", "disabled"};
  if (text.size() > 8) return std::nullopt;
  std::string word(text);
  std::transform(word.begin(), word.end(), word.begin(), lower);
  if (std::find(std::begin(yes), std::end(yes), word) != std::end(yes))
    return true;
  if (std::find(std::begin(no), std::end(no), word) != std::end(no))
    return false;
  return std::nullopt;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view white_space = " \t\r\n\v\f";
  const std::size_t begin = text.find_first_not_of(white_space);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(white_space) - begin + 1);
}

std::optional<fact_value> value_of(value_type type, std::string_view text) {
  text = trimmed(text);
  switch (type) {
    case value_type::integer:
      return number_of<std::int64_t>(text);
    case value_type::number:
      return finite_number(text);
    case value_type::boolean:
      return truth_of(text);
    case value_type::text:
    case value_type::list:
      break;
  }
  return std::string(text);
}

std::string_view words_for(value_type type) {
  switch (type) {
    case value_type::integer:
      return "an integer";
    case value_type::number:
      return "a number";
    case value_type::boolean:
      return "yes or no";
    case value_type::text:
    case value_type::list:
      break;
  }
  return "a text";
}

std::string excerpt(std::string_view text) {
  if (text.size() <= excerpt_bytes) return std::string(text);
  std::size_t end = excerpt_bytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
    --end;
  return std::string(text.substr(0, end)) + "...";
}

}  // namespace zelk::facts
