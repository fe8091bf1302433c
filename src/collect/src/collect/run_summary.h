// What a collection came to, as text for people and as JSON for programs.
//
// Pure text. The JSON is one document, "zelkara.collect/1", whose keys are only
// ever added.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/collect/src/collect/ledger.h"
#include "src/collect/src/collect/next_commands.h"

namespace zelk::collect {

struct run_summary {
  std::size_t received = 0;
  std::size_t expected = 0;
  std::size_t answering = 0;
  std::size_t nodes = 0;
  double seconds = 0;
  std::int64_t started_usec = 0;    // since the Unix epoch
  std::optional<std::int64_t> run;  // none: it was never made
  std::string label;
  std::string state;  // as the datastore has it: "complete", "partial" ...
  std::string launcher;
  std::string trouble;  // what ended the collection, if anything did
  std::vector<shortfall_row> rows;
  std::vector<missing_result> missing;
  std::vector<next_command> next;
  int exit_status = 0;
};

std::string text_of(const run_summary& summary);
std::string json_of(const run_summary& summary);

//   duration_text(0.34)   "0.3 s"
//   duration_text(312)    "5 min 12 s"
//   duration_text(7384)   "2 h 3 min"
std::string duration_text(double seconds);

// "2025-11-21T05:12:00Z".
std::string utc_text(std::int64_t usec_since_epoch);

}  // namespace zelk::collect
