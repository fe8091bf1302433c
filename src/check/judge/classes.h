// Classes of nodes that should be alike, found from their facts.
//
// The model of the processors, the machine and the role of a node part classes
// for good. The sizes that a fault changes (memory, graphics cards, sockets)
// part them only where a fault cannot be the reason: for a group that is large
// enough, or one that has more than the others. So a node that lost a memory
// module stays with its peers, and is found.
//
// A node of which nothing tells what it is has no class, and is compared with
// nobody, unless all that are known are of one kind.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "src/check/judge/judge.h"
#include "src/check/judge/run_view.h"

namespace zelk::check {

constexpr std::uint32_t no_class = 0xffffffff;

struct node_class {
  std::string name;      // "A", "B", ... or as given by hand
  std::string identity;  // the same in another run, whatever its name there
  std::vector<std::pair<std::string, std::string>> key;
  std::vector<std::uint32_t> nodes;  // ascending
  bool is_lettered = false;          // nobody gave it its name
};

struct classes {
  std::vector<node_class> list;        // the largest first
  std::vector<std::uint32_t> of;       // by node; no_class of a silent one
  std::vector<std::uint32_t> unknown;  // answered, and nobody knows their kind

  // "class A ", or "" where there is only one.
  std::string word(std::uint32_t number) const;
};

// The classes of another run, and where its nodes are here, or no_value.
struct known_classes {
  const classes& list;
  const std::vector<std::uint32_t>& place_here;  // by node of that run
};

// `machines` by node. Letters are those of the same classes in `before`, which
// may be null.
classes find_classes(const run_view& run,
                     const std::vector<machine_facts>& machines,
                     const known_classes* before, const judge_options& options);

// "A" to "Z", "AA", "AB", ...
std::string class_letters(std::size_t number);

}  // namespace zelk::check
