// How a summary names the time limit of an option set, and who set it.
//
// Pure text.

#pragma once

#include <string>

#include "src/collect/src/collect/plan.h"

namespace zelk::collect {

//   limit 300 s from description
//   limit 900 s from the provider options
//   limit 5 s from --timeout               `typed`: it was given for all
std::string limit_text(const option_set& set, bool typed);

}  // namespace zelk::collect
