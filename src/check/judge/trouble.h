// The identity of a trouble: what is the same about it in another run. A check,
// a node and, but for outliers, a fact. Outliers have none: which of a node's
// bandwidths is the lowest changes from run to run.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "src/check/judge/hit.h"

namespace zelk::check {

// A hash (FNV-1a) that is the same on every machine and in every version.
class stable_hash {
 public:
  explicit stable_hash(std::uint64_t start = 0xcbf29ce484222325)
      : now_(start) {}

  stable_hash& add(std::string_view text) {
    for (const char c : text)
      step(static_cast<unsigned char>(c));
    step(0xff);  // no byte of UTF-8: "ab" and "c" are not "a" and "bc"
    return *this;
  }
  std::uint64_t value() const { return now_; }

 private:
  void step(unsigned byte) { now_ = (now_ ^ byte) * 0x100000001b3; }

  std::uint64_t now_;
};

// The part of the key that all nodes of a hit share.
stable_hash key_of(const hit& what, const run_view& run, const classes& groups);

// Of a hit that is_common(), whatever node it is.
std::uint64_t trouble_key(const hit& what, stable_hash start,
                          const std::string& node);

// 16 hexadecimal digits.
std::string in_hexadecimal(std::uint64_t number);
// Returns 0 for what is none.
std::uint64_t from_hexadecimal(std::string_view text);

}  // namespace zelk::check
