// What a provider wrote to its standard error on a node.

#pragma once

#include <cstdint>
#include <string>

#include "src/common/datastore/sqlite.h"

namespace zelk::check {

class error_output {
 public:
  error_output(const datastore::database& base, std::int64_t run);

  // Of the newest result; its last 8 KiB. "" for nothing. `provider` is a
  // column of a judgement: "stream" or "stream/full".
  std::string of(const std::string& node, const std::string& provider);

 private:
  std::int64_t run_;
  datastore::statement query_;
};

}  // namespace zelk::check
