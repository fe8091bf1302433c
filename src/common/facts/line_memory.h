// Lines that came before, and what they gave.
//
// Nine lines of ten in a node's output are those of its neighbour, to the byte.
// A line that is known needs no expression, no name and no number to be read
// again. It is kept when it comes for the second time, since the tenth line, a
// measurement, never comes again; and the room is bounded: what comes often
// stays, by and by, and what does not is read as if this were not there.
//
// Inside this module only.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/facts/value_table.h"

namespace zelk::facts {

// One fact as a line gives it.
struct given_fact {
  std::uint32_t which = 0;  // its declaration
  std::uint32_t name = 0;
  std::uint32_t value = no_index;  // none: it is only counted
  std::uint32_t bytes = 0;         // that it takes of the output's budget
};

struct given_line {
  std::vector<given_fact> facts;
  std::vector<std::uint32_t> sources;  // declarations whose source it has

  void clear() {
    facts.clear();
    sources.clear();
  }
};

class line_memory {
 public:
  // Returns what that line gave, until the next call of remember; or null.
  const given_line* find(std::string_view line);

  // What the line gave for which find has just returned null.
  void remember(std::string_view line, const given_line& gave);

 private:
  // Lines with the same low bits of their hashes share a bucket; a processor
  // looks at its hashes at once.
  static constexpr std::size_t ways = 8;
  struct bucket {
    std::array<std::size_t, ways> hashes{};  // 0: free
  };
  struct kept_line {
    std::string line;
    given_line gave;
  };

  bool came_before();
  std::size_t place_for(std::size_t hash);
  void grow();

  std::vector<bucket> buckets_;  // a power of two of them
  std::vector<kept_line> kept_;  // by bucket and way
  std::vector<std::uint32_t> seen_once_;
  bool use_first_ = false;
  std::size_t used_ = 0;
  std::size_t hash_ = 0;  // of the line that was asked for last; never 0
};

}  // namespace zelk::facts
