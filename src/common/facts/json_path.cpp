#include "src/common/facts/json_path.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <system_error>

namespace zelk::facts {

namespace {

// "[*]", "[12]" or "['a name']" without its brackets.
std::optional<path_step> bracketed(std::string_view inside) {
  path_step step;
  if (inside == "*") {
    step.what = path_step::kind::any_number;
    return step;
  }
  if (inside.size() >= 2 && inside.front() == '\'' && inside.back() == '\'') {
    step.name = inside.substr(1, inside.size() - 2);
    return step;
  }
  step.what = path_step::kind::number;
  const char* const end = inside.data() + inside.size();
  const auto [stopped_at, fault] =
      std::from_chars(inside.data(), end, step.number);
  if (fault != std::errc() || stopped_at != end) return std::nullopt;
  return step;
}

path_step named(std::string_view word) {
  path_step step;
  if (word == "*")
    step.what = path_step::kind::any_name;
  else
    step.name = word;
  return step;
}

// Takes the next step off `text`; nothing when there is none to be seen.
std::optional<path_step> take_step(std::string_view& text, bool first) {
  if (text.starts_with('[')) {
    const bool quoted = text.starts_with("['");
    const std::size_t close = quoted ? text.find("']", 2) : text.find(']');
    if (close == text.npos) return std::nullopt;
    const std::size_t last = quoted ? close + 1 : close;
    auto step = bracketed(text.substr(1, last - 1));
    text.remove_prefix(last + 1);
    return step;
  }
  if (!first) {
    if (!text.starts_with('.')) return std::nullopt;
    text.remove_prefix(1);
  }
  const std::size_t end = std::min(text.find_first_of(".["), text.size());
  if (end == 0) return std::nullopt;
  path_step step = named(text.substr(0, end));
  text.remove_prefix(end);
  return step;
}

}  // namespace

std::string read_json_path(std::string_view text, json_path& path) {
  path.clear();
  while (!text.empty() || path.empty()) {
    const std::size_t left = text.size();
    const auto step = take_step(text, path.empty());
    if (!step)
      return "a path such as devices[*].name, net.*.mtu or list[0]['a b'], "
             "wrong at its last " +
             std::to_string(left) + " bytes";
    path.push_back(*step);
  }
  return "";
}

std::size_t groups_of(const json_path& path) {
  return static_cast<std::size_t>(
      std::count_if(path.begin(), path.end(), [](const path_step& step) {
        return step.what == path_step::kind::any_name ||
               step.what == path_step::kind::any_number;
      }));
}

}  // namespace zelk::facts
