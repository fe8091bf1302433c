// One function for each form of output that is not read line by line
// (read_lines.h). Inside this module only.

#pragma once

#include <string_view>

#include "src/common/facts/compiled.h"
#include "src/common/facts/fact.h"
#include "src/common/facts/gathered.h"

namespace zelk::facts {

// Nothing of an output that is not JSON to its end is believed: then there is
// one note.
void read_json(const compiled_facts& all, std::string_view output,
               gathered& to);

// A monitoring plugin's output and exit status, 0 to 3.
extraction read_plugin(const std::string& provider, std::string_view output,
                       int exit_status);

}  // namespace zelk::facts
