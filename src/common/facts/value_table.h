// Values of many facts in little room, equal ones once.
//
// A run of 10,000 nodes has millions of values, most of them measurements that
// no other node has: each takes 16 bytes here, and a text its bytes besides.
// The integer 1 is not the text "1", but it is the number 1: two versions of a
// description may call one thing by either type.

#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/facts/fact.h"

namespace zelk::facts {

// Stands for the index of no value, and for the number of no name.
constexpr std::uint32_t no_index = std::numeric_limits<std::uint32_t>::max();

// There is no room for a longer one in any table.
constexpr std::size_t longest_text = std::size_t{1} << 30;  // bytes

class value_table {
 public:
  value_table() = default;
  // Takes values of no more than `most_bytes`.
  explicit value_table(std::size_t most_bytes) : bytes_left_(most_bytes) {}

  // Returns the index of an equal value, of this one from now on, or no_index
  // when there is no room for it any more.
  std::uint32_t index_of(const fact_value& value);
  std::uint32_t index_of_text(std::string_view text);

  // Gives back what only index_of needs; it makes that again when it is called.
  void settle();

  std::size_t size() const { return items_.size(); }

  // Requires of all that follow: `index` is less than size().
  // As a value of its type: a number that is written as an integer is one here,
  // whatever it was when it came.
  fact_value at(std::uint32_t index) const;
  // As a value of that type. Requires: it came as one.
  fact_value at(std::uint32_t index, value_type type) const;
  std::string text(std::uint32_t index) const;  // as text_of(at(index))
  bool is_text(std::uint32_t index) const {
    return items_[index].what == kind::text;
  }
  // Of integers, numbers and booleans, which are 0 and 1.
  std::optional<double> number(std::uint32_t index) const;

 private:
  enum class kind : std::uint32_t { text, integer, number, boolean };
  struct item {
    std::uint64_t bits = 0;  // of a text: where it begins in texts_
    std::uint32_t length = 0;
    kind what = kind::text;
  };

  std::string_view text_at(const item& of) const {
    return std::string_view(texts_).substr(of.bits, of.length);
  }
  std::size_t hash_of(const item& of) const;
  bool same(const item& a, const item& b, std::string_view text_of_b) const;
  std::uint32_t find_or_add(item wanted, std::string_view text);
  void make_slots();

  std::deque<item> items_;  // it grows without a second copy of all
  std::string texts_;
  std::size_t bytes_left_ = std::numeric_limits<std::size_t>::max();
  // A hash table, at most half full, of indexes plus one (0: free). A node of a
  // map for each value would take more memory than the values.
  std::vector<std::uint32_t> slots_;
};

}  // namespace zelk::facts
