#include "src/check/page/wording.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <functional>

#include "src/common/text/size_text.h"

namespace zelk::check::html {

namespace {

// Of a name; longer ones are no node's, and get a number instead.
constexpr std::size_t longest_anchor = 256;

constexpr std::int64_t usec_per_minute = 60'000'000;
constexpr std::int64_t minutes_per_hour = 60;
constexpr std::int64_t minutes_per_day = 24 * minutes_per_hour;

// Puts a comma between thousands of the digits in front of any point.
std::string with_commas(std::string digits) {
  const std::size_t start = digits.starts_with('-') ? 1 : 0;
  std::size_t place = std::min(digits.find('.'), digits.size());
  while (place > start + 3) {
    place -= 3;
    digits.insert(place, 1, ',');
  }
  return digits;
}

std::string printed(double value, std::chars_format format, int precision) {
  std::array<char, 400> digits{};
  const auto [end, problem] = std::to_chars(
      digits.data(), digits.data() + digits.size(), value, format, precision);
  return {digits.data(), end};
}

void drop_zeros(std::string& digits) {
  if (digits.find('.') == std::string::npos) return;
  while (digits.back() == '0')
    digits.pop_back();
  if (digits.back() == '.') digits.pop_back();
}

// How many steps of `factor` bring `largest` below one of them.
unit_scale stepped(double largest, double factor, std::size_t first,
                   const std::vector<std::string>& units) {
  unit_scale out{1, units[first]};
  std::size_t at = first;
  while (at + 1 < units.size() && largest / out.divisor >= factor) {
    out.divisor *= factor;
    out.unit = units[++at];
  }
  return out;
}

bool starts_character(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80;
}

bool is_anchor_byte(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9') || byte == '-' || byte == '.';
}

}  // namespace

std::string count_text(std::size_t count) {
  return with_commas(std::to_string(count));
}

std::string count_text(std::size_t count, std::string_view what) {
  std::string out = count_text(count) + ' ';
  out += what;
  if (count != 1) out += 's';
  return out;
}

std::string number_text(double value, int digits) {
  if (!std::isfinite(value)) return "no number";
  const double size = std::fabs(value);
  if (size == 0) return "0";
  if (size >= 1e15 || size < 1e-6)
    return printed(value, std::chars_format::general, digits);
  const int before = static_cast<int>(std::floor(std::log10(size))) + 1;
  std::string out =
      printed(value, std::chars_format::fixed, std::max(0, digits - before));
  drop_zeros(out);
  return with_commas(out == "-0" ? "0" : out);
}

unit_scale scale_for(double largest, std::string_view unit) {
  static const std::vector<std::string> bytes = {"B",   "KiB", "MiB",
                                                 "GiB", "TiB", "PiB"};
  static const std::vector<std::string> hertz = {"Hz", "kHz", "MHz", "GHz"};
  const double size = std::fabs(largest);
  for (const auto& [units, factor] :
       {std::pair{&bytes, 1024.0}, std::pair{&hertz, 1000.0}}) {
    const auto found = std::find(units->begin(), units->end(), unit);
    if (found != units->end())
      return stepped(size, factor,
                     static_cast<std::size_t>(found - units->begin()), *units);
  }
  constexpr double seconds_per_hour = 3600;
  constexpr double seconds_per_day = 24 * seconds_per_hour;
  if (unit == "s" && size >= 2 * seconds_per_day) return {seconds_per_day, "d"};
  if (unit == "s" && size >= 2 * seconds_per_hour)
    return {seconds_per_hour, "h"};
  return {1, std::string(shown_unit(unit))};
}

std::string_view shown_unit(std::string_view unit) {
  return unit == "count" ? std::string_view() : unit;
}

std::string_view unit_behind(std::string_view value, std::string_view unit) {
  return number_of(value) ? shown_unit(unit) : std::string_view();
}

std::string quantity_text(double value, std::string_view unit) {
  const unit_scale scale = scale_for(value, unit);
  std::string out = number_text(value / scale.divisor);
  if (!scale.unit.empty()) out += ' ' + scale.unit;
  return out;
}

std::optional<double> number_of(std::string_view text) {
  double value = 0;
  const char* end = text.data() + text.size();
  const auto [stopped, problem] = std::from_chars(text.data(), end, value);
  if (problem != std::errc() || stopped != end || !std::isfinite(value))
    return std::nullopt;
  return value;
}

std::string age_text(std::int64_t then_usec, std::int64_t now_usec) {
  if (then_usec <= 0 || now_usec <= 0) return "";
  const std::int64_t minutes = (now_usec - then_usec) / usec_per_minute;
  if (minutes < 0) return "in the future";
  if (minutes < 2) return "just now";
  if (minutes < 2 * minutes_per_hour)
    return std::to_string(minutes) + " min ago";
  if (minutes < 2 * minutes_per_day)
    return std::to_string(minutes / minutes_per_hour) + " h ago";
  return count_text(static_cast<std::size_t>(minutes / minutes_per_day)) +
         " days ago";
}

std::string clipped(std::string_view text, std::size_t most) {
  if (text.size() <= most) return std::string(text);
  std::size_t end = most;
  while (end > 0 && !starts_character(text[end]))
    --end;
  return std::string(text.substr(0, end)) + "\u2026 (" +
         text::size_text(static_cast<std::int64_t>(text.size())) + " in all)";
}

std::string joined_words(const std::vector<std::string>& words) {
  std::string out;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) out += i + 1 == words.size() ? " and " : ", ";
    out += words[i];
  }
  return out;
}

std::string anchor_of(std::string_view kind, std::string_view name) {
  std::string out(kind);
  out += '-';
  if (name.size() > longest_anchor)
    return out + std::to_string(name.size()) + '-' +
           std::to_string(std::hash<std::string_view>{}(name));
  for (const char byte : name) {
    if (is_anchor_byte(byte)) {
      out += byte;
      continue;
    }
    const auto code = static_cast<unsigned char>(byte);
    out += '_';
    out += "0123456789abcdef"[code >> 4];
    out += "0123456789abcdef"[code & 0xfU];
  }
  return out;
}

}  // namespace zelk::check::html
