#include "src/check/judge/reasons.h"

#include <cctype>
#include <map>

#include "src/check/judge/value_words.h"

namespace zelk::check {

namespace {

constexpr std::size_t longest_reason = 200;  // bytes

bool is_name_byte(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' ||
         c == '_';
}

// n1 does not stand in "n12".
std::string without_name(std::string text, const std::string& name) {
  constexpr std::string_view stand_in = "NODE";
  if (name.empty()) return text;
  for (std::size_t at = 0; (at = text.find(name, at)) != text.npos;) {
    const std::size_t end = at + name.size();
    const bool is_word = (at == 0 || !is_name_byte(text[at - 1])) &&
                         (end == text.size() || !is_name_byte(text[end]));
    if (is_word) text.replace(at, name.size(), stand_in);
    at += is_word ? stand_in.size() : 1;
  }
  return text;
}

}  // namespace

std::string reason_of(const provider_answer& given, const std::string& node) {
  if (!given.reason.empty())
    return clipped(without_name(given.reason, node), longest_reason);
  if (given.what == answer::failed)
    return "exit status " + std::to_string(given.exit_status);
  return "";
}

std::string silence_of(const run_data& data, std::size_t node) {
  std::map<std::string, std::size_t> counted;
  for (const provider_info& each : data.providers)
    if (node < each.answers.size() &&
        each.answers[node].what == answer::missing)
      ++counted[reason_of(each.answers[node], data.nodes[node])];
  std::string result;
  std::size_t most = 0;
  for (const auto& [reason, count] : counted)
    if (!reason.empty() && count > most) {
      result = reason;
      most = count;
    }
  return result;
}

}  // namespace zelk::check
