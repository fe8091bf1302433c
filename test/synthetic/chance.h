// Chance by place: what a number is depends on where it is asked for and not on
// what was asked before.
//
// A cluster's noise is drawn at (seed, node, provider, place in the output,
// run), so that outputs can be made in any order, again, or alone, with the
// same bytes. Not for secrets.

#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>
#include <string_view>

namespace zelk::synthetic {

// FNV-1a: a place by its name.
constexpr std::uint64_t place_of(std::string_view name) {
  std::uint64_t hash = 0xCBF29CE484222325ULL;
  for (const char c : name)
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3ULL;
  return hash;
}

class chance {
 public:
  constexpr explicit chance(std::uint64_t seed) : state_(mixed(seed)) {}

  constexpr chance at(std::uint64_t place) const {
    chance there = *this;
    there.state_ = mixed(state_ ^ (place * 0x9E3779B97F4A7C15ULL + 1));
    return there;
  }
  constexpr chance at(std::string_view place) const {
    return at(place_of(place));
  }

  constexpr std::uint64_t bits() const { return state_; }

  // Above 0, below 1.
  constexpr double uniform() const {
    return (static_cast<double>(state_ >> 11) + 0.5) * 0x1p-53;
  }

  // Of the normal distribution with mean 0 and deviation 1.
  double normal() const {
    const double turn = 2 * std::numbers::pi * at(2).uniform();
    return std::sqrt(-2 * std::log(at(1).uniform())) * std::cos(turn);
  }

 private:
  // The last steps of splitmix64.
  static constexpr std::uint64_t mixed(std::uint64_t x) {
    x += 0x9E3779B97F4A7C15ULL;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
    return x ^ (x >> 31);
  }

  std::uint64_t state_;
};

}  // namespace zelk::synthetic
