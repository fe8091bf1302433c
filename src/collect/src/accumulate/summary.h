// What an accumulation came to, as text for people and as JSON for programs.
//
// The JSON is one document, "zelkara.accumulate/1"; keys are only ever added.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "src/collect/src/accumulate/refusal.h"
#include "src/collect/src/accumulate/scanner.h"
#include "src/collect/src/accumulate/store_writer.h"
#include "src/collect/src/accumulate/tally.h"

namespace zelk::accumulate {

struct listen_summary {
  tally counts;
  refusal_log::counts refused = {};
  run_report run;
  double seconds = 0;
  std::string ended_by;  // "complete", "SIGTERM", "time limit"
};

struct scan_summary {
  scan_report files;
  std::vector<run_report> runs;
  double seconds = 0;
  bool given_up = false;  // the store took nothing any more
};

std::string text_of(const listen_summary& summary);
std::string text_of(const scan_summary& summary);
std::string json_of(const listen_summary& summary);
std::string json_of(const scan_summary& summary);

// What to do about records that became files in `directory`: without the run a
// scan would make one of its own of them. 0: there is no run.
std::string unsaved_advice(std::uint64_t records, const std::string& directory,
                           std::int64_t run, const std::string& datastore);

// "node[037,112]  stream: reason", one line for all nodes that lack the same.
std::vector<std::string> missing_lines(
    const std::vector<missing_result>& missing);

// "3 records", "1 record".
std::string count_of(std::uint64_t number, const std::string& singular);

// "1.5 MiB".
std::string size_text(std::uint64_t bytes);

// How many results a run lacks that were counted and not named.
std::int64_t unnamed_missing(const run_report& run);

}  // namespace zelk::accumulate
