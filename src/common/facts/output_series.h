// Reads the outputs of one description on many nodes, names and values as
// numbers.
//
// What nodes say alike they say in the same words, line by line, so a line that
// came before costs a look-up (line_memory.h). The numbers of names are the
// series' own, those of values come from a table that others use as well.
//
// Not thread-safe.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/facts/declaration.h"
#include "src/common/facts/fact.h"
#include "src/common/facts/value_table.h"

namespace zelk::facts {

struct numbered_fact {
  std::uint32_t name = 0;
  std::uint32_t value = 0;
  std::uint32_t traits = 0;
};

// As extraction, its facts in no order.
struct numbered_extraction {
  outcome what = outcome::read;
  std::vector<numbered_fact> facts;
  std::vector<unread_fact> unread;
  // There was no room for a name or a value: `facts` are not all.
  bool cut = false;
};

class output_series {
 public:
  // Knows no more than `name_limit` names. Requires: `values` outlives this.
  output_series(std::shared_ptr<const declaration> by, value_table& values,
                std::size_t name_limit);
  ~output_series();
  output_series(const output_series&) = delete;
  output_series& operator=(const output_series&) = delete;

  // As declaration::read_output. What it returns holds until the next call.
  const numbered_extraction& read(std::string_view output, int exit_status);

  // Of a fact that was read.
  const std::string& name(const numbered_fact& of) const;
  const fact_traits& traits(const numbered_fact& of) const;

 private:
  class reader;

  std::shared_ptr<const declaration> by_;
  std::unique_ptr<reader> reader_;
};

}  // namespace zelk::facts
