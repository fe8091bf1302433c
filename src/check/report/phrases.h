// The small texts that several forms of report share.
//
// Whatever they return of a node's text is fit for a terminal. Numbers never
// depend on a locale.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/check/judgement.h"

namespace zelk::check {

// "node[013,088]". A byte with a meaning to a shell or in a node set, of a name
// that should never have had it, is written as "%": what is copied from a
// report names no other node, no group and no option.
std::string node_set_text(const std::vector<std::string>& nodes);

// "node[013,088] (2)"
std::string folded_and_counted(const std::vector<std::string>& nodes);

// At most `most` characters of `text`, visible, "..." behind what was cut.
std::string excerpt_of(std::string_view text, std::size_t most);

// The shortest text that reads back as the same number: "203.4", "1e+300".
std::string shortest_number(double value);

// Without an exponent, as performance data wants it; nothing when `value` is
// not finite or takes more than 30 digits.
std::optional<std::string> plain_number(double value);

// "3 h", "2 days"; "0 s" when it lies in the future.
std::string age_words(std::int64_t usec);

// "2025-11-21T01:00:00Z"; nothing when it is no time that RFC 3339 can write.
std::optional<std::string> machine_time(std::int64_t usec);

// `text`, in single quotes where a shell would see more in it than one word.
std::string shell_word(std::string_view text);

// Whether a name can stand in a command as it is: letters, digits, dots,
// dashes, underscores, no dash in front.
bool is_safe_name(std::string_view name);

// Whether the finding tells of a change that is no trouble in itself: all its
// nodes have another value than in the baseline.
bool is_change(const finding& found);

// Whether the finding tells that something could not be judged, and not that
// something is wrong.
bool is_gap(const finding& found);

// "5.14.0-427 -> 5.14.0-503", when all nodes changed alike.
std::optional<std::string> common_change(const finding& found);

// The words of `what` for people: "no answer", "no permission".
const char* words_for(answer what);

// "168.9 GB/s", "2.3"
std::string value_with_unit(std::string_view value, std::string_view unit);

}  // namespace zelk::check
