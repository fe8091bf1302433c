// A cluster that does not exist: its machines, and what each provider prints on
// each of them in each run.
//
// Nothing is kept: outputs are made when they are asked for, and are the same
// each time (chance.h). The machines are healthy; faults.h makes them ill.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "test/synthetic/chance.h"
#include "test/synthetic/machine_class.h"
#include "test/synthetic/moment.h"
#include "test/synthetic/output_template.h"

namespace zelk::synthetic {

struct cluster_size {
  std::size_t nodes = 64;  // at least smallest_cluster
  std::uint64_t seed = 1;
};

constexpr std::size_t smallest_cluster = 32;

// The first run of every cluster; the others follow day by day.
constexpr std::int64_t first_run_sec = 1'772'418'600;  // 2026-03-02 02:30 UTC
constexpr std::int64_t between_runs_sec = 86400;

struct machine {
  std::string name;
  std::size_t class_number;
  std::int64_t booted;  // before the first run
};

// What became of one provider on one machine.
struct answer {
  bool expected = true;
  bool came = true;
  int exit_status = 0;
  std::string output;
  std::string errors;
  std::string reason;   // of one that did not come
  double duration = 0;  // seconds
  std::string nodes;    // of a provider of many nodes: all of them, "a, b"
  int node_count = 1;
};

class cluster {
 public:
  // `folder` holds classes/ and outputs/. Throws std::runtime_error.
  cluster(const cluster_size& size, const std::string& folder);

  const std::vector<machine>& machines() const { return machines_; }
  const std::vector<machine_class>& classes() const { return classes_; }
  const machine_class& class_of(std::size_t node) const {
    return classes_[machines_[node].class_number];
  }
  std::vector<std::size_t> members_of(const std::string& class_name) const;

  // By name, as provider descriptions are called.
  const std::vector<std::string>& providers() const { return providers_; }
  std::size_t provider_number(const std::string& name) const;

  moment at(std::size_t node, std::uint64_t run) const;

  // What provider number `provider` gives there and then.
  answer ask(std::size_t node, std::size_t provider, const moment& when) const;
  // The answers of all of them, in their order.
  std::vector<answer> ask_all(std::size_t node, const moment& when) const;

  bool leads_group(std::size_t node) const {
    return !group_led_by(node).empty();
  }

  chance luck() const { return chance(size_.seed); }

 private:
  void make_machines();
  void read_templates(const std::string& folder);
  // The machines of the group that `node` measures; none: it does not.
  std::vector<std::string> group_led_by(std::size_t node) const;
  answer measure_pairs(std::size_t node, const moment& when) const;

  cluster_size size_;
  std::vector<machine_class> classes_;
  std::vector<machine> machines_;
  std::vector<std::size_t> first_of_class_;
  std::vector<std::string> providers_;
  // By class and provider.
  std::vector<std::vector<output_template>> templates_;
};

}  // namespace zelk::synthetic
