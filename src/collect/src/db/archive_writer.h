// Writes an exported file (archive_format.h).
//
// The calls follow the members: begin_run(), expectation()..., result()...,
// the next run, and finish(). Throws failure when the file cannot be written.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "src/collect/src/accumulate/runs.h"
#include "src/collect/src/accumulate/sha256.h"
#include "src/collect/src/db/tar.h"
#include "src/collect/src/db/zstd_stream.h"
#include "src/collect/src/provider/result.h"

namespace zelk::db {

class archive_writer {
 public:
  // Writes to `fd`, which stays the caller's, a file of `runs` runs.
  archive_writer(int fd, std::int64_t runs, std::int64_t time);

  // Requires: as many expectations and results follow as are said here.
  void begin_run(const accumulate::run& run, std::int64_t expectations,
                 std::int64_t records);
  void expectation(const accumulate::missing_result& expected);
  void result(const provider_result& result);

  void finish();

 private:
  void member(const std::string& name, std::string_view content);
  void add_sum(const std::string& name, const accumulate::digest& sum);
  void end_expectations();

  zstd_writer compressed_;
  tar_writer tar_;
  accumulate::sha256 hash_;
  std::string expected_;
  std::string sums_;
  std::int64_t run_ = 0;
  std::int64_t result_ = 0;
  bool expecting_ = false;
};

}  // namespace zelk::db
