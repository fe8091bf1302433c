// A mark of a template: what stands there differs from node to node, or from
// run to run.
//
// README.md says what marks there are.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "test/synthetic/machine_class.h"
#include "test/synthetic/moment.h"

namespace zelk::synthetic {

struct mark {
  using writer = void (*)(const mark& what, const moment& at, std::string& to);

  writer write;
  double first = 0, second = 0;
  int decimals = 0;
  std::uint64_t place = 0;  // where its chance is drawn
  std::string text;
};

// Reads a mark that is no plain value of the class: "near stream 0.5 1". Its
// place is its key or, when it has none, `place`. Throws std::runtime_error.
mark read_mark(std::string_view text, const machine_class& of,
               std::uint64_t place);

}  // namespace zelk::synthetic
