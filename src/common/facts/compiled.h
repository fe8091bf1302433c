// The facts of a description, ready to be looked for. Inside this module only.

#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/facts/fact.h"
#include "src/common/facts/json_path.h"
#include "src/common/facts/matching.h"
#include "src/common/facts/name_template.h"
#include "src/common/preproc/written_facts.h"

namespace zelk::facts {

enum class output_format { lines, equals, json, patterns, nagios };

enum class several { error, set, count, sum, first, last, min, max };

struct compiled_fact {
  long line = 0;  // of the description
  std::string written_name;
  std::string written_from;
  std::string written_pattern;
  name_template name;
  std::unique_ptr<RE2> from;     // null in json and patterns
  std::unique_ptr<RE2> pattern;  // null: the whole text is the value
  json_path path;                // json
  int value_group = 0;           // of `pattern`; 0: the whole text
  int from_groups = 0;           // the highest one that is used
  int pattern_groups = 0;
  value_type read_as = value_type::text;  // of one occurrence
  several combine = several::error;
  bool optional = false;
  fact_traits traits;  // of the result

  // A count of nothing is 0, and a set of nothing is a set.
  bool has_empty_value() const {
    return combine == several::count || combine == several::set;
  }
};

struct compiled_facts {
  std::string path;  // of the description
  std::string provider;
  std::int32_t version = 1;
  std::string description;
  bool declared = false;
  output_format format = output_format::lines;
  std::vector<compiled_fact> facts;
  // lines, equals: of `from`; patterns: of `pattern`.
  std::unique_ptr<expression_set> selectors;
};

// Returns nothing after an error record for each fault.
std::unique_ptr<const compiled_facts> compile(
    const preproc::written_facts& written);

}  // namespace zelk::facts
