#include "src/collect/src/collect/cluster_groups.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <random>
#include <utility>

#include "src/collect/src/utils/cluster_sizes.h"

namespace zelk::collect {

namespace {

using name_list = std::vector<std::string>;

void put_in_order(name_list& names, nodelist_method_t method,
                  std::uint64_t seed) {
  if (names.empty()) return;
  if (method == nodelist_method_t::ROTATE_RIGHT)
    std::rotate(names.begin(), names.end() - 1, names.end());
  if (method == nodelist_method_t::ROTATE_LEFT)
    std::rotate(names.begin(), names.begin() + 1, names.end());
  if (method == nodelist_method_t::RANDOM) shuffle(names, seed);
}

// Gives each group that has room one name after the other. Returns how many
// names found a place.
std::size_t deal(const name_list& names, const std::vector<int>& sizes,
                 std::vector<name_list>& groups) {
  const auto places =
      std::accumulate(sizes.begin(), sizes.end(), std::size_t{0},
                      [](std::size_t sum, int size) {
                        return sum + static_cast<std::size_t>(size);
                      });
  for (std::size_t dealt = 0; dealt < places;)
    for (std::size_t g = 0; g < groups.size(); ++g)
      if (groups[g].size() < static_cast<std::size_t>(sizes[g]))
        groups[g].push_back(names[dealt++]);
  return places;
}

std::size_t cut(const name_list& names, const std::vector<int>& sizes,
                std::vector<name_list>& groups) {
  auto from = names.begin();
  for (std::size_t g = 0; g < groups.size(); ++g) {
    groups[g].assign(from, from + sizes[g]);
    from += sizes[g];
  }
  return static_cast<std::size_t>(from - names.begin());
}

}  // namespace

// The generator's numbers are laid down by the standard, what std::shuffle
// makes of them is not.
void shuffle(name_list& names, std::uint64_t seed) {
  std::mt19937_64 chance(seed);
  for (std::size_t i = names.size(); i > 1; --i)
    std::swap(names[i - 1], names[chance() % i]);
}

cluster_groups make_groups(name_list nodes, int size, int minimum,
                           nodelist_method_t method, std::uint64_t seed) {
  put_in_order(nodes, method, seed);
  cluster_groups made;
  if (nodes.empty()) return made;
  const std::vector<int> sizes =
      split_cluster_sizes(static_cast<int>(nodes.size()), size, minimum);
  made.groups.resize(sizes.size());
  const std::size_t placed = method == nodelist_method_t::ROUND_ROBIN
                                 ? deal(nodes, sizes, made.groups)
                                 : cut(nodes, sizes, made.groups);
  made.left_over.assign(nodes.begin() + static_cast<std::ptrdiff_t>(placed),
                        nodes.end());
  return made;
}

}  // namespace zelk::collect
