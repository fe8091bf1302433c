// The checks that no file defines: what is said of nodes that did not answer,
// and of facts that no check names.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/check/judge/definitions.h"

namespace zelk::check {

namespace built_in {
inline constexpr char no_answer[] = "no-answer";
inline constexpr char timed_out[] = "timeout";
inline constexpr char failed[] = "failed";
inline constexpr char incomplete[] = "incomplete";
inline constexpr char unreadable[] = "unreadable";
inline constexpr char stale[] = "stale";
inline constexpr char counters_reset[] = "counters-reset";
inline constexpr char limit[] = "limit";
inline constexpr char tool_missing[] = "tool-missing";
inline constexpr char no_permission[] = "no-permission";
inline constexpr char clock_of_result[] = "clock-of-result";

// The check that tells of a node that cannot answer where its peers do.
constexpr const char* of_lack(answer what) {
  return what == answer::tool_missing ? tool_missing : no_permission;
}
}  // namespace built_in

// Of facts that no check names, behind the provider's name.
namespace generic {
inline constexpr char differs[] = "-differs";
inline constexpr char outlier[] = "-outlier";
inline constexpr char not_unique[] = "-not-unique";
inline constexpr char grew[] = "-grew";
inline constexpr char changed[] = "-changed";
inline constexpr char state[] = "-state";
}  // namespace generic

std::vector<check_definition> built_in_checks();

// Returns the definition of PROVIDER-differs and its like, or nothing.
std::optional<check_definition> generic_check(std::string_view id);

// How bad a state is that a plugin tells of itself; 0, the good one, is none.
int score_of_state(std::int64_t state);

// "net_links", "-differs": "net-links-differs"
std::string generic_id(std::string_view provider, std::string_view ending);

}  // namespace zelk::check
