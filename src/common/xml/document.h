// One XML file as a tree, before any schema has been looked at.

#pragma once

#include <memory>
#include <string>

#include "src/common/xml/library_types.h"

namespace zelk::xml {

struct doc_deleter {
  void operator()(xmlDoc* document) const;
};
using unique_doc = std::unique_ptr<xmlDoc, doc_deleter>;

// Reads the well-formed file `path`, or returns null after one error record.
unique_doc read_document(const std::string& path);

}  // namespace zelk::xml
