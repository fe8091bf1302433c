#include "src/check/report/phrases.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "src/common/node/tokenized_host.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

bool is_one_of(char c, std::string_view others) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         (c >= '0' && c <= '9') || others.find(c) != std::string_view::npos;
}

bool is_continuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

constexpr std::size_t most_odd_names = 8;
constexpr std::size_t most_of_a_name = 80;  // characters

// In quotes, with none inside: what is copied is one word to a shell.
std::string odd_name(const std::string& name) {
  std::string shown = "'";
  for (const char c : excerpt_of(name, most_of_a_name))
    shown += c == '\'' ? std::string("\\x27") : std::string(1, c);
  return shown + "'";
}

std::string value_words(const std::string& value) {
  constexpr std::size_t most = 40;
  return value.empty() ? "nothing" : excerpt_of(value, most);
}

std::string without_trailing_zeros(std::string digits) {
  if (digits.find('.') == std::string::npos) return digits;
  digits.erase(digits.find_last_not_of('0') + 1);
  if (digits.back() == '.') digits.pop_back();
  return digits == "-0" ? "0" : digits;
}

}  // namespace

std::string node_set_text(const std::vector<std::string>& nodes) {
  const names_apart names = apart(nodes);
  std::string result = TokenizedHost::get_merged_hosts(names.fit);
  const std::size_t shown = std::min(names.odd.size(), most_odd_names);
  for (std::size_t i = 0; i < shown; ++i)
    result += (result.empty() ? "" : ",") + odd_name(names.odd[i]);
  if (shown < names.odd.size())
    result += fmt::format(" and {} more", names.odd.size() - shown);
  return result;
}

std::string command_set(const std::vector<std::string>& nodes) {
  return TokenizedHost::get_merged_hosts(apart(nodes).fit);
}

std::string folded_and_counted(const std::vector<std::string>& nodes) {
  return fmt::format("{} ({})", node_set_text(nodes), nodes.size());
}

std::string excerpt_of(std::string_view text, std::size_t most) {
  // A character has at most four bytes: what lies behind is not looked at.
  std::string_view head = text.substr(0, std::min(text.size(), 4 * most + 4));
  while (head.size() < text.size() && is_continuation(text[head.size()]))
    head.remove_suffix(1);
  std::string visible = text::visible_text(head);
  std::size_t characters = 0;
  for (std::size_t i = 0; i < visible.size(); ++i) {
    if (is_continuation(visible[i]) || ++characters <= most) continue;
    return visible.substr(0, i) + "...";
  }
  if (head.size() < text.size()) visible += "...";
  return visible;
}

std::string shortest_number(double value) {
  return fmt::format("{}", value);
}

std::optional<std::string> plain_number(double value) {
  constexpr double most = 1e30;
  if (!std::isfinite(value) || std::abs(value) > most) return {};
  if (std::abs(value) >= 1e15) return fmt::format("{:.0f}", value);
  const std::string shortest = shortest_number(value);
  if (shortest.find('e') == std::string::npos)
    return without_trailing_zeros(shortest);
  return without_trailing_zeros(fmt::format("{:.9f}", value));
}

std::string age_words(std::int64_t usec) {
  struct step {
    std::int64_t seconds;
    const char* word;
  };
  constexpr std::array<step, 4> steps = {
      {{86400, "days"}, {3600, "h"}, {60, "min"}, {1, "s"}}};
  const std::int64_t seconds = usec / text::usec_per_sec;
  for (const step& each : steps) {
    // "36 h" tells more than "1 days".
    const std::int64_t least = each.seconds == 86400 ? 2 : 1;
    if (seconds >= least * each.seconds)
      return fmt::format("{} {}", seconds / each.seconds, each.word);
  }
  return "0 s";
}

std::optional<std::string> machine_time(std::int64_t usec) {
  constexpr std::int64_t first = -62'135'596'800;  // year 1, in seconds
  constexpr std::int64_t last = 253'402'300'799;   // year 9999
  const std::int64_t seconds = usec / text::usec_per_sec;
  if (seconds <= first || seconds > last) return {};
  return text::utc_time(usec);
}

std::string shell_word(std::string_view text) {
  const auto harmless = [](char c) { return is_one_of(c, "_./:=@%+,-"); };
  if (!text.empty() && std::all_of(text.begin(), text.end(), harmless))
    return std::string(text);
  std::string quoted = "'";
  for (const char c : text)
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string left_out_words(std::size_t names) {
  return names == 1
             ? "1 name that no command can take is left out"
             : fmt::format("{} names that no command can take are left out",
                           names);
}

bool is_change(const finding& found) {
  return found.is_of_change && found.level == severity::informational &&
         !found.values.empty();
}

bool is_gap(const finding& found) {
  constexpr std::array<std::string_view, 8> checks = {
      "no-answer",  "timeout", "failed",       "incomplete",
      "unreadable", "stale",   "tool-missing", "no-permission"};
  return std::find(checks.begin(), checks.end(), found.check) != checks.end();
}

std::optional<std::string> common_change(const finding& found) {
  if (!is_change(found)) return {};
  const node_value& first = found.values.front();
  for (const node_value& value : found.values)
    if (value.value != first.value || value.before != first.before) return {};
  return fmt::format("{} -> {}", value_words(first.before),
                     value_words(first.value));
}

std::string acceptance_words(const finding& found) {
  constexpr std::size_t most_reason = 200, most_who = 60;  // characters
  if (!found.accepted) return "";
  std::string text = excerpt_of(found.accepted->reason, most_reason);
  if (!found.accepted->who.empty())
    text += ", " + excerpt_of(found.accepted->who, most_who);
  if (found.accepted->until_usec != 0)
    text +=
        ", until " + text::local_time(found.accepted->until_usec).substr(0, 10);
  return text;
}

const char* words_for(answer what) {
  switch (what) {
    case answer::ok:
      return "ok";
    case answer::not_applicable:
      return "not applicable";
    case answer::tool_missing:
      return "tool missing";
    case answer::no_permission:
      return "no permission";
    case answer::incomplete:
      return "incomplete";
    case answer::failed:
      return "failed";
    case answer::timed_out:
      return "timed out";
    case answer::missing:
      return "no answer";
    case answer::not_expected:
      return "not required";
  }
  return "";
}

std::string value_with_unit(std::string_view value, std::string_view unit) {
  constexpr std::size_t most = 60;
  std::string result = excerpt_of(value, most);
  if (!unit.empty() && unit != "count" && !result.empty())
    result += " " + excerpt_of(unit, 12);
  return result;
}

}  // namespace zelk::check
