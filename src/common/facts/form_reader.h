// One description's outputs read by its form, one after the other. Inside this
// module only; others use declaration for one output, output_series for many.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/facts/compiled.h"
#include "src/common/facts/gathered.h"
#include "src/common/facts/output_series.h"
#include "src/common/facts/read_lines.h"

namespace zelk::facts {

class form_reader {
 public:
  // As output_series; one that does not remember takes less time for one output
  // and more for several. Requires: both outlive this.
  form_reader(const compiled_facts& all, value_table& values,
              std::size_t name_limit, bool remembers);

  const numbered_extraction& read(std::string_view output, int exit_status);
  const std::string& name(const numbered_fact& of) const;
  const fact_traits& traits(const numbered_fact& of) const;

 private:
  bool decided_by(int status);
  void read_as_plugin(std::string_view output, int exit_status);
  std::uint32_t number_of(const fact_traits& traits);

  const compiled_facts& all_;
  value_table& values_;
  gathered gathered_;
  line_facts lines_;
  numbered_extraction decided_;  // by the status, or read of a plugin
  name_list plugin_names_;
  std::vector<fact_traits> plugin_traits_;
};

}  // namespace zelk::facts
