#include "src/common/preproc/written_facts.h"

#include <libxml/tree.h>

#include "src/common/preproc/fields.h"
#include "src/common/str/str.h"
#include "src/common/xml/document.h"
#include "src/common/xml/query.h"
#include "src/common/xml/xml.h"

namespace zelk::preproc {

namespace {

std::string text_of_attribute(const xmlAttr& attribute) {
  std::string text;
  for (const xmlNode* part = attribute.children; part; part = part->next)
    if (part->content != nullptr)
      text += reinterpret_cast<const char*>(part->content);
  return text;
}

// Two blanks in an expression are not one.
bool is_expression(const std::string& attribute) {
  return attribute == "from" || attribute == "pattern";
}

written_fact read_fact(const xmlNode& element) {
  written_fact fact;
  fact.line = xml::line_of(element);
  for (const xmlAttr* each = element.properties; each; each = each->next) {
    const std::string name = reinterpret_cast<const char*>(each->name);
    fact.attributes[name] = is_expression(name)
                                ? text_of_attribute(*each)
                                : xml::attribute(&element, name).value_or("");
  }
  return fact;
}

void read_facts(const xmlNode* element, written_facts& result) {
  if (element == nullptr) return;
  result.declared = true;
  result.line = xml::line_of(*element);
  result.format = xml::attribute(element, "format").value_or(result.format);
  for (const xmlNode* fact : xml::children(element, "fact"))
    result.facts.push_back(read_fact(*fact));
}

// The file's name up to its extension, as for the worker.
std::string stem_of(const std::string& path) {
  const std::string base = str::basename(path);
  const std::size_t dot = base.rfind('.');
  return dot == base.npos || dot == 0 ? base : base.substr(0, dot);
}

}  // namespace

std::optional<written_facts> read_written_facts(const std::string& path,
                                                const std::string& schema) {
  xmlDoc* opened = nullptr;
  if (!xml::open_and_validate(path, schema, opened)) return std::nullopt;
  const xml::unique_doc document(opened);
  const xmlNode& provider = *xml::root(*document);
  written_facts result;
  result.path = path;
  result.provider = xml::attribute(&provider, "name").value_or(stem_of(path));
  if (!read_number(xml::attribute(&provider, "version"), provider, path,
                   result.version))
    return std::nullopt;
  result.description = text_of(xml::child(&provider, "description"));
  read_facts(xml::child(&provider, "facts"), result);
  return result;
}

}  // namespace zelk::preproc
