// What a stored result says of how its provider fared.

#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "src/check/run_data.h"
#include "src/collect/src/reading/run_facts.h"
#include "src/common/facts/fact.h"

namespace zelk::check {

// `read` is what became of its output; nothing where its description says
// nothing of facts. `error_line` is what it said of its trouble, or "".
provider_answer answer_of(const reading::stored_result& result,
                          std::optional<facts::outcome> read,
                          const std::string& error_line);

// Who set the limit at which an option set of a provider was stopped: the
// command line of the run, or else the files where it stands.
std::string limit_words(const std::string& command_line,
                        const std::string& provider, const std::string& option);

// Whether the answer's reason is in what it wrote to standard error.
bool explains_itself(const reading::stored_result& result);

// `text`, or what can be shown of it, where it is not UTF-8.
std::string readable(std::string_view text);

}  // namespace zelk::check
