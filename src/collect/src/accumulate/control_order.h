// What a collector orders its accumulator to do: one line, one JSON object.
//
//   {"run": {"label": "...", "note": "...", "command_line": "..."}}
//   {"expect": [{"node": "n1", "provider": "memory", "option": "None"}, ...]}
//   {"missing": [{"node": "n1", "provider": "", "option": "", "reason": "..."},
//   ...]}
//   {"close": "complete" | "partial" | "interrupted" | "auto"}
//
// Pure text. Members that nobody here knows are passed over, so that an older
// accumulator understands a newer collector; an order that is none is not.

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/accumulate/runs.h"

namespace zelk::accumulate {

struct control_order {
  enum class kind { run, expect, missing, close };

  kind what = kind::run;
  std::string label;  // of run, as the two below; empty: not said
  std::string note;
  std::string command_line;
  std::vector<missing_result> results;  // of expect (no reasons) and missing
  std::optional<run_state> state;       // of close; nothing: by what came
};

struct control_line {
  std::optional<control_order> order;
  std::string problem;  // why there is none
};

control_line read_control_line(std::string_view line);

}  // namespace zelk::accumulate
