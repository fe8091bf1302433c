// One node at one moment: all that its outputs depend on besides its class.

#pragma once

#include <cstdint>
#include <string>

#include "test/synthetic/chance.h"

namespace zelk::synthetic {

struct moment {
  std::string node;     // "node0017"
  std::size_t index;    // of the node, from 0 upwards
  chance of_node;       // the same in every run
  std::uint64_t run;    // what is measured anew in each run depends on it
  std::int64_t now;     // seconds since the Unix epoch
  std::int64_t booted;  // the same
};

}  // namespace zelk::synthetic
