// Test support: runs made by hand, fact by fact.
//
//   run_builder run(20);                          // n1 ... n20
//   run.number("memory", "mem.total")              // of provider memory
//       .all(1024)                                // on every node
//       .on(7, 512);                              // but n7
//   const judgement said = judge(run.data(), ...);
//
// A node answers a provider `ok` from the first fact of it on, unless something
// else is said. Lists are in the order that is asked of a loaded run.

#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "src/check/run_data.h"

namespace zelk::check {

class run_builder;

// One fact of all nodes. Nodes are counted from 1, as in their names.
class fact_builder {
 public:
  fact_builder& all(const std::string& text);
  fact_builder& all(double number);
  fact_builder& on(std::size_t node, const std::string& text);
  fact_builder& on(std::size_t node, double number);
  fact_builder& none_on(std::size_t node);  // answered without it

  fact_builder& unit(const std::string& name);
  fact_builder& better(facts::better direction);
  fact_builder& compare(facts::comparison how);
  fact_builder& type(facts::value_type what);

 private:
  friend class run_builder;
  run_builder* run_ = nullptr;
  fact_column column_;
};

class run_builder {
 public:
  // Nodes n1 ... n`count`; at the time `usec`, run number 1.
  explicit run_builder(std::size_t count, std::int64_t usec = default_usec);

  // A fact of text, compared for being equal.
  fact_builder& text(const std::string& provider, const std::string& name);
  // A number, compared for outliers.
  fact_builder& number(const std::string& provider, const std::string& name);
  fact_builder& counter(const std::string& provider, const std::string& name);
  fact_builder& list(const std::string& provider, const std::string& name);

  // How a provider ended on a node; node 0 stands for all.
  run_builder& ended(const std::string& provider, std::size_t node, answer what,
                     const std::string& reason = "");
  // Nothing came from the node, of all that was expected.
  run_builder& silent(std::size_t node, const std::string& reason = "");
  run_builder& unread(const std::string& provider, const std::string& name,
                      std::size_t node);
  run_builder& notes(std::size_t node, const node_notes& what);
  run_builder& rename(std::size_t node, const std::string& name);
  run_builder& numbered(std::int64_t number);  // of the run
  // No earlier run told what the nodes are. Otherwise they are alike, unless
  // the facts say what they are.
  run_builder& of_unknown_machines();

  // Everything in its order. May be asked for again after changes.
  run_data data() const;
  // The same, with all lists in another order that `seed` gives.
  run_data shuffled(unsigned seed) const;

  static constexpr std::int64_t default_usec = 1'700'000'000'000'000;

 private:
  friend class fact_builder;
  struct made_answer {
    std::string provider;
    std::size_t node;
    provider_answer given;
  };

  std::uint32_t value(const std::string& text, const double* number);
  void put_machines(run_data& into) const;
  fact_builder& add(const std::string& provider, const std::string& name,
                    facts::comparison how, facts::value_type type);

  std::size_t count_;
  run_info info_;
  std::vector<std::string> names_;
  std::vector<node_notes> notes_;
  std::deque<fact_builder> facts_;
  std::vector<made_answer> answers_;
  std::vector<unread_fact> unread_;
  std::map<std::size_t, std::string> silent_;
  facts::value_table values_;
  bool is_known_ = true;
};

}  // namespace zelk::check
