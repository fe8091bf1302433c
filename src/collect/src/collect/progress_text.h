// The progress of a collection as one line, on a terminal and elsewhere.
//
// Pure text and arithmetic.

#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "src/collect/src/collect/ledger.h"

namespace zelk::collect {

struct progress_facts {
  std::size_t received = 0;
  std::size_t expected = 0;
  std::size_t answering = 0;
  std::size_t nodes = 0;
  double seconds = 0;
  std::optional<ledger::laggard> waiting;
};

// [##################------]  74%  912/1233 results  134/136 nodes answering
// 02:10  waiting: node055 stream 131s            (one line, without its end)
std::string meter_text(const progress_facts& facts);

// zelk-collect: 50% 617/1233 results, 134/136 nodes, 71 s
std::string plain_text(const progress_facts& facts);

// When a plain line is due: at most one a quarter of the results, and at most
// one a minute, so that a log of a short collection has none and one of a long
// collection has four.
class line_schedule {
 public:
  bool due(const progress_facts& facts);

 private:
  std::size_t quarter_told_ = 0;
  double told_at_ = 0;
};

}  // namespace zelk::collect
