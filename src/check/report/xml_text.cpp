#include "src/check/report/xml_text.h"

#include "src/common/str/str.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

std::string entity_of(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    default:
      return std::string(1, c);
  }
}

}  // namespace

std::string xml_text(std::string_view text) {
  std::string escaped;
  for (const char c : text::visible_text(text))
    escaped += entity_of(c);
  escaped = str::replace(escaped, "\xef\xbf\xbe", "\\ufffe");
  return str::replace(escaped, "\xef\xbf\xbf", "\\uffff");
}

}  // namespace zelk::check
