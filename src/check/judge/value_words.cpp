#include "src/check/judge/value_words.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "src/common/str/str.h"
#include "src/common/text/size_text.h"

namespace zelk::check {

namespace {

// From this many of a unit on, the next one is used.
struct step {
  const char* unit;
  double from;
  const char* next;
  double divisor;
};

constexpr std::array<step, 13> steps = {{
    {"kHz", 1e3, "MHz", 1e3},
    {"MHz", 1e3, "GHz", 1e3},
    {"Hz", 1e3, "kHz", 1e3},
    {"MB/s", 1e4, "GB/s", 1e3},
    {"Mbit/s", 1e3, "Gbit/s", 1e3},
    {"ns", 1e3, "us", 1e3},
    {"us", 1e3, "ms", 1e3},
    {"ms", 1e3, "s", 1e3},
    {"s", 7200, "h", 3600},
    {"h", 96, "d", 24},
    {"GFLOP/s", 1e4, "TFLOP/s", 1e3},
    {"KB/s", 1e4, "MB/s", 1e3},
    {"mW", 1e4, "W", 1e3},
}};

constexpr std::array<step, 2> small_steps = {{
    {"s", 1, "ms", 1e-3},
    {"ms", 1, "us", 1e-3},
}};

double bytes_in(std::string_view unit) {
  constexpr double k = 1024;
  if (unit == "B") return 1;
  if (unit == "KiB") return k;
  if (unit == "MiB") return k * k;
  if (unit == "GiB") return k * k * k;
  return 0;
}

std::string in_unit(double number, std::string unit) {
  for (const step& each : small_steps)
    if (unit == each.unit && number != 0 && std::abs(number) < each.from) {
      number /= each.divisor;
      unit = each.next;
    }
  for (bool again = true; again;) {
    again = false;
    for (const step& each : steps)
      if (unit == each.unit && std::abs(number) >= each.from) {
        number /= each.divisor;
        unit = each.next;
        again = true;
      }
  }
  if (unit.empty() || unit == "count") return number_words(number);
  return number_words(number) + ' ' + unit;
}

bool is_continuation(char c) {
  return (static_cast<unsigned char>(c) & 0xc0) == 0x80;
}

std::string joined(const std::vector<std::string_view>& words) {
  std::string result;
  for (const std::string_view word : words) {
    if (!result.empty()) result += ", ";
    result += word;
  }
  return result;
}

std::string exact_words(const fact_column& fact, double number) {
  char buffer[64];
  const auto written =
      std::to_chars(std::begin(buffer), std::end(buffer), number);
  std::string result(std::begin(buffer), written.ptr);
  const std::string& unit = fact.traits.unit;
  return unit.empty() || unit == "count" ? result : result + ' ' + unit;
}

std::vector<std::string_view> lines_of(std::string_view text) {
  std::vector<std::string_view> result;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    result.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return result;
}

}  // namespace

std::string number_words(double number) {
  char buffer[64];
  constexpr double exact = 1e15, tiny = 1e-9;
  const double size = std::abs(number);
  if (number != 0 && (size >= exact || size < tiny)) {
    // Nothing that was measured; digits in a row would not help.
    const auto written =
        std::to_chars(std::begin(buffer), std::end(buffer), number,
                      std::chars_format::scientific, 3);
    return {std::begin(buffer), written.ptr};
  }
  int decimals = 0;
  if (number != std::floor(number)) {
    const double magnitude = std::floor(std::log10(size));
    decimals = static_cast<int>(std::clamp(3 - magnitude, 0.0, 12.0));
  }
  const auto written =
      std::to_chars(std::begin(buffer), std::end(buffer), number,
                    std::chars_format::fixed, decimals);
  std::string result(std::begin(buffer), written.ptr);
  if (result.find('.') == result.npos) return result;
  result.erase(result.find_last_not_of('0') + 1);
  if (result.back() == '.') result.pop_back();
  return result;
}

std::string number_words(const fact_column& fact, double number) {
  if (!std::isfinite(number)) return "no number";
  const double bytes = bytes_in(fact.traits.unit) * number;
  constexpr double most = 9e18;
  if (bytes > 0 && bytes < most)
    return str::replace(
        text::size_text(static_cast<std::int64_t>(std::llround(bytes))), ".0 ",
        " ");
  return in_unit(number, fact.traits.unit);
}

std::string clipped(std::string_view text, std::size_t longest) {
  std::string result(text);
  for (std::size_t at = 0; (at = result.find('\n', at)) != result.npos;)
    result.replace(at, 1, ", ");
  if (result.size() <= longest) return result;
  std::size_t end = longest - 3;
  while (end > 0 && is_continuation(result[end]))
    --end;
  result.resize(end);
  return result + "...";
}

std::string value_words(const run_view& run, const fact_column& fact,
                        std::uint32_t value) {
  if (value == absent_value) return "none";
  if (value == unknown_value) return "unknown";
  const double number = run.number(value);
  const bool is_number = fact.traits.type == facts::value_type::integer ||
                         fact.traits.type == facts::value_type::number;
  if (is_number && !std::isnan(number)) return number_words(fact, number);
  const std::string& text = run.text(value);
  return text.empty() ? "nothing" : clipped(text);
}

std::string range_words(const fact_column& fact, const range& allowed,
                        bool exactly) {
  const auto words = [&](double number) {
    return exactly ? exact_words(fact, number) : number_words(fact, number);
  };
  const bool from_any = std::isinf(allowed.start);
  const bool to_any = std::isinf(allowed.end);
  if (from_any && to_any) return allowed.inverted ? "no number" : "any number";
  if (allowed.inverted) {
    if (from_any) return "above " + words(allowed.end);
    if (to_any) return "below " + words(allowed.start);
    return "below " + words(allowed.start) + " or above " + words(allowed.end);
  }
  if (from_any) return "at most " + words(allowed.end);
  if (to_any) return "at least " + words(allowed.start);
  if (allowed.start == allowed.end) return "exactly " + words(allowed.end);
  return words(allowed.start) + " to " + words(allowed.end);
}

std::vector<std::string_view> without(std::string_view other,
                                      std::string_view list) {
  const std::vector<std::string_view> all = lines_of(list);
  const std::vector<std::string_view> known = lines_of(other);
  std::vector<std::string_view> result;
  for (const std::string_view each : all)
    if (!std::binary_search(known.begin(), known.end(), each))
      result.push_back(each);
  return result;
}

std::string list_difference(std::string_view list, std::string_view reference) {
  const auto missing = without(list, reference);
  const auto extra = without(reference, list);
  std::string result;
  if (!missing.empty()) result = "without " + clipped(joined(missing));
  if (!extra.empty()) {
    if (!result.empty()) result += "; ";
    result += "with " + clipped(joined(extra));
  }
  return result;
}

}  // namespace zelk::check
