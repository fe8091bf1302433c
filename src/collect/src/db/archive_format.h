// What an exported file is (doc/man/zelk-db.1, "EXPORTED FILES").
//
// A tar file in one zstd frame. Its members are plain files, and which one
// comes next is always known:
//
//   zelk-export.json               {"format": "zelkara-export", "version": 1,
//                                   "runs": R}
//   run-000001/run.json            the run (run_json.h) and, as "records" and
//                                  "expectations", how many of them follow
//   run-000001/expected.jsonl      what was expected, one a line
//   run-000001/results/00000001    a result file: 736 bytes, three blocks
//   ...
//   SHA256SUMS                     of all members before it, as sha256sum -c
//                                  reads it
//
// So anybody can look inside without this program, and can check it. A reader
// of this program takes nothing that differs from this in any byte's meaning.

#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace zelk::db {

constexpr char archive_format[] = "zelkara-export";
constexpr std::int64_t archive_version = 1;

// Of the JSON members: a run's texts are a command line and what people wrote.
constexpr std::size_t longest_json = std::size_t{4} << 20;  // bytes

// Of one line of expected.jsonl: three names and a reason.
constexpr std::size_t longest_line = std::size_t{1} << 20;  // bytes

constexpr std::int64_t most_runs = 999'999;
constexpr std::int64_t most_records = 99'999'999;

constexpr char head_name[] = "zelk-export.json";
constexpr char sums_name[] = "SHA256SUMS";
std::string run_name(std::int64_t run);
std::string expected_name(std::int64_t run);
std::string result_name(std::int64_t run, std::int64_t result);

// What is wrong with a file, and where.
class archive_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace zelk::db
