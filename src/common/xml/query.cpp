#include "src/common/xml/query.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <system_error>

#include <libxml/tree.h>

#include "src/common/str/str.h"

namespace zelk::xml {

namespace {

// What XML takes for white space; form feeds and the like are text.
constexpr std::string_view white_space = " \t\r\n";

const char* chars(const xmlChar* text) {
  return reinterpret_cast<const char*>(text);
}

bool is_element(const xmlNode& node, std::string_view name) {
  return node.type == XML_ELEMENT_NODE && chars(node.name) == name;
}

std::string collapsed(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t begin = text.find_first_not_of(white_space, at);
    if (begin == text.npos) break;
    at = std::min(text.find_first_of(white_space, begin), text.size());
    if (!result.empty()) result += ' ';
    result += text.substr(begin, at - begin);
  }
  return result;
}

}  // namespace

std::vector<const xmlNode*> children(const xmlNode* parent,
                                     std::string_view name) {
  std::vector<const xmlNode*> found;
  if (parent == nullptr) return found;
  for (const xmlNode* node = parent->children; node; node = node->next)
    if (is_element(*node, name)) found.push_back(node);
  return found;
}

const xmlNode* child(const xmlNode* parent, std::string_view name) {
  if (parent == nullptr) return nullptr;
  const xmlNode* node = parent->children;
  while (node != nullptr && !is_element(*node, name))
    node = node->next;
  return node;
}

const xmlNode* root(const xmlDoc& document) {
  return xmlDocGetRootElement(&document);
}

std::string content(const xmlNode& element) {
  std::string text;
  for (const xmlNode* node = element.children; node; node = node->next)
    if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE)
      text += chars(node->content);
  return text;
}

std::optional<std::string> attribute(const xmlNode* element,
                                     const std::string& name) {
  if (element == nullptr) return std::nullopt;
  const std::unique_ptr<xmlChar, void (*)(void*)> value(
      xmlGetNoNsProp(element, BAD_CAST name.c_str()), xmlFree);
  if (!value) return std::nullopt;
  return collapsed(chars(value.get()));
}

std::optional<std::int64_t> whole_number(std::string_view text) {
  const std::string stripped = str::strip(text, white_space);
  const char* begin = stripped.data();
  const char* const end = begin + stripped.size();
  if (stripped.starts_with("+") && !stripped.starts_with("+-")) ++begin;
  std::int64_t value = 0;
  const auto [stopped_at, fault] = std::from_chars(begin, end, value);
  if (fault != std::errc() || stopped_at != end) return std::nullopt;
  return value;
}

long line_of(const xmlNode& element) {
  const auto kept = reinterpret_cast<std::intptr_t>(element._private);
  return kept != 0 ? static_cast<long>(kept) : xmlGetLineNo(&element);
}

void set_line(xmlNode& element, long line) {
  // A number in a pointer's place: the word is free for the application, and
  // nobody follows it.
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  element._private = reinterpret_cast<void*>(static_cast<std::intptr_t>(line));
}

}  // namespace zelk::xml
