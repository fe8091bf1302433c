// What of the differences between nodes the checks of a fact let pass, for who
// shows differences and not findings.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/check/judge/check_plan.h"
#include "src/check/run_data.h"

namespace zelk::check {

// How a fact is compared between the nodes of a class.
enum class compared : std::uint8_t {
  never,       // its description or a check says so
  as_text,     // all should have the same
  as_numbers,  // far from the median is odd
};

struct allowance {
  compared how = compared::as_text;
  // Numbers that are no further apart are alike; none: any difference counts.
  std::optional<double> percent;
  std::vector<std::string> ignored;  // patterns of values that say nothing

  // Whether a node may have `value` where most have `reference`; nothing stands
  // for a fact that is not there.
  bool lets_pass(std::optional<std::string_view> value,
                 std::optional<std::string_view> reference) const;
};

class allowances {
 public:
  // Requires: both outlive this.
  allowances(const check_set& checks, const judge_options& options)
      : plan_(checks, options) {}

  allowance of(const fact_column& fact);

 private:
  check_plan plan_;
};

}  // namespace zelk::check
