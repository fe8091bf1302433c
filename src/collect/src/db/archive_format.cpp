#include "src/collect/src/db/archive_format.h"

#include <fmt/format.h>

namespace zelk::db {

std::string run_name(std::int64_t run) {
  return fmt::format("run-{:06}/run.json", run);
}

std::string expected_name(std::int64_t run) {
  return fmt::format("run-{:06}/expected.jsonl", run);
}

std::string result_name(std::int64_t run, std::int64_t result) {
  return fmt::format("run-{:06}/results/{:08}", run, result);
}

}  // namespace zelk::db
