#include "src/check/judge/range.h"

#include <charconv>
#include <cmath>

namespace zelk::check {

namespace {

constexpr char expected[] =
    "expected a range [@]START:END, as in 10, 10:, ~:10, 10:20 or @10:20";

// A number that is finite, all of `text`.
std::optional<double> number_of(std::string_view text) {
  double value = 0;
  const char* const end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stopped != end || !std::isfinite(value))
    return std::nullopt;
  return value;
}

bool read_start(std::string_view text, range& result) {
  if (text == "~") return true;
  const auto value = number_of(text);
  result.start = value.value_or(0);
  return value.has_value();
}

bool read_end(std::string_view text, range& result) {
  if (text.empty()) return true;
  const auto value = number_of(text);
  result.end = value.value_or(0);
  return value.has_value();
}

std::string shortest(double value) {
  char buffer[32];
  const auto written =
      std::to_chars(std::begin(buffer), std::end(buffer), value);
  return {std::begin(buffer), written.ptr};
}

}  // namespace

bool range::holds(double value) const {
  if (!std::isfinite(value)) return false;
  return (start <= value && value <= end) != inverted;
}

std::optional<range> read_range(std::string_view text, std::string& problem) {
  range result;
  problem = expected;
  if (!text.empty() && text.front() == '@') {
    result.inverted = true;
    text.remove_prefix(1);
  }
  const std::size_t colon = text.find(':');
  if (colon == text.npos) {
    result.start = 0;
    if (text.empty() || !read_end(text, result)) return std::nullopt;
  } else if (!read_start(text.substr(0, colon), result) ||
             !read_end(text.substr(colon + 1), result)) {
    return std::nullopt;
  }
  if (result.start > result.end) {
    problem = "expected a range whose start is not above its end";
    return std::nullopt;
  }
  problem.clear();
  return result;
}

std::string text_of(const range& what) {
  std::string text = what.inverted ? "@" : "";
  text += std::isinf(what.start) ? "~" : shortest(what.start);
  text += ':';
  if (!std::isinf(what.end)) text += shortest(what.end);
  return text;
}

}  // namespace zelk::check
