// Facts of outputs that were read before: most nodes answer most questions
// alike, and the datastore knows each output by the hash of its content.
//
// Not thread-safe.

#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "src/common/facts/declaration.h"
#include "src/common/facts/fact.h"

namespace zelk::facts {

class extraction_cache {
 public:
  // Returns what `by` reads in the output with that hash. `output` gives its
  // bytes and is called only when no output of this hash was read by `by` with
  // this status. An empty hash stands for the empty output.
  template <typename Output>
  std::shared_ptr<const extraction> get(
      const std::shared_ptr<const declaration>& by, std::string_view hash,
      int exit_status, const Output& output) {
    const std::string key = key_of(*by, hash, exit_status);
    const auto known = kept_.find(key);
    if (known != kept_.end()) {
      ++hits_;
      return known->second.facts;
    }
    return keep(key, by, by->read_output(output(), exit_status));
  }

  std::size_t hits() const { return hits_; }
  std::size_t reads() const { return reads_; }

 private:
  struct entry {
    std::shared_ptr<const declaration> by;  // so that its address stays its own
    std::shared_ptr<const extraction> facts;
  };

  static std::string key_of(const declaration& by, std::string_view hash,
                            int exit_status);
  std::shared_ptr<const extraction> keep(
      const std::string& key, const std::shared_ptr<const declaration>& by,
      extraction&& made);

  std::unordered_map<std::string, entry> kept_;
  std::size_t facts_kept_ = 0;
  std::size_t hits_ = 0;
  std::size_t reads_ = 0;
};

}  // namespace zelk::facts
