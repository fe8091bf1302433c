// The values of one output while it is read, and what they come to.
//
// What several lines say of one name is combined as its declaration wants it.
// Bounded: an output that gives more names or more bytes than any machine has
// is read up to there and says so. Inside this module only.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "src/common/facts/compiled.h"
#include "src/common/facts/fact.h"

namespace zelk::facts {

constexpr std::size_t most_names = 100'000;
constexpr std::size_t most_bytes = std::size_t{32} << 20;  // names and values
constexpr std::size_t most_unread = 1000;

class gathered {
 public:
  explicit gathered(const compiled_facts& all) : all_(all) {}

  // Adds one occurrence of fact number `which`, with that text as its value.
  void add(std::size_t which, std::string name, std::string_view text);

  // Says why a name of fact number `which` has no value, if none comes.
  void cannot(std::size_t which, std::string name, std::string reason);

  // Says it of all facts of that declaration that will not be found.
  void explain(std::size_t which, std::string reason);

  // Says something about the output as a whole.
  void note(std::string reason);

  // Gives up what has come and will come: the output is not what it should be.
  void reject(std::string reason);

  // No more is taken in; reading on is of no use.
  bool full() const { return full_; }

  // Returns what has come. With an `incomplete` one, absence says nothing: why.
  extraction finish(const std::string& incomplete);

 private:
  struct entry {
    std::size_t which = 0;
    std::int64_t count = 0;
    fact_value value;
    std::vector<fact_value> all;  // of a set
    std::string problem;          // why there is no value
  };

  entry* entry_of(std::size_t which, std::string&& name);
  bool spend(std::size_t bytes);
  void combine(entry& to, const compiled_fact& what, fact_value&& value);
  static void keep_extreme(entry& to, const compiled_fact& what,
                           fact_value&& value);
  static void keep_sum(entry& to, const fact_value& value);
  void finish_entry(const std::string& name, entry& from,
                    const std::string& incomplete, extraction& result);
  void finish_absent(std::size_t which, const std::string& incomplete,
                     extraction& result);
  std::string reason_of(std::size_t which) const;

  const compiled_facts& all_;
  std::unordered_map<std::string, entry> entries_;
  std::map<std::string, std::string> cannot_;        // name, reason
  std::map<std::size_t, std::string> explanations_;  // by declaration
  std::set<std::string> notes_;
  std::string rejected_;
  std::size_t bytes_ = 0;
  bool full_ = false;
};

}  // namespace zelk::facts
