// A judgement cut down to what it says of some of its nodes (-w, -x).
//
// They were judged among all their peers; the others are only not shown. What
// is about the cluster as a whole, its history, is left out.

#pragma once

#include <string>
#include <vector>

#include "src/check/judgement.h"

namespace zelk::check {

// `names` are nodes of the judgement, in natural order. Of the run what was
// expected and came is that of these nodes; `data` is the run.
judgement only_nodes(judgement of, const std::vector<std::string>& names,
                     const run_data& data);

}  // namespace zelk::check
