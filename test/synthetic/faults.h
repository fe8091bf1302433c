// Faults that can be planted, and what has to be said of each.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/check/judgement.h"
#include "test/synthetic/cluster.h"
#include "test/synthetic/patient.h"

namespace zelk::synthetic {

// Which machines have it.
enum class spread : std::uint8_t {
  one,          // machine
  two,          // machines, together
  half_class,   // every second machine of a class
  all_compute,  // every compute machine of the cluster
};

enum class onset : std::uint8_t {
  before,    // it was there in the first run already
  last_run,  // it came since the run before
};

// One of these has to be said of each machine that has the fault: a finding
// that is at least so severe, by a check or about a fact of those (shell
// patterns), or that the provider gave such an answer.
struct expected {
  std::vector<std::string> checks;
  std::vector<std::string> facts;
  check::severity least = check::severity::warning;
  std::optional<check::answer> answer = {};
  std::string provider = {};  // of that answer; "": all
};

struct fault {
  std::string name;
  std::string what;                  // for people
  std::vector<std::string> classes;  // where it can be; the first is preferred
  spread reach;
  onset since;
  void (*plant)(patient&);
  expected say;
  int booted_hours_ago = 0;  // in the last run; 0: not since the run before
  bool leads_group = false;  // only a machine that measures for its group
};

// All of them, in a fixed order.
const std::vector<fault>& all_faults();

// The lists that it is made of.
std::vector<fault> hardware_faults();
std::vector<fault> link_faults();
std::vector<fault> speed_faults();
std::vector<fault> system_faults();
std::vector<fault> state_faults();
std::vector<fault> silence_faults();

// A fault on its machines.
struct planted {
  const fault* what = nullptr;
  std::vector<std::size_t> nodes;  // ascending

  bool on(std::size_t node) const;
};

// Puts as many of `wanted` as there is room for on machines of their own,
// chosen by `luck`: at most two in five of a class are ill. The others are left
// out.
std::vector<planted> plant(const cluster& in,
                           const std::vector<const fault*>& wanted,
                           chance luck);

// The answers of a machine in a run, with the faults that it has.
std::vector<answer> answers_of(const cluster& in,
                               const std::vector<planted>& faults,
                               std::size_t node, std::uint64_t run,
                               bool last_run);

}  // namespace zelk::synthetic
