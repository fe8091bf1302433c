// The commands to go on with, ready to be pasted.

#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "src/check/judgement.h"
#include "src/check/report/writer.h"

namespace zelk::check {

struct next_command {
  std::string line, why;
};

// With `screen`, of a screen that cannot show everything.
std::vector<next_command> next_commands(const judgement& judged,
                                        const report_options& options,
                                        bool screen);

}  // namespace zelk::check
