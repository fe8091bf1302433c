// What each node of a run says of one fact, as indexes of values.
//
// Tests between nodes give facts that one node in a thousand tells, thousands
// of them: where few nodes say anything, only those take room.

#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "src/common/facts/value_table.h"

namespace zelk::check {

// The last value of an index says "none".
constexpr std::uint32_t no_value = facts::no_index;

class node_values {
 public:
  class iterator;

  node_values() = default;
  // Of so many nodes, none of which says anything yet; about `speakers` will.
  node_values(std::size_t nodes, std::size_t speakers);

  std::size_t size() const { return nodes_; }
  // Requires: `node` is less than size().
  std::uint32_t operator[](std::size_t node) const {
    return is_sparse_ ? sparse_at(node) : dense_[node];
  }
  void set(std::size_t node, std::uint32_t value);

  // As of a vector.
  void assign(std::size_t nodes, std::uint32_t value);
  void push_back(std::uint32_t value);
  void resize(std::size_t nodes);
  iterator begin() const;
  iterator end() const;

  friend bool operator==(const node_values& a, const node_values& b);

 private:
  using pair = std::pair<std::uint32_t, std::uint32_t>;  // node, value

  std::uint32_t sparse_at(std::size_t node) const;
  void make_dense();

  std::size_t nodes_ = 0;
  bool is_sparse_ = false;
  std::vector<std::uint32_t> dense_;
  std::vector<pair> sparse_;  // by node
};

// Over all nodes.
class node_values::iterator {
 public:
  using value_type = std::uint32_t;
  using difference_type = std::ptrdiff_t;

  iterator() = default;
  iterator(const node_values& of, std::size_t at) : of_(&of), at_(at) {}

  std::uint32_t operator*() const { return (*of_)[at_]; }
  iterator& operator++() {
    ++at_;
    return *this;
  }
  iterator operator++(int) {
    iterator before = *this;
    ++at_;
    return before;
  }
  bool operator==(const iterator& other) const { return at_ == other.at_; }

 private:
  const node_values* of_ = nullptr;
  std::size_t at_ = 0;
};

inline node_values::iterator node_values::begin() const {
  return {*this, 0};
}

inline node_values::iterator node_values::end() const {
  return {*this, nodes_};
}

}  // namespace zelk::check
