#include "src/check/node_values.h"

#include <algorithm>

namespace zelk::check {

namespace {

// A node that speaks takes two numbers in place of one, and a search.
constexpr std::size_t few = 8;

}  // namespace

node_values::node_values(std::size_t nodes, std::size_t speakers)
    : nodes_(nodes), is_sparse_(speakers < nodes / few) {
  if (!is_sparse_) dense_.assign(nodes, no_value);
}

std::uint32_t node_values::sparse_at(std::size_t node) const {
  const auto found = std::lower_bound(
      sparse_.begin(), sparse_.end(), node,
      [](const pair& a, std::size_t b) { return a.first < b; });
  return found != sparse_.end() && found->first == node ? found->second
                                                        : no_value;
}

void node_values::make_dense() {
  if (!is_sparse_) return;
  dense_.assign(nodes_, no_value);
  for (const auto& [node, value] : sparse_)
    dense_[node] = value;
  sparse_ = {};
  is_sparse_ = false;
}

void node_values::set(std::size_t node, std::uint32_t value) {
  if (is_sparse_ && sparse_.size() >= nodes_ / few) make_dense();
  if (!is_sparse_) {
    dense_[node] = value;
    return;
  }
  const pair made{static_cast<std::uint32_t>(node), value};
  const auto place = std::lower_bound(
      sparse_.begin(), sparse_.end(), made,
      [](const pair& a, const pair& b) { return a.first < b.first; });
  if (place != sparse_.end() && place->first == made.first)
    place->second = value;
  else
    sparse_.insert(place, made);
}

void node_values::assign(std::size_t nodes, std::uint32_t value) {
  *this = node_values();
  nodes_ = nodes;
  dense_.assign(nodes, value);
}

void node_values::push_back(std::uint32_t value) {
  make_dense();
  dense_.push_back(value);
  ++nodes_;
}

void node_values::resize(std::size_t nodes) {
  make_dense();
  dense_.resize(nodes, no_value);
  nodes_ = nodes;
}

bool operator==(const node_values& a, const node_values& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin());
}

}  // namespace zelk::check
