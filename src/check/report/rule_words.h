// A check's rule in words and formulas.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "src/check/judge/definitions.h"

namespace zelk::check {

// What a rule takes where the check says nothing.
struct usual_limits {
  double z = 3.5, min_effect = 5;  // min_effect: per cent
  std::size_t min_peers = 5;
  std::string peers_by = "class";
};

// Several lines, "\n" between.
std::string rule_words(const check_rule& what, const usual_limits& usual);

std::string joined(const std::vector<std::string>& parts, const char* between);

}  // namespace zelk::check
