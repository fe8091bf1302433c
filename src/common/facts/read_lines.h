// Outputs that are read line by line: "SOURCE: TEXT", "KEY=VALUE", and lines
// that only a pattern tells apart. Inside this module only.

#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "src/common/facts/compiled.h"
#include "src/common/facts/gathered.h"
#include "src/common/facts/line_memory.h"
#include "src/common/facts/matching.h"
#include "src/common/facts/output_text.h"

namespace zelk::facts {

class line_facts {
 public:
  // Requires: both outlive this. One that remembers knows a line again that
  // came in an earlier output.
  line_facts(const compiled_facts& all, gathered& to, bool remembers);
  ~line_facts();
  line_facts(const line_facts&) = delete;
  line_facts& operator=(const line_facts&) = delete;

  void read(std::string_view output);

 private:
  class keyed_reader;

  void read_line(std::string_view line);
  void read_pattern(std::string_view line);
  void note_limits(const line_reader& lines);

  const compiled_facts& all_;
  gathered& to_;
  bool remembers_;
  std::unique_ptr<keyed_reader> keyed_;
  line_memory memory_;
  std::vector<std::size_t> found_;
  groups matched_;
};

}  // namespace zelk::facts
