// libxml2 on a short leash, for one scope.
//
// Its reports go to a listener instead of standard error, and it loads nothing
// by itself. Both are settings of the library for the whole thread or process,
// so they are put back at the end for whoever else uses it.

#pragma once

#include <functional>

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

namespace zelk::xml {

class library_guard {
 public:
  // `listener` sees each error; warnings are dropped.
  explicit library_guard(std::function<void(const xmlError&)> listener);
  ~library_guard();

  library_guard(const library_guard&) = delete;
  library_guard& operator=(const library_guard&) = delete;

 private:
  std::function<void(const xmlError&)> listener_;
  xmlStructuredErrorFunc structured_;
  void* structured_context_;
  xmlGenericErrorFunc generic_;
  void* generic_context_;
  xmlExternalEntityLoader loader_;
};

}  // namespace zelk::xml
