#include "src/common/xml/complaint.h"

#include <algorithm>

#include "src/common/log/error_log.h"

namespace zelk::xml {

namespace {

constexpr char source[] = "src/common/xml/complaint";

bool moves_the_cursor(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < ' ' || byte == 0x7f;
}

// A cut in the middle of a character would leave bytes that are not UTF-8.
std::size_t character_start(std::string_view text, std::size_t at) {
  while (at > 0 && (static_cast<unsigned char>(text[at]) & 0xc0) == 0x80)
    --at;
  return at;
}

}  // namespace

void complain(const std::string& path, const complaint& fault) {
  log::ErrorLog record(source, __func__, __LINE__, log::level_error);
  record.stream() << path;
  if (fault.line > 0) record.stream() << ':' << fault.line;
  record.stream() << ": " << fault.text;
}

std::string excerpt(std::string_view text, std::size_t bytes) {
  std::string result(text.substr(0, bytes));
  if (text.size() > bytes) {
    result.resize(character_start(text, bytes));
    result += "...";
  }
  std::replace_if(result.begin(), result.end(), moves_the_cursor, '?');
  return result;
}

}  // namespace zelk::xml
