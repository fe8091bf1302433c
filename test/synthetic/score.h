// How right a judgement is, of a cluster whose faults are known.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "src/check/judgement.h"
#include "test/synthetic/cluster.h"
#include "test/synthetic/faults.h"

namespace zelk::synthetic {

struct fault_score {
  const fault* what = nullptr;
  std::size_t planted = 0;          // machines
  std::size_t found = 0;            // of which it was said
  std::size_t findings = 0;         // that say it
  std::vector<std::string> missed;  // machines
};

struct false_finding {
  std::string node;  // "" when it names none
  std::string check, fact, message;
  check::severity level;
};

struct score {
  std::vector<fault_score> faults;
  std::size_t healthy = 0;  // machines without a fault of their own
  // One for each finding and machine; without informational ones.
  std::vector<false_finding> wrong;
  // One for each finding: those about many machines are news about all.
  std::vector<false_finding> wrong_informational;
  // That the class of two machines is too small to be compared.
  bool small_class_said = false;
};

// A finding about a healthy machine is false unless a fault of the whole class
// or cluster explains it. What is found besides on a machine with a fault is
// not held against the judgement: faults have consequences.
score score_of(const check::judgement& of, const cluster& in,
               const std::vector<planted>& faults);

// Whether `each` says what has to be said of the fault.
bool says(const check::finding& each, const expected& what);

}  // namespace zelk::synthetic
