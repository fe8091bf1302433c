// The parser compares each attribute of an element with all the others: one tag
// of four megabytes would keep it busy for more than ten minutes. So the length
// of every tag is looked at before it is parsed, which leaves seconds at worst.

#include "src/common/xml/byte_checks.h"

#include <algorithm>
#include <cstddef>
#include <string>

namespace zelk::xml {

namespace {

constexpr std::size_t longest_tag_bytes = 8192;  // ours have some 200

long line_at(std::string_view content, std::size_t at) {
  return 1 + std::count(content.begin(),
                        content.begin() + static_cast<std::ptrdiff_t>(at),
                        '\n');
}

// Returns the length of the start tag at the front of `content`: to its '>', or
// to the next '<', which cannot stand in a tag.
std::size_t start_tag_size(std::string_view content) {
  char quote = 0;
  for (std::size_t i = 1; i < content.size(); ++i) {
    const char c = content[i];
    if (c == '<' || (c == '>' && quote == 0)) return i;
    if (c == quote)
      quote = 0;
    else if (quote == 0 && (c == '"' || c == '\''))
      quote = c;
  }
  return content.size();
}

// Returns where the first start tag begins that is too long, or npos. Comments
// and the like are not left out, since a file that is not well-formed could
// make us and the parser disagree on where they end.
std::size_t long_start_tag(std::string_view content) {
  std::size_t at = content.find('<');
  while (at != content.npos) {
    const char next = at + 1 < content.size() ? content[at + 1] : ' ';
    const bool tag =
        std::string_view("!?/ \t\r\n").find(next) == std::string_view::npos;
    if (tag && start_tag_size(content.substr(at)) > longest_tag_bytes)
      return at;
    at = content.find('<', at + 1);
  }
  return content.npos;
}

}  // namespace

std::optional<complaint> fault_of_bytes(std::string_view content) {
  if (content.empty())
    return complaint{1, "expected an XML document, found an empty file"};
  const std::size_t zero = content.find('\0');
  if (zero != content.npos)
    return complaint{line_at(content, zero),
                     "expected UTF-8 text, found a zero byte"};
  const std::size_t tag = long_start_tag(content);
  if (tag != content.npos)
    return complaint{line_at(content, tag),
                     "expected a start tag of at most " +
                         std::to_string(longest_tag_bytes) + " bytes"};
  return std::nullopt;
}

}  // namespace zelk::xml
