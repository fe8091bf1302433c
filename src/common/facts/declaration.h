// How one version of a provider's description says its output is read.
//
// Immutable; it reads the output of any number of nodes. Reading never fails:
// an output that is not what it should be gives facts that are unread, and why.
// Its time and memory are bounded whatever the output is (output_text.h,
// gathered.h).

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "src/common/facts/fact.h"
#include "src/common/preproc/written_facts.h"

namespace zelk::facts {

struct compiled_facts;

class declaration {
 public:
  // Reads the description `path`, valid against the schema file `schema`.
  // Returns null after error records, "path:line: what was expected", one for
  // each fault.
  static std::shared_ptr<const declaration> read(const std::string& path,
                                                 const std::string& schema);
  static std::shared_ptr<const declaration> compile(
      const preproc::written_facts& written);

  ~declaration();
  declaration(const declaration&) = delete;
  declaration& operator=(const declaration&) = delete;

  const std::string& path() const;
  const std::string& provider() const;
  std::int32_t version() const;
  // What the provider is about, for people; "" when nothing is said.
  const std::string& description() const;
  // Whether the description says anything about facts.
  bool declares() const;

  // Returns what the standard output of a command that ended with `exit_status`
  // says (doc/providers.md has the statuses).
  extraction read_output(std::string_view output, int exit_status) const;

 private:
  friend class output_series;

  explicit declaration(std::unique_ptr<const compiled_facts> all);

  std::unique_ptr<const compiled_facts> all_;
};

}  // namespace zelk::facts
