// What a provider description says about facts, as it is written.
//
// The file is valid against the schema; what its expressions, units and
// attributes mean together is not looked at here (src/common/facts). The worker
// does not use this: it passes over the element.

#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zelk::preproc {

// One element `fact`. Values are tokens, but `from` and `pattern` are kept
// byte for byte.
struct written_fact {
  long line = 0;
  std::map<std::string, std::string> attributes;
};

struct written_facts {
  std::string path;
  std::string provider;      // its name
  std::int32_t version = 1;  // of the provider and so of its facts
  std::string description;   // what the provider is about; "": nothing said
  bool declared = false;     // there is an element `facts`
  long line = 0;             // of that element
  std::string format = "lines";
  std::vector<written_fact> facts;
};

// Reads the description `path`, valid against the schema file `schema`. Returns
// nothing after one error record.
std::optional<written_facts> read_written_facts(const std::string& path,
                                                const std::string& schema);

}  // namespace zelk::preproc
