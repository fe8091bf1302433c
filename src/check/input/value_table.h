// The values of all facts of a run, equal ones once.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/check/run_data.h"
#include "src/common/facts/fact.h"

namespace zelk::check {

class value_table {
 public:
  // Takes no more than `most_bytes` of texts.
  value_table(std::vector<fact_value>& to, std::size_t most_bytes);

  // The index of `value`, or no_value when there is no room for it any more.
  std::uint32_t index_of(const facts::fact_value& value);

 private:
  std::size_t slot_of(const fact_value& value) const;
  void grow();

  std::vector<fact_value>& values_;
  std::size_t bytes_left_;
  // A hash table, at most half full, of indexes plus one (0: free). A run of
  // 10,000 nodes has millions of values; a node of a map for each would take
  // more memory than the values.
  std::vector<std::uint32_t> slots_;
};

}  // namespace zelk::check
