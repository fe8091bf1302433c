// One run as it came in: who answered what, and the facts of all nodes.
//
// Plain values: no handles, no clock, no order that depends on how results
// arrived. Names of nodes and facts, and values, are text from nodes: UTF-8,
// but hostile, so whoever writes them escapes them for its own form.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "src/check/node_values.h"
#include "src/common/facts/fact.h"
#include "src/common/facts/value_table.h"

namespace zelk::check {

// How a provider's run on a node ended. Everything but `ok` says nothing about
// the health of what was to be measured.
enum class answer : std::uint8_t {
  ok,
  not_applicable,  // exit status 80: the node has no such thing
  tool_missing,    // 81
  no_permission,   // 82
  incomplete,      // 83: what it says is right, and not all
  failed,          // any other status, or a signal
  timed_out,       // stopped at its limit
  missing,         // expected, and no result came
  not_expected,    // nobody asked for it on this node
};

struct provider_answer {
  answer what = answer::not_expected;
  int exit_status = 0;
  std::string reason;           // for people; of a missing one: why, or ""
  std::int64_t ended_usec = 0;  // since the Unix epoch; 0: never
  double duration = 0;          // seconds
  bool was_not_asked = false;   // missing: the run ended before its turn came
};

// One fact, and what each node says of it.
struct fact_column {
  std::string name;      // "net.eth0.mtu"
  std::string provider;  // its stem, "net_links"
  std::string option;    // of the option set; "" when the provider has one set
  facts::fact_traits traits;
  node_values values;  // by node; into run_data::values
};

struct run_info {
  std::int64_t number = 0;
  std::string uuid, label, state, command_line;
  std::int64_t started_usec = 0;
  std::int64_t ended_usec = 0;                    // 0: it is still running
  std::size_t nodes_expected = 0, nodes = 0;      // expected; that answered
  std::size_t results_expected = 0, results = 0;  // of all nodes
};

// What is known of a node besides its facts: of the node file and by hand.
struct node_notes {
  std::string role, subcluster;
  std::string class_name;  // given by the administrator; "": by its facts
};

// A fact that could not be read out of an output, on these nodes (indexes).
struct unread_fact {
  std::string provider, name, reason;
  std::vector<std::uint32_t> nodes;
  // Of a whole output: nobody has described what the provider says, so that no
  // more can be expected than that it came.
  bool is_undescribed = false;
};

struct provider_info {
  std::string name;  // its stem, "net_links"
  std::string option;
  std::vector<std::int32_t> versions;    // seen in this run, ascending
  std::string description;               // what it is about, for people
  std::vector<provider_answer> answers;  // by node
  // Of the option set as it is stored, also when `option` is ""; "None": there
  // are none. Not for reports.
  std::string option_id;
};

// What of a node tells whom it is like. "" and 0 are not known, or none.
struct machine_facts {
  std::string processor;     // its model
  std::string architecture;  // all that some kernels tell of it
  std::string machine;       // its maker's name for it
  double memory = 0;         // KiB
  double cards = 0;          // graphics cards
  double sockets = 0;
};

struct run_data {
  run_info run;
  std::vector<std::string> nodes;  // natural order; the index is the number
  std::vector<node_notes> notes;   // by node
  std::vector<provider_info> providers;  // by name, option
  std::vector<fact_column> facts;        // by name, provider, option
  facts::value_table values;
  std::vector<unread_fact> unread;  // by provider, name, reason
  // By node, what earlier runs say; this one's own facts come first. May be
  // empty.
  std::vector<machine_facts> machines;
};

// A known state that an administrator has accepted (zelk-db accept).
struct acceptance {
  std::int64_t id = 0;
  std::string check;               // a check's id
  std::vector<std::string> nodes;  // empty: any
  std::string reason, who;
  std::int64_t made_usec = 0;
  std::int64_t until_usec = 0;  // 0: for good
};

// "ok", "not-applicable", "timeout", "no-answer", ...
const char* name_of(answer what);

}  // namespace zelk::check
