#include "src/common/facts/units.h"

#include <cmath>

namespace zelk::facts {

namespace {

struct base_unit {
  std::string_view name;
  std::string_view dimension;
  double factor;
  std::string_view prefixes;  // one character each; 'i': the binary ones
};

constexpr std::string_view large = "kKMGTPE";
constexpr std::string_view binary = "kKMGTPEi";
constexpr std::string_view small = "num";
constexpr std::string_view electric = "umkM";

constexpr base_unit base_units[] = {
    {"count", "count", 1, ""},  {"%", "%", 1, ""},
    {"B", "B", 1, binary},      {"bit", "B", 0.125, binary},
    {"s", "s", 1, small},       {"min", "s", 60, ""},
    {"h", "s", 3600, ""},       {"d", "s", 86'400, ""},
    {"Hz", "Hz", 1, large},     {"°C", "°C", 1, ""},
    {"W", "W", 1, electric},    {"J", "J", 1, electric},
    {"A", "A", 1, electric},    {"V", "V", 1, electric},
    {"dBm", "dBm", 1, ""},      {"rpm", "rpm", 1, ""},
    {"T", "T", 1, large},       {"op", "op", 1, large},
    {"page", "page", 1, ""},    {"packet", "packet", 1, large},
    {"FLOP", "FLOP", 1, large},
};

// 'n' to -3, 'u' to -2, ... 'E' to 6: the power of a thousand, or of 1024.
std::optional<int> power_of(char prefix) {
  switch (prefix) {
    case 'n':
      return -3;
    case 'u':
      return -2;
    case 'm':
      return -1;
    case 'k':
    case 'K':
      return 1;
    default:
      break;
  }
  const std::size_t at = std::string_view("MGTPE").find(prefix);
  if (at == std::string_view::npos) return std::nullopt;
  return static_cast<int>(at) + 2;
}

std::optional<unit> with_prefix(const base_unit& base,
                                std::string_view prefix) {
  const bool is_binary = prefix.size() == 2 && prefix[1] == 'i';
  if (prefix.size() != 1 && !is_binary) return std::nullopt;
  if (base.prefixes.find(prefix[0]) == std::string_view::npos ||
      (is_binary && base.prefixes.find('i') == std::string_view::npos) ||
      (is_binary && prefix[0] == 'k') || prefix[0] == 'i')
    return std::nullopt;
  const std::optional<int> power = power_of(prefix[0]);
  if (!power) return std::nullopt;
  const double thousand = is_binary ? 1024 : 1000;
  return unit{std::string(base.dimension),
              base.factor * std::pow(thousand, *power)};
}

std::optional<unit> simple_unit(std::string_view text) {
  for (const base_unit& base : base_units) {
    if (!text.ends_with(base.name)) continue;
    const std::string_view prefix =
        text.substr(0, text.size() - base.name.size());
    if (prefix.empty()) return unit{std::string(base.dimension), base.factor};
    if (auto found = with_prefix(base, prefix)) return found;
  }
  return std::nullopt;
}

// The sign for micro takes two bytes, and there are two such signs.
std::string with_plain_micro(std::string_view text) {
  for (const std::string_view micro : {"\xc2\xb5", "\xce\xbc"})
    if (text.starts_with(micro))
      return "u" + std::string(text.substr(micro.size()));
  return std::string(text);
}

}  // namespace

std::optional<unit> unit_of(std::string_view text) {
  const std::string plain = with_plain_micro(text);
  const std::size_t slash = plain.find('/');
  std::optional<unit> found = simple_unit(plain.substr(0, slash));
  if (!found || slash == plain.npos) return found;
  const std::optional<unit> below = simple_unit(plain.substr(slash + 1));
  if (!below || (below->dimension != "s" && below->dimension != "op"))
    return std::nullopt;
  return unit{found->dimension + "/" + below->dimension,
              found->factor / below->factor};
}

std::string known_units() {
  std::string list;
  for (const base_unit& base : base_units)
    list += (list.empty() ? "" : " ") + std::string(base.name);
  return list + ", with a prefix as in KiB, MB, us or GHz and with /s or /op";
}

}  // namespace zelk::facts
