// A run made ready to be judged: columns in order, numbers, and who answered
// what well enough that its absence says something.
//
// A column's values are numbers of texts, so that 10,000 nodes with 4,000 facts
// are compared by counting numbers. Two columns are made here that no provider
// gives: "applies.PROVIDER", whether a node says it has such a thing at all,
// and "node.*.FACT", what the nodes of a group say about each other, put to the
// node that it is about.

#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "src/check/run_data.h"

namespace zelk::check {

// What stands for a fact that a node should have given and has not.
constexpr std::uint32_t absent_value = no_value - 1;
// Nothing is known: no answer, not all of it, or it could not be read.
constexpr std::uint32_t unknown_value = no_value;

constexpr std::uint32_t no_provider = 0xffffffff;

struct column_view {
  const fact_column* fact = nullptr;
  std::uint32_t provider = no_provider;  // into run_data::providers
  // Nodes on which this fact could not be read, ascending.
  std::vector<std::uint32_t> unread;
  bool absence_counts = true;  // a node without it may be told so
};

class run_view {
 public:
  // Requires: `data` outlives this and its lists are in their order. Results
  // that ended before `oldest_usec` are stale.
  run_view(const run_data& data, std::int64_t oldest_usec);
  run_view(const run_view&) = delete;
  run_view& operator=(const run_view&) = delete;

  const run_data& data() const { return data_; }
  std::size_t nodes() const { return data_.nodes.size(); }
  const std::vector<column_view>& columns() const { return columns_; }

  // Returns the value of a node: an index, absent_value or unknown_value.
  std::uint32_t value(const column_view& column, std::size_t node) const;

  std::string text(std::uint32_t value) const;  // "" of no index
  // NaN when it is no number, or none that is finite.
  double number(std::uint32_t value) const;
  std::size_t value_count() const {
    return data_.values.size() + made_text_.size();
  }

  bool is_stale(std::size_t provider, std::size_t node) const {
    return stale_[provider][node] != 0;
  }
  // Whether no result of all that were expected came from the node.
  bool is_silent(std::size_t node) const { return silent_[node] != 0; }
  bool is_expected(std::size_t node) const { return expected_[node] != 0; }

  // Returns the column of exactly that name, provider and option, or null.
  const column_view* find(std::string_view name) const;

 private:
  static constexpr double not_a_number =
      std::numeric_limits<double>::quiet_NaN();

  // How much an answer of a provider on a node is worth.
  enum class worth : std::uint8_t { nothing, part, whole };

  void rate_answers(std::int64_t oldest_usec);
  void add_columns();
  void add_applies();
  void add_pivots();
  void note_unread();
  std::uint32_t made_value(const std::string& text);
  std::uint32_t provider_of(const fact_column& column) const;

  const run_data& data_;
  std::deque<fact_column> made_;        // columns of our own
  std::vector<std::string> made_text_;  // values behind those of data_
  std::vector<column_view> columns_;
  std::vector<std::vector<worth>> worth_;         // by provider, node
  std::vector<std::vector<std::uint8_t>> stale_;  // by provider, node
  std::vector<std::uint8_t> silent_, expected_;   // by node
};

// Returns `data` with all lists in their order; a copy only if they were not.
// Whoever loads a run need not sort it for the judgement to be the same.
const run_data& in_order(const run_data& data, run_data& copy);

}  // namespace zelk::check
