// Reads an exported file (archive_format.h) from a stranger.
//
// Throws archive_error at the first byte that is not as it should be: what is
// wrong and where. Holds one record at a time and the members' sums.

#pragma once

#include <cstddef>
#include <cstdint>

#include "src/collect/src/accumulate/runs.h"
#include "src/collect/src/db/archive_json.h"
#include "src/collect/src/provider/result.h"

namespace zelk::db {

// What is told of a file, in its order.
class archive_visitor {
 public:
  virtual ~archive_visitor() = default;
  virtual void begin_run(const archived_run& /*run*/) {}
  virtual void expectation(const accumulate::missing_result& /*expected*/) {}
  virtual void begin_results() {}
  virtual void result(provider_result& /*result*/) {}
  virtual void end_run() {}
};

// Reads the file that `fd` stands at the beginning of, to its end. Returns the
// number of its runs. Only when it returns was all of it in order.
std::int64_t read_archive(int fd, std::size_t max_record,
                          archive_visitor& visitor);

}  // namespace zelk::db
