#include "src/common/xml/xml.h"

#include "src/common/xml/document.h"
#include "src/common/xml/schema.h"

namespace zelk::xml {

bool open_and_validate(const std::string& path, const std::string& schema,
                       xmlDoc*& document) {
  document = nullptr;
  unique_doc read = read_document(path);
  if (!read || !validate(*read, path, schema)) return false;
  document = read.release();
  return true;
}

}  // namespace zelk::xml
