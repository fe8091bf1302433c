#include "src/check/input/answers.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string_view>
#include <vector>

#include "src/collect/src/utils/scale_timeout.h"
#include "src/common/str/str.h"
#include "src/common/text/utf8.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

using reading::stored_result;

// Exit statuses of a provider (zelk-provider(5)).
constexpr int status_not_applicable = 80;
constexpr int status_tool_missing = 81;
constexpr int status_no_permission = 82;
constexpr int status_incomplete = 83;
// What the worker records.
constexpr int status_not_started = -2;
constexpr int status_timed_out = 124;
constexpr int status_unknown = 125;
constexpr int first_signal = 128;

// The shell's own.
constexpr int status_not_executable = 126;
constexpr int status_not_found = 127;

// The option set of a provider that has none.
constexpr char no_option[] = "None";

constexpr std::size_t longest_reason = 200;  // bytes

answer kind_of(int status) {
  static const std::map<int, answer> kinds = {
      {0, answer::ok},
      {status_not_applicable, answer::not_applicable},
      {status_tool_missing, answer::tool_missing},
      {status_no_permission, answer::no_permission},
      {status_incomplete, answer::incomplete},
      {status_timed_out, answer::timed_out},
  };
  const auto known = kinds.find(status);
  return known == kinds.end() ? answer::failed : known->second;
}

// A monitoring plugin says with its status how things are, not how it fared.
answer kind_of(const stored_result& result,
               std::optional<facts::outcome> read) {
  const answer kind = kind_of(result.exit_status);
  const bool understood = read == facts::outcome::read;
  return kind == answer::failed && understood ? answer::ok : kind;
}

std::string ending_of(int status) {
  if (status == status_not_started) return "could not be started";
  if (status == status_unknown) return "ended in an unknown way";
  if (status == status_not_executable) return "could not be executed";
  if (status == status_not_found) return "command not found";
  if (status > first_signal)
    return fmt::format("ended by signal {}", status - first_signal);
  return fmt::format("ended with status {}", status);
}

// "net_links.sh: incomplete: files of /sys/class/net" says what and why; the
// answer itself says the first two.
std::string without_prefix(const std::string& line) {
  for (const std::string_view word : {"not applicable: ", "incomplete: ",
                                      "no permission: ", "tool missing: "}) {
    const std::size_t found = line.find(word);
    if (found != line.npos) return line.substr(found + word.size());
  }
  return line;
}

std::string shortened(std::string text) {
  if (text.size() <= longest_reason) return text;
  std::size_t end = longest_reason;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U)
    --end;
  return text.substr(0, end) + "...";
}

std::string reason_of(answer kind, const stored_result& result,
                      const std::string& error_line) {
  const std::string line = readable(error_line);
  switch (kind) {
    case answer::ok:
      return "";
    case answer::timed_out:
      return fmt::format("stopped after {:.0f} s",
                         std::max(result.duration, 0.0));
    case answer::failed:
      return ending_of(result.exit_status) + (line.empty() ? "" : ": " + line);
    default:
      return without_prefix(line);
  }
}

// The value of the last --timeout that zelk-collect was given; "" when there is
// none, or when it may be a word of a note: words are parted by blanks, as they
// are stored.
std::string typed_timeout(const std::string& command_line) {
  constexpr std::string_view option = "--timeout";
  std::string found;
  const std::vector<std::string> words = str::split(command_line, ' ');
  if (words.empty() || !words[0].ends_with("zelk-collect")) return "";
  for (std::size_t i = 1; i < words.size(); ++i) {
    if (words[i] == "--") break;
    if (words[i].starts_with("--note") || words[i].starts_with("--label"))
      return "";
    if (words[i] == option && i + 1 < words.size()) found = words[i + 1];
    if (words[i].starts_with(std::string(option) + "="))
      found = words[i].substr(option.size() + 1);
  }
  const bool is_number =
      found.find_first_not_of("0123456789") == found.npos && found.size() < 8;
  return is_number ? found : "";
}

}  // namespace

std::string limit_words(const std::string& command_line,
                        const std::string& provider,
                        const std::string& option) {
  const std::string typed = typed_timeout(command_line);
  if (!typed.empty())
    return "the limit set by --timeout " + typed + " of zelk-collect" +
           (std::stoll(typed) < least_timeout_sec
                ? ", which is never less than " +
                      std::to_string(least_timeout_sec) + " s"
                : "");
  const bool has_options = !option.empty() && option != no_option;
  return "the limit set by <timeout> in " + provider + ".xml or, over it, " +
         (has_options ? "of option '" + option + "' in zelk.xml"
                      : "in zelk.xml");
}

bool explains_itself(const stored_result& result) {
  const answer kind = kind_of(result.exit_status);
  return kind != answer::ok && kind != answer::timed_out;
}

provider_answer answer_of(const stored_result& result,
                          std::optional<facts::outcome> read,
                          const std::string& error_line) {
  provider_answer made;
  made.what = kind_of(result, read);
  made.exit_status = result.exit_status;
  made.reason = shortened(reason_of(made.what, result, error_line));
  made.ended_usec = result.ended_usec;
  made.duration = result.duration;
  return made;
}

std::string readable(std::string_view text) {
  return text::is_text(text) ? std::string(text) : text::visible_text(text);
}

}  // namespace zelk::check
