// What a collection expects, what has come of it, and why the rest has not.
//
// Pure bookkeeping, filled by what is launched and by what the accumulator
// tells. A result that comes after it was given up has come all the same. Every
// step takes the same time whatever the number of nodes, unless it says
// otherwise.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "src/collect/src/collect/plan.h"
#include "src/collect/src/collect/shortfall.h"

namespace zelk::collect {

// One line of a summary: nodes and providers that share a shortfall.
struct shortfall_row {
  shortfall kind = shortfall::no_answer;
  std::string reason;
  std::vector<std::string> providers;  // "stream:quick"; none: the whole node
  std::vector<std::string> nodes;      // in the order of the plan
};

// One result that was expected and did not come.
struct missing_result {
  expected_result what;  // of an empty provider: the whole node
  std::string reason;
  shortfall kind = shortfall::no_result;
};

class ledger {
 public:
  using clock = std::chrono::steady_clock;

  // Expects everything of all phases. `limit_typed`: the time limits are those
  // of the command line.
  explicit ledger(const plan& made, bool limit_typed = false);

  // No longer expects what an earlier collection has stored. Returns whether it
  // was expected.
  bool remove(const expected_result& stored);

  // A worker for `node` was started, or has ended. Several may run at once.
  void launched(const std::string& node, clock::time_point now);
  void ended(const std::string& node);

  // A result came. Returns whether it was expected and is the first of its
  // kind.
  bool came(const expected_result& what, int exit_status, double duration,
            clock::time_point now);
  // Nothing comes, for a reason. Of an empty provider: of all that has not come
  // from that node. What has come stays.
  void give_up(const expected_result& what, const why& reason);

  std::size_t expected() const { return expected_; }
  std::size_t received() const { return received_; }
  // Nodes of which something is expected, and those that gave at least one.
  std::size_t nodes() const { return nodes_expected_; }
  std::size_t answering() const { return answering_; }
  bool complete() const { return received_ == expected_; }
  // It is expected, has not come and was not given up.
  bool waits_for(const expected_result& what) const;
  // All that are waited for, in the order of the plan.
  std::vector<expected_result> waiting() const;
  // How long ago the last result of `node` came, or else its worker was
  // started.
  std::chrono::duration<double> silence(const std::string& node,
                                        clock::time_point now) const;
  bool answers(const std::string& node) const;

  // The node that is waited for the longest, and the provider it is at.
  struct laggard {
    std::string node;
    std::string provider;
    std::chrono::duration<double> since{0};
  };
  // Takes a look at each node.
  std::optional<laggard> slowest(clock::time_point now) const;

  // Each result that has not come; first the node itself where none of its
  // results has. In the order of the plan.
  std::vector<missing_result> missing() const;
  // How many of them are missing though they are required.
  std::size_t lacking() const;
  // Results that did come and are cut off by a time limit.
  std::size_t cut_off() const { return cut_off_; }
  // Whether that provider answers with this exit status: 0, and of a monitoring
  // plugin the states up to 3, which are the judgement's business.
  bool is_answer(const expected_result& what, int exit_status) const;
  // Nodes that expected something and of which something is lacking.
  std::vector<std::string> nodes_lacking() const;
  // All that fell short, folded: by kind, in the order in which nodes have it.
  // Of the same nodes, providers that fell short alike are one row.
  std::vector<shortfall_row> rows() const;

 private:
  enum class state : std::uint8_t { waiting, came, given_up, removed };
  struct series {
    std::string provider;
    std::string option;
    std::chrono::seconds limit{0};
    std::string limit_text;
    bool plugin = false;
  };
  struct cell {
    std::uint32_t what;        // in series_
    std::uint32_t reason = 0;  // in reasons_
    std::int32_t exit_status = 0;
    float duration = 0;  // seconds
    state now = state::waiting;
  };
  struct node_state {
    std::string name;
    std::vector<cell> cells;
    std::size_t received = 0;
    std::size_t expected = 0;
    int running = 0;
    clock::time_point heard_at;
  };

  std::uint32_t series_of(const std::string& provider,
                          const std::string& option);
  node_state& node_of(const std::string& name);
  const node_state* find_node(const std::string& name) const;
  const cell* find(const expected_result& what) const;
  cell* find(const expected_result& what);
  why why_of(const node_state& node, const cell& one) const;
  std::string name_of(const cell& one) const;
  bool lacks(const cell& one) const;

  std::vector<series> series_;
  std::unordered_map<std::string, std::uint32_t> series_places_;
  std::vector<node_state> nodes_;
  std::unordered_map<std::string, std::uint32_t> node_places_;
  std::vector<why> reasons_;
  std::vector<not_required> not_required_;
  std::size_t expected_ = 0;
  std::size_t received_ = 0;
  std::size_t nodes_expected_ = 0;
  std::size_t answering_ = 0;
  std::size_t cut_off_ = 0;
};

}  // namespace zelk::collect
