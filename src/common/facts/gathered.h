// The values of one output while it is read, and what they come to.
//
// What several lines say of one name is combined as its declaration wants it.
// Bounded: an output that gives more names or more bytes than any machine has
// is read up to there and says so.
//
// It reads one output after the other; the numbers of names stay. Inside this
// module only.

#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "src/common/facts/compiled.h"
#include "src/common/facts/line_memory.h"
#include "src/common/facts/output_series.h"
#include "src/common/facts/value_table.h"

namespace zelk::facts {

constexpr std::size_t most_names = 100'000;
constexpr std::size_t most_bytes = std::size_t{32} << 20;  // names and values
constexpr std::size_t most_unread = 1000;

// The names of one description's facts, numbered as they come.
class name_list {
 public:
  explicit name_list(std::size_t most) : most_(most) {}

  // Returns no_index for a new one when there are too many.
  std::uint32_t number_of(std::string_view name);
  const std::string& operator[](std::uint32_t number) const {
    return names_[number];
  }
  std::size_t size() const { return names_.size(); }

 private:
  std::size_t most_;
  std::deque<std::string> names_;  // they stay where they are
  std::unordered_map<std::string_view, std::uint32_t> numbers_;
};

class gathered {
 public:
  // Requires: both outlive this.
  gathered(const compiled_facts& all, value_table& values,
           std::size_t most_names_of_all);

  // Begins with the next output.
  void begin();

  // Adds one occurrence of fact number `which`, with that text as its value.
  void add(std::size_t which, std::string_view name, std::string_view text);
  // The same of a name that has its number.
  void add(std::size_t which, std::uint32_t name, std::string_view text);
  // Returns no_index for one that add would refuse.
  std::uint32_t number_of(std::string_view name);

  // A source of the fact's own was there, whatever it said.
  void saw_source(std::size_t which);

  // All that a known line gives. Between begin_line and the call of line_gave,
  // all that is added is what one line gives; null when that depends on more
  // than the line, or when something is to be said about it.
  void add(const given_line& line);
  void begin_line();
  const given_line* line_gave() const { return is_plain_ ? &line_ : nullptr; }

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

  // Returns what has come, until the next begin. With an `incomplete` one,
  // absence says nothing: why.
  const numbered_extraction& finish(const std::string& incomplete);

  const name_list& names() const { return names_; }

 private:
  struct entry {               // by number of its name
    std::uint32_t output = 0;  // the number of the output that it is about
    std::uint32_t which = 0;
    std::uint32_t count = 0;
    std::uint32_t value = no_index;
  };

  entry* entry_of(std::uint32_t which, std::uint32_t name);
  bool is_here(std::uint32_t name) const;
  bool spend(std::size_t bytes);
  void take(const given_fact& one);
  void leave_out(std::uint32_t which, std::uint32_t name);
  void take_problem(std::uint32_t which, std::uint32_t name,
                    const std::string& problem);
  void combine(entry& to, std::uint32_t name, const given_fact& one);
  void add_up(entry& to, std::uint32_t name, std::uint32_t value);
  std::uint32_t joined(std::vector<std::uint32_t>& values, value_type type);
  void finish_entry(std::uint32_t name, const std::string& incomplete);
  void finish_absent(std::size_t which, const std::string& incomplete);
  void finish_unread();
  void finish_sources();
  std::string reason_of(std::size_t which) const;

  const compiled_facts& all_;
  value_table& values_;
  name_list names_;
  std::vector<std::uint32_t> fixed_;  // by fact: the number of its only name

  std::uint32_t output_ = 0;  // number of the present one
  std::vector<entry> entries_;
  std::vector<std::uint32_t> touched_;       // names that this output gives
  std::vector<std::uint32_t> sources_seen_;  // by fact: the last output
  std::map<std::uint32_t, std::vector<std::uint32_t>> sets_;  // by name
  std::map<std::uint32_t, fact_value> sums_;
  std::set<std::uint32_t> left_out_;
  std::map<std::uint32_t, std::string> problems_;    // why there is no value
  std::map<std::string, std::string> cannot_;        // name, reason
  std::map<std::size_t, std::string> explanations_;  // by declaration
  std::set<std::string> notes_;
  std::string rejected_;
  std::size_t bytes_ = 0;
  bool full_ = false;

  given_line line_;
  bool is_plain_ = false;
  numbered_extraction made_;
};

}  // namespace zelk::facts
