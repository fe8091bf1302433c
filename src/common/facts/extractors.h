// One function for each form of output. Inside this module only.

#pragma once

#include <string_view>

#include "src/common/facts/compiled.h"
#include "src/common/facts/fact.h"
#include "src/common/facts/gathered.h"

namespace zelk::facts {

// "SOURCE: TEXT" and "KEY=VALUE", by format.
void read_lines(const compiled_facts& all, std::string_view output,
                gathered& to);

void read_patterns(const compiled_facts& all, std::string_view output,
                   gathered& to);

// Nothing of an output that is not JSON to its end is believed: then there is
// one note.
void read_json(const compiled_facts& all, std::string_view output,
               gathered& to);

// A monitoring plugin's output and exit status, 0 to 3.
extraction read_plugin(const std::string& provider, std::string_view output,
                       int exit_status);

}  // namespace zelk::facts
