// libxml2 says of a misspelt child "This element is not expected." and of a
// value "not accepted by the pattern '[A-Ya-z_][A-Za-z0-9_]*'". What the writer
// of the file wants to know stands in the schema: which children there are, and
// the documentation of the value's type. So we take from the library the kind
// of the fault and its node, and look the rest up in the schema's own document.
//
// That look-up goes by element name. It relies on a habit of our schemas: a
// name is declared once in a file. A message whose kind is unknown here is
// passed on as the library wrote it.

#include "src/common/xml/schema_words.h"

#include <algorithm>
#include <vector>

#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include "src/common/str/str.h"
#include "src/common/xml/complaint.h"
#include "src/common/xml/query.h"

namespace zelk::xml {

namespace {

constexpr std::string_view white_space = " \t\r\n";

using nodes = std::vector<const xmlNode*>;

std::string text_of(const xmlChar* text) {
  return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

std::string name_of(const xmlNode& node) {
  return text_of(node.name);
}

std::string quoted(std::string_view text) {
  return "'" + excerpt(text) + "'";
}

// The declarations of `kind` that belong to `from` itself, not to the elements
// declared inside it.
void collect(const xmlNode* from, std::string_view kind, nodes& found) {
  for (const xmlNode* node = from->children; node; node = node->next) {
    if (node->type != XML_ELEMENT_NODE) continue;
    if (name_of(*node) == kind) found.push_back(node);
    if (name_of(*node) != "element") collect(node, kind, found);
  }
}

const xmlNode* named(const nodes& declarations, std::string_view name) {
  for (const xmlNode* node : declarations)
    if (attribute(node, "name") == name) return node;
  return nullptr;
}

// Returns the xs:element of that name, at whatever depth.
const xmlNode* element_declaration(const xmlNode* from,
                                   const std::string& name) {
  for (const xmlNode* node = from->children; node; node = node->next) {
    if (node->type != XML_ELEMENT_NODE) continue;
    if (name_of(*node) == "element" && attribute(node, "name") == name)
      return node;
    if (const xmlNode* inside = element_declaration(node, name)) return inside;
  }
  return nullptr;
}

const xmlNode* global_type(const xmlDoc& schema, std::string_view name) {
  nodes types = children(root(schema), "simpleType");
  if (const xmlNode* type = named(types, name)) return type;
  return named(children(root(schema), "complexType"), name);
}

// Returns where the content of element `name` is declared: its named type or
// the declaration itself. Null when the schema does not know the name.
const xmlNode* content_of(const xmlDoc& schema, const std::string& name) {
  const xmlNode* declaration = element_declaration(root(schema), name);
  if (declaration == nullptr) return nullptr;
  const xmlNode* type =
      global_type(schema, attribute(declaration, "type").value_or(""));
  return type != nullptr ? type : declaration;
}

nodes declared(const xmlDoc& schema, const xmlNode& element,
               std::string_view kind) {
  nodes found;
  if (const xmlNode* content = content_of(schema, name_of(element)))
    collect(content, kind, found);
  return found;
}

// Returns "the element 'a'", or "one of the elements a, b".
std::string choice(const char* kind, const nodes& declarations) {
  std::string list;
  for (const xmlNode* node : declarations)
    list += (list.empty() ? "" : ", ") + attribute(node, "name").value_or("?");
  if (declarations.size() == 1)
    return std::string("the ") + kind + " " + quoted(list);
  return std::string("one of the ") + kind + "s " + list;
}

std::string documentation(const xmlNode* declaration) {
  const xmlNode* text =
      child(child(declaration, "annotation"), "documentation");
  return text == nullptr ? "" : content(*text);
}

std::string found_element(const xmlNode& node) {
  if (node.ns == nullptr) return quoted(name_of(node));
  return quoted("{" + text_of(node.ns->href) + "}" + name_of(node));
}

const xmlNode* first_child_element(const xmlNode& node) {
  const xmlNode* inside = node.children;
  while (inside != nullptr && inside->type != XML_ELEMENT_NODE)
    inside = inside->next;
  return inside;
}

// Returns the first text in `node` that is more than white space, or null.
const xmlNode* first_text(const xmlNode& node) {
  for (const xmlNode* inside = node.children; inside; inside = inside->next) {
    const bool text =
        inside->type == XML_TEXT_NODE || inside->type == XML_CDATA_SECTION_NODE;
    if (text && !str::strip(text_of(inside->content), white_space).empty())
      return inside;
  }
  return nullptr;
}

bool is_missing_child(const xmlError& error) {
  return first_words(error).find("Missing child element") != std::string::npos;
}

std::string unexpected_child(const xmlNode& node, const xmlDoc& schema) {
  const xmlNode& parent = *node.parent;
  const nodes known = declared(schema, parent, "element");
  const std::string place = quoted(name_of(parent));
  if (known.empty())
    return "expected no element in " + place + "; found " + found_element(node);
  if (node.ns == nullptr && named(known, name_of(node)) != nullptr)
    return "expected " + found_element(node) + " only once in " + place;
  return "expected in " + place + " " + choice("element", known) + "; found " +
         found_element(node);
}

std::string missing_child(const xmlNode& parent, const xmlDoc& schema) {
  nodes missing;
  for (const xmlNode* known : declared(schema, parent, "element"))
    if (attribute(known, "minOccurs") != "0" &&
        child(&parent, attribute(known, "name").value_or("")) == nullptr)
      missing.push_back(known);
  return "expected in " + quoted(name_of(parent)) + " " +
         choice("element", missing);
}

std::string unknown_attribute(const xmlError& error, const xmlNode& element,
                              const xmlDoc& schema) {
  const nodes known = declared(schema, element, "attribute");
  const std::string place = quoted(name_of(element));
  const std::string found = error.str1 == nullptr ? "" : error.str1;
  if (known.empty())
    return "expected no attribute in " + place + "; found " + quoted(found);
  return "expected in " + place + " " + choice("attribute", known) +
         "; found " + quoted(found);
}

std::string missing_attribute(const xmlError& error, const xmlNode& element) {
  return "expected in " + quoted(name_of(element)) + " the attribute " +
         quoted(error.str1 == nullptr ? "" : error.str1);
}

std::string misplaced_text(const xmlNode& element, const xmlDoc& schema) {
  const bool empty = declared(schema, element, "element").empty();
  const xmlNode* text = first_text(element);
  return std::string("expected ") + (empty ? "nothing" : "only elements") +
         " in " + quoted(name_of(element)) + "; found the text " +
         quoted(text == nullptr
                    ? ""
                    : str::strip(text_of(text->content), white_space));
}

// Whether all that may stand in the element is white space: the schema says so
// by a type of that name.
bool holds_nothing(const xmlNode& element, const xmlDoc& schema) {
  const nodes bases = declared(schema, element, "extension");
  return bases.size() == 1 && attribute(bases.front(), "base") == "nothing";
}

std::string misplaced_element(const xmlNode& element, const xmlDoc& schema) {
  const xmlNode* inside = first_child_element(element);
  const bool empty = holds_nothing(element, schema);
  return std::string(empty ? "expected no element in "
                           : "expected only text in ") +
         quoted(name_of(element)) + "; found " +
         (inside == nullptr ? "an element" : found_element(*inside));
}

std::string repeated_key(const xmlNode& element, const xmlDoc& schema) {
  const xmlNode* parent = element_declaration(
      root(schema), element.parent ? name_of(*element.parent) : "");
  for (const xmlNode* rule : children(parent, "unique")) {
    if (attribute(child(rule, "selector"), "xpath") != name_of(element))
      continue;
    const std::string field =
        attribute(child(rule, "field"), "xpath").value_or("@");
    return "expected in " + quoted(name_of(element)) + ": " +
           documentation(rule) + "; found " +
           quoted(attribute(&element, field.substr(1)).value_or("")) + " again";
  }
  return "";
}

std::string wrong_root(const xmlNode& element, const xmlDoc& schema) {
  return "expected at the root " +
         choice("element", children(root(schema), "element")) + "; found " +
         found_element(element);
}

// Returns NAME where the library's message is about "attribute 'NAME'".
std::string attribute_at_fault(const xmlError& error) {
  constexpr std::string_view mark = ", attribute '";
  const std::string_view words = first_words(error);
  const std::size_t at = words.find(mark);
  if (at == words.npos) return "";
  const std::string_view rest = words.substr(at + mark.size());
  return std::string(rest.substr(0, rest.find('\'')));
}

// Returns the name of the simple type of an element, or of its attribute.
std::string value_type(const xmlNode& element,
                       const std::string& attribute_name,
                       const xmlDoc& schema) {
  if (!attribute_name.empty())
    return attribute(
               named(declared(schema, element, "attribute"), attribute_name),
               "type")
        .value_or("");
  const nodes extended = declared(schema, element, "extension");
  if (!extended.empty()) return attribute(extended[0], "base").value_or("");
  return attribute(element_declaration(root(schema), name_of(element)), "type")
      .value_or("");
}

std::string wrong_value(const xmlError& error, const xmlNode& element,
                        const xmlDoc& schema) {
  const std::string in = attribute_at_fault(error);
  const std::string wanted =
      documentation(global_type(schema, value_type(element, in, schema)));
  if (wanted.empty()) return "";
  if (in.empty())
    return "expected in " + quoted(name_of(element)) + ": " + wanted +
           "; found " + quoted(str::strip(content(element), white_space));
  return "expected in " + quoted(in) + " of " + quoted(name_of(element)) +
         ": " + wanted + "; found " +
         quoted(attribute(&element, in).value_or(""));
}

// Whether the fault lies in an element inside `node`, where there is only to be
// text or nothing. A number with an element in it is reported once as that, and
// once more as no number.
bool is_about_child(const xmlError& error, const xmlNode& node) {
  switch (error.code) {
    case XML_SCHEMAV_CVC_TYPE_3_1_2:
    case XML_SCHEMAV_CVC_COMPLEX_TYPE_2_1:
    case XML_SCHEMAV_CVC_COMPLEX_TYPE_2_2:
      return first_child_element(node) != nullptr;
    case XML_SCHEMAV_CVC_DATATYPE_VALID_1_2_1:
      return attribute_at_fault(error).empty() &&
             first_child_element(node) != nullptr;
    default:
      return false;
  }
}

// Returns "" for a kind of fault that has no words here.
std::string own_words(const xmlError& error, const xmlNode& node,
                      const xmlDoc& schema) {
  switch (error.code) {
    case XML_SCHEMAV_ELEMENT_CONTENT:
      return is_missing_child(error) ? missing_child(node, schema)
                                     : unexpected_child(node, schema);
    case XML_SCHEMAV_CVC_COMPLEX_TYPE_3_2_1:
    case XML_SCHEMAV_CVC_TYPE_3_1_1:
      return unknown_attribute(error, node, schema);
    case XML_SCHEMAV_CVC_COMPLEX_TYPE_4:
      return missing_attribute(error, node);
    case XML_SCHEMAV_CVC_TYPE_3_1_2:
    case XML_SCHEMAV_CVC_COMPLEX_TYPE_2_2:
    case XML_SCHEMAV_CVC_DATATYPE_VALID_1_2_1:
      return is_about_child(error, node) ? misplaced_element(node, schema)
                                         : wrong_value(error, node, schema);
    case XML_SCHEMAV_CVC_COMPLEX_TYPE_2_1:
      return is_about_child(error, node)
                 ? unexpected_child(*first_child_element(node), schema)
                 : misplaced_text(node, schema);
    case XML_SCHEMAV_CVC_COMPLEX_TYPE_2_3:
      return misplaced_text(node, schema);
    case XML_SCHEMAV_CVC_IDC:
      return repeated_key(node, schema);
    case XML_SCHEMAV_CVC_ELT_1:
      return wrong_root(node, schema);
    default:
      return wrong_value(error, node, schema);
  }
}

const xmlNode* node_of(const xmlError& error) {
  const auto* node = static_cast<const xmlNode*>(error.node);
  if (node != nullptr && node->type == XML_ATTRIBUTE_NODE) node = node->parent;
  return node != nullptr && node->type == XML_ELEMENT_NODE ? node : nullptr;
}

}  // namespace

std::string_view first_words(const xmlError& error) {
  const std::string_view words = error.message ? error.message : "no reason";
  return words.substr(0, words.find('\n'));
}

long line_of_error(const xmlError& error) {
  const xmlNode* node = node_of(error);
  if (node == nullptr) return error.line;
  if (is_about_child(error, *node)) node = first_child_element(*node);
  return line_of(*node);
}

std::string words_for(const xmlError& error, const xmlDoc& schema) {
  const xmlNode* node = node_of(error);
  std::string words;
  if (node != nullptr) words = own_words(error, *node, schema);
  return words.empty() ? excerpt(first_words(error), sentence_bytes) : words;
}

}  // namespace zelk::xml
