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

// The columns of whether a node has such a thing at all, and what is bad.
inline constexpr std::string_view applies_prefix = "applies.";
inline constexpr char applies_no[] = "no";

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
  // Whether the provider's output came from the node, and nothing of it could
  // be read.
  bool is_unreadable(std::size_t provider, std::size_t node) const {
    return !unreadable_[provider].empty() &&
           unreadable_[provider][node] != nullptr;
  }
  // Why not. Requires: it is so.
  const unread_fact& why_unreadable(std::size_t provider,
                                    std::size_t node) const {
    return *unreadable_[provider][node];
  }
  // How far outside of the run the node's results are dated, by its own clock;
  // 0: they are not.
  std::int64_t misdated_usec(std::size_t node) const { return misdated_[node]; }
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
  std::int64_t outside_of_run(std::int64_t ended_usec) const;
  bool is_old(const provider_answer& given, std::int64_t oldest_usec) const;
  void add_columns();
  void add_applies();
  void add_pivots();
  void note_unread();
  void note_unreadable();
  void note_unreadable(std::uint32_t provider, const unread_fact& why);
  std::uint32_t made_value(const std::string& text);
  std::uint32_t provider_of(const fact_column& column) const;

  const run_data& data_;
  std::deque<fact_column> made_;        // columns of our own
  std::vector<std::string> made_text_;  // values behind those of data_
  std::vector<column_view> columns_;
  std::vector<std::vector<worth>> worth_;         // by provider, node
  std::vector<std::vector<std::uint8_t>> stale_;  // by provider, node
  std::vector<std::uint8_t> silent_, expected_;   // by node
  std::vector<std::int64_t> misdated_;            // by node
  // By provider, then node; empty where all is read.
  std::vector<std::vector<const unread_fact*>> unreadable_;
};

// Returns `data` with all lists in their order; a copy only if they were not.
// Whoever loads a run need not sort it for the judgement to be the same.
const run_data& in_order(const run_data& data, run_data& copy);

}  // namespace zelk::check
