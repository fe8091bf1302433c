// The facts of a run's results, as the descriptions have them.
//
// Facts are not stored: they are read out of the stored outputs each time, by a
// description of the version that made the output. Outputs that are equal are
// read once.

#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/datastore/sqlite.h"
#include "src/common/facts/description_set.h"
#include "src/common/facts/extraction_cache.h"
#include "src/common/facts/fact.h"

namespace zelk::reading {

struct result_choice {
  std::int64_t run = 0;
  std::set<std::string> nodes;      // empty: all
  std::set<std::string> providers;  // empty: all
};

// A result without its outputs.
struct stored_result {
  std::int64_t id = 0;
  std::string node;
  std::string provider;
  std::string option_id;
  std::int32_t version = 0;
  int exit_status = 0;
  std::int64_t ended_usec = 0;  // since the Unix epoch
  double duration = 0;          // seconds
  bool base64 = false;
  std::int64_t output_size = 0;
  std::string hash;        // of the output; empty: there is none
  std::string error_hash;  // of the standard error
};

// In no order.
std::vector<stored_result> stored_results(datastore::database& base,
                                          const result_choice& choice);

// The last line that is not blank, without blanks at its end.
std::string last_line(std::string_view text);

// Reads outputs of any number of runs; those that are equal once.
class output_reader {
 public:
  output_reader(const datastore::database& base,
                const facts::description_set& descriptions);

  // Returns null when the description says nothing of facts.
  std::shared_ptr<const facts::extraction> facts_of(const stored_result& of);

  // The last line of what it wrote to its standard error.
  std::string last_error_line(const stored_result& of);

  // Returns its standard output, valid until the next call; an empty one when
  // `problem` says why it cannot be read.
  std::string_view output_of(const stored_result& of, std::string& problem);

  std::size_t outputs() const { return cache_.reads(); }

 private:
  const facts::description_set& descriptions_;
  datastore::statement output_;
  datastore::statement errors_;
  facts::extraction_cache cache_;
  std::string decoded_;
  std::map<std::string, std::string> problems_;     // by hash
  std::map<std::string, std::string> error_lines_;  // by hash
};

// One result, and whose it is.
struct result_facts {
  std::string node;
  std::string provider;
  std::string option_id;
  std::shared_ptr<const facts::extraction> facts;
};

struct facts_tally {
  std::size_t results = 0;
  std::size_t undeclared = 0;  // their descriptions say nothing of facts
  std::size_t outputs = 0;     // read; the others were equal to one of these
};

// Calls `take` for each chosen result whose description declares facts, and for
// each without a description, in the order of provider, node and option set.
// Nodes are in natural order.
facts_tally for_each_facts(
    datastore::database& base, const result_choice& choice,
    const facts::description_set& descriptions,
    const std::function<void(const result_facts&)>& take);

}  // namespace zelk::reading
