#include "src/common/str/str.h"

#include <algorithm>

namespace zelk::str {

namespace {

constexpr std::string_view white_space = " \t\n\r\v\f";

// toupper(3) asks the locale, and a site's locale must not decide which file
// name a provider gets.
char ascii_upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

}  // namespace

std::string basename(std::string_view path) {
  // npos + 1 is 0: a path without a slash is taken whole.
  return std::string(path.substr(path.rfind('/') + 1));
}

std::string dirname(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  if (slash == path.npos) return ".";
  if (slash == 0) return "/";
  return std::string(path.substr(0, slash));
}

std::string upper(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), ascii_upper);
  return result;
}

std::string replace(std::string_view text, std::string_view token,
                    std::string_view replacement) {
  if (token.empty()) return std::string(text);

  std::string result;
  std::size_t begin = 0;
  for (;;) {
    const std::size_t found = text.find(token, begin);
    result += text.substr(begin, found - begin);
    if (found == text.npos) return result;
    result += replacement;
    begin = found + token.size();
  }
}

std::vector<std::string> split(std::string_view text, char separator,
                               bool drop_empty) {
  std::vector<std::string> fields;
  std::size_t begin = 0;
  for (;;) {
    const std::size_t end = std::min(text.find(separator, begin), text.size());
    if (end > begin || !drop_empty)
      fields.emplace_back(text.substr(begin, end - begin));
    if (end == text.size()) return fields;
    begin = end + 1;
  }
}

std::string strip(std::string_view text, std::string_view characters) {
  if (characters.empty()) characters = white_space;

  const std::size_t first = text.find_first_not_of(characters);
  if (first == text.npos) return {};
  const std::size_t last = text.find_last_not_of(characters);
  return std::string(text.substr(first, last - first + 1));
}

}  // namespace zelk::str
