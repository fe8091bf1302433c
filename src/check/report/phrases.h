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

// "node[013,088]". A name that no command can take stands behind those that
// one can, in quotes and with what is not printable written out: it is known
// again, and what is copied names no other node, no group and no option.
std::string node_set_text(const std::vector<std::string>& nodes);

// The same of those that a command can take only; "" of none.
std::string command_set(const std::vector<std::string>& nodes);

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

// "2 names that no command can take are left out".
std::string left_out_words(std::size_t names);

// Whether the finding tells of a change that is no trouble in itself. One that
// is odd among its peers, and was not in the baseline, is none: it is new.
bool is_change(const finding& found);

// Whether the finding tells that something could not be judged, and not that
// something is wrong.
bool is_gap(const finding& found);

// "5.14.0-427 -> 5.14.0-503", when all nodes changed alike.
std::optional<std::string> common_change(const finding& found);

// "test bed of a group, ada, until 2026-01-01"; "" when it was not accepted.
std::string acceptance_words(const finding& found);

// The words of `what` for people: "no answer", "no permission".
const char* words_for(answer what);

// "168.9 GB/s", "2.3"; a count is its number.
std::string value_with_unit(std::string_view value, std::string_view unit);

}  // namespace zelk::check
