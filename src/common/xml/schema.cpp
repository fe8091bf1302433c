#include "src/common/xml/schema.h"

#include <memory>
#include <optional>

#include <libxml/tree.h>
#include <libxml/xmlschemas.h>

#include "src/common/xml/complaint.h"
#include "src/common/xml/document.h"
#include "src/common/xml/library_guard.h"
#include "src/common/xml/query.h"
#include "src/common/xml/schema_words.h"

namespace zelk::xml {

namespace {

using unique_schema = std::unique_ptr<xmlSchema, void (*)(xmlSchema*)>;

// The fault on the lowest line. The library reports what is missing at the end
// of an element and what stands twice at the end of its scope, so the first
// report need not be the first fault.
class first_line {
 public:
  template <typename Words>
  void offer(long line, Words words) {
    if (!fault_ || line < fault_->line) fault_ = complaint{line, words()};
  }
  const std::optional<complaint>& fault() const { return fault_; }

 private:
  std::optional<complaint> fault_;
};

// Requires: `document` outlives the schema that is returned.
unique_schema compile(xmlDoc& document, const std::string& path) {
  first_line first;
  unique_schema schema(nullptr, xmlSchemaFree);
  {
    const library_guard guard([&first](const xmlError& error) {
      first.offer(error.line,
                  [&] { return excerpt(first_words(error), sentence_bytes); });
    });
    const std::unique_ptr<xmlSchemaParserCtxt, void (*)(xmlSchemaParserCtxt*)>
        context(xmlSchemaNewDocParserCtxt(&document), xmlSchemaFreeParserCtxt);
    if (context) schema.reset(xmlSchemaParse(context.get()));
  }
  if (schema && !first.fault()) return schema;
  complain(path, {first.fault() ? first.fault()->line : 0,
                  "expected a schema: " +
                      (first.fault() ? first.fault()->text : "out of memory")});
  return {nullptr, xmlSchemaFree};
}

std::optional<complaint> fault_of(xmlDoc& document, xmlSchema& schema,
                                  const xmlDoc& schema_document) {
  first_line first;
  const library_guard guard([&](const xmlError& error) {
    first.offer(line_of_error(error),
                [&] { return words_for(error, schema_document); });
  });
  const std::unique_ptr<xmlSchemaValidCtxt, void (*)(xmlSchemaValidCtxt*)>
      context(xmlSchemaNewValidCtxt(&schema), xmlSchemaFreeValidCtxt);
  const int result =
      context ? xmlSchemaValidateDoc(context.get(), &document) : -1;
  if (result != 0 && !first.fault())
    return complaint{0, "cannot be validated (" + std::to_string(result) + ")"};
  return first.fault();
}

}  // namespace

bool validate(xmlDoc& document, const std::string& path,
              const std::string& schema) {
  const unique_doc schema_document = read_document(schema);
  if (!schema_document) return false;
  const unique_schema compiled = compile(*schema_document, schema);
  if (!compiled) return false;
  const std::optional<complaint> fault =
      fault_of(document, *compiled, *schema_document);
  if (fault) complain(path, *fault);
  return !fault;
}

}  // namespace zelk::xml
