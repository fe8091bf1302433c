// A judgement with stand-ins for what must not leave the house.
//
// The same name has the same stand-in everywhere, so that what is told of two
// findings on one node still belongs together. Names are found as whole words,
// also inside folded sets and in front of a domain. What a provider wrote in
// free text may still hold something that no list knows: whoever gives a page
// away reads it first.

#pragma once

#include <string>

#include "src/check/judgement.h"
#include "src/check/page/page.h"

namespace zelk::check::html {

// Whether a fact names one piece of hardware: serial numbers, addresses, keys.
bool is_serial(std::string_view fact);

// Changes both in place.
void redact(judgement& what, page_options& options);

}  // namespace zelk::check::html
