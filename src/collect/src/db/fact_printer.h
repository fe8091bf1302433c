// Facts as text, in one of three forms.
//
//   table   for people: one line a fact, everything visible, long values cut
//   csv     RFC 4180 with plain newlines and a head line; a list's values have
//           newlines between
//   json    one array of objects, in ASCII; a list is an array

#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "src/collect/src/reading/run_facts.h"

namespace zelk::db {

class fact_printer {
 public:
  virtual ~fact_printer() = default;
  virtual void fact(const reading::result_facts& of,
                    const facts::fact& one) = 0;
  virtual void unread(const reading::result_facts& of,
                      const facts::unread_fact& one) = 0;
  // Behind the last one.
  virtual void end() {}
};

const std::vector<std::string>& fact_forms();

// `reasons`: it is given unread facts and no others, which have columns of
// their own in a table and in csv. Requires: `form` is one of fact_forms().
std::unique_ptr<fact_printer> make_fact_printer(const std::string& form,
                                                bool reasons,
                                                std::ostream& out);

}  // namespace zelk::db
