// The answers of one machine while a fault is put into them.
//
// Each change has to find what it changes: one that finds nothing throws
// std::runtime_error, because a fault that was not planted cannot be found.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "test/synthetic/cluster.h"
#include "test/synthetic/moment.h"

namespace zelk::synthetic {

class patient {
 public:
  // Gives `answers`, of machine number `node`, to change. `others` are the
  // machines that have the same fault, itself among them.
  patient(const cluster& in, std::size_t node, const moment& when,
          const std::vector<std::size_t>& others, std::vector<answer>& answers);

  const std::string& name() const;
  const machine_class& of_class() const;

  // Of lines "SOURCE: TEXT" in the output of `provider`; there is one:
  void set(std::string_view provider, std::string_view source,
           std::string_view text);
  void remove(std::string_view provider, std::string_view beginning);
  void add(std::string_view provider, std::string_view line);
  // Multiplies the first number of the text of all whose source begins so.
  void scale(std::string_view provider, std::string_view sources,
             double factor);
  void grow(std::string_view provider, std::string_view source,
            std::int64_t by);

  // Wherever it stands in the output.
  void replace(std::string_view provider, std::string_view from,
               std::string_view to);

  // It printed nothing, or what stands there already, and ended so.
  void end(std::string_view provider, int status, std::string_view errors);
  void end_early(std::string_view provider, int status,
                 std::string_view errors);
  // It never came.
  void lose(std::string_view provider, std::string_view reason);
  void fall_silent(std::string_view reason);

  // The answer that the first of `others` gives, unchanged.
  answer answer_of_first(std::string_view provider) const;

 private:
  answer& of(std::string_view provider);
  template <typename Change>
  void change_lines(std::string_view provider, std::string_view what,
                    const Change& change);

  const cluster& in_;
  std::size_t node_;
  moment when_;
  const std::vector<std::size_t>& others_;
  std::vector<answer>& answers_;
};

}  // namespace zelk::synthetic
