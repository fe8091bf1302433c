// Reading XML that nobody vouches for.
//
// What makes XML dangerous to read stands in its document type declaration:
// entities that name other files or hosts, and entities made of entities that
// grow a line into gigabytes. Leaving entities unexpanded is not enough, for
// those in attribute values are expanded all the same. None of our formats has
// a use for such a declaration, so its first word ends the reading, and only
// the five built-in entities and character references are left.
//
// The parser stops by itself only at 256 open elements, and says so in words
// for programmers; our formats need five.
//
// The line of an element is kept in its `_private` word. The library keeps it
// in 16 bits and guesses behind line 65,534.

#include "src/common/xml/document.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include "src/common/xml/byte_checks.h"
#include "src/common/xml/complaint.h"
#include "src/common/xml/file_text.h"
#include "src/common/xml/library_guard.h"
#include "src/common/xml/query.h"

namespace zelk::xml {

namespace {

constexpr int deepest_element = 64;  // our formats need five

struct context_deleter {
  void operator()(xmlParserCtxt* context) const { xmlFreeParserCtxt(context); }
};
using unique_context = std::unique_ptr<xmlParserCtxt, context_deleter>;

// The first fault of the file that is being read; the later ones follow from
// it.
using first_fault = std::optional<complaint>;

void stop(xmlParserCtxt* context, long line, std::string text) {
  auto& fault = *static_cast<first_fault*>(context->_private);
  if (!fault) fault = {line, std::move(text)};
  xmlStopParser(context);
}

void refuse_document_type(void* user, const xmlChar*, const xmlChar*,
                          const xmlChar*) {
  stop(static_cast<xmlParserCtxt*>(user), xmlSAX2GetLineNumber(user),
       "expected no document type declaration (<!DOCTYPE)");
}

void start_document(void* user) {
  auto* context = static_cast<xmlParserCtxt*>(user);
  const xmlChar* encoding = context->encoding;
  if (encoding == nullptr) encoding = context->input->encoding;
  if (encoding != nullptr && xmlStrcasecmp(encoding, BAD_CAST "UTF-8") != 0)
    return stop(context, 1, "expected the encoding UTF-8");
  xmlSAX2StartDocument(user);
}

void start_element(void* user, const xmlChar* name, const xmlChar* prefix,
                   const xmlChar* uri, int namespace_count,
                   const xmlChar** namespaces, int attribute_count,
                   int defaulted_count, const xmlChar** attributes) {
  xmlSAX2StartElementNs(user, name, prefix, uri, namespace_count, namespaces,
                        attribute_count, defaulted_count, attributes);
  auto* context = static_cast<xmlParserCtxt*>(user);
  const long line = xmlSAX2GetLineNumber(context);
  if (context->node != nullptr) set_line(*context->node, line);
  if (context->nodeNr > deepest_element)
    stop(context, line,
         "expected elements nested at most " + std::to_string(deepest_element) +
             " deep");
}

unique_context new_context(first_fault& fault) {
  unique_context context(xmlNewParserCtxt());
  if (!context) return context;
  context->_private = &fault;
  context->sax->startDocument = start_document;
  context->sax->internalSubset = refuse_document_type;
  context->sax->startElementNs = start_element;
  return context;
}

// The library's words for a few common slips say what it was doing, not what
// the writer of the file should do.
std::string words_for(std::string_view message) {
  struct slip {
    std::string_view theirs;
    const char* ours;
  };
  static constexpr slip slips[] = {
      {"xmlParseEntityRef: no name", "expected &amp; in place of a bare '&'"},
      {"EntityRef: expecting ';'", "expected &amp; in place of a bare '&'"},
      {"Input is not proper UTF-8", "expected UTF-8 text"},
      {"Document labelled UTF-16", "expected the encoding UTF-8"},
      {"Document is empty", "expected an XML document"},
      {"Start tag expected", "expected an XML document"},
  };
  for (const slip& s : slips)
    if (message.starts_with(s.theirs)) return s.ours;
  return "not well-formed: " +
         excerpt(message.substr(0, message.find('\n')), sentence_bytes);
}

void keep_first(first_fault& fault, const xmlError& error) {
  if (fault) return;
  fault = {error.line, words_for(error.message ? error.message : "")};
}

unique_doc parse(const std::string& content, const std::string& path,
                 first_fault& fault) {
  const library_guard guard(
      [&fault](const xmlError& error) { keep_first(fault, error); });
  const unique_context context = new_context(fault);
  if (!context) return nullptr;
  // The content is no longer than largest_file_bytes, so its size fits an int.
  return unique_doc(xmlCtxtReadMemory(
      context.get(), content.data(), static_cast<int>(content.size()),
      path.c_str(), nullptr, XML_PARSE_NONET | XML_PARSE_BIG_LINES));
}

}  // namespace

void doc_deleter::operator()(xmlDoc* document) const {
  xmlFreeDoc(document);
}

unique_doc read_document(const std::string& path) {
  std::string content;
  if (const std::string why = read_file_text(path, content); !why.empty()) {
    complain(path, {0, why});
    return nullptr;
  }
  first_fault fault = fault_of_bytes(content);
  unique_doc document;
  if (!fault) document = parse(content, path, fault);
  if (!document && !fault) fault = {0, "cannot be parsed: out of memory"};
  if (!fault) return document;
  complain(path, *fault);
  return nullptr;
}

}  // namespace zelk::xml
