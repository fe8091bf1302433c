// The lines that go to the accumulator and come from it, one JSON object each.
//
// Pure text; zelk-accumulate(1) has what they mean. A line never holds a line
// end but its own, whatever stands in it.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/collect/ledger.h"
#include "src/collect/src/collect/plan.h"

namespace zelk::collect {

std::string run_line(const std::string& label, const std::string& note,
                     const std::string& command_line);
// As many lines as it takes: a line has at most a thousand entries.
std::string expect_lines(const std::vector<expected_result>& expected);
std::string missing_lines(const std::vector<missing_result>& missing);
// `state` is "complete", "interrupted" or "auto".
std::string close_line(std::string_view state);

struct accumulator_event {
  enum class kind { run, result, refused, closed, other };
  kind what = kind::other;
  std::int64_t run = 0;      // run, closed
  expected_result result;    // result
  std::string host_name;     // result: what the node calls itself
  int exit_status = 0;       // result
  double duration = 0;       // result; seconds
  std::int64_t bytes = 0;    // result
  std::string peer;          // refused
  std::string reason;        // refused
  std::string state;         // closed
  std::int64_t results = 0;  // closed: stored in the run
};

// Nothing when `line` is no such object.
std::optional<accumulator_event> read_event(std::string_view line);

}  // namespace zelk::collect
