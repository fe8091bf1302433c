#include "src/common/xml/library_guard.h"

#include <utility>

namespace zelk::xml {

namespace {

// What has no structure is said a second time, in pieces.
void drop(void*, const char*, ...) {}  // NOLINT(cert-dcl50-cpp): their type

xmlParserInput* load_nothing(const char*, const char*, xmlParserCtxt*) {
  return nullptr;
}

}  // namespace

library_guard::library_guard(std::function<void(const xmlError&)> listener)
    : listener_(std::move(listener)),
      structured_(xmlStructuredError),
      structured_context_(xmlStructuredErrorContext),
      generic_(xmlGenericError),
      generic_context_(xmlGenericErrorContext),
      loader_(xmlGetExternalEntityLoader()) {
  // Generic, since the library's versions disagree on the const of `error`.
  xmlSetStructuredErrorFunc(this, [](void* self, auto* error) {
    if (error->level > XML_ERR_WARNING)
      static_cast<library_guard*>(self)->listener_(*error);
  });
  xmlSetGenericErrorFunc(nullptr, drop);
  xmlSetExternalEntityLoader(load_nothing);
}

library_guard::~library_guard() {
  xmlSetExternalEntityLoader(loader_);
  xmlSetGenericErrorFunc(generic_context_, generic_);
  xmlSetStructuredErrorFunc(structured_context_, structured_);
}

}  // namespace zelk::xml
