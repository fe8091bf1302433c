// What is said of a run: the one result that every form of report is made of.
//
//   load        a datastore's run  ->  run_data          (load.h)
//   judge       run_data           ->  judgement         (judge.h)
//   write_...   judgement          ->  text, JSON, a page (writer.h, page.h)
//
// Plain values, ready to be shown but for escaping: the same run_data gives the
// same judgement to the last byte. Lists of nodes are in natural order.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "src/check/run_data.h"

namespace zelk::check {

// Of one node under one check or group of checks. The words of the reports.
enum class cell_state : std::uint8_t {
  ok,
  info,
  warn,
  crit,
  error,           // it ran and could not be judged
  timeout,         // stopped at its limit
  no_data,         // no answer
  not_applicable,  // what it needs is not there, or it was not asked for
  stale,           // older than the limit
  accepted,        // bad, and accepted
};

enum class verdict : std::uint8_t { healthy, suspect, unhealthy, unknown };

enum class severity : std::uint8_t { informational, warning, critical };

// Against the baseline. `fresh` is written "new".
enum class finding_state : std::uint8_t { fresh, unchanged, changed, fixed };

struct run_name {
  std::int64_t number = 0;
  std::int64_t started_usec = 0;
};

struct node_value {
  std::string node, value;
  std::string before;  // in the baseline; "" when unknown
  std::optional<double> number, z, delta_percent;  // from the median of peers
  std::optional<double> number_before = {};        // of `before`
  // Of a finding about several facts, where it is not the finding's own: which
  // fact it is a value of, and the unit of its numbers.
  std::string fact = {}, unit = {};
};

// What a limit allows; "nothing" is no end on that side.
struct allowed_numbers {
  std::optional<double> least, most;
  bool inverted = false;  // fine is what lies outside
  // Who set it: "--limit mem.total=250GiB:", "etc/checks/memory.xml:12".
  std::string set_by;
};

struct finding {
  std::string check;  // its id: "mem-size", "sysctl-differs"
  std::string title;  // of the check, in plain words
  int score = 0;      // 0 to 100
  severity level = severity::informational;
  finding_state state = finding_state::fresh;
  std::string class_name;                    // "": no class has to do with it
  std::vector<std::string> nodes;            // natural order
  std::string provider, option, fact, unit;  // "" where there is none
  std::string reference;  // what the peers have, fit for people: "256 GiB"
  std::size_t peers = 0;  // whose values the reference is made of
  std::optional<double> median, mad;
  std::vector<node_value> values;  // in the order of `nodes`
  std::string message;  // one line of evidence: "224 GiB; 94 of 95 class A
                        // peers have 256 GiB"
  std::vector<std::string> causes, advice;  // of the definition; NODES in
                                            // advice is filled in already
  std::string fingerprint;  // the same for the same trouble in another run
  std::optional<run_name> since;  // the oldest judged run that had it, without
                                  // a gap; none: nothing older was judged
  std::optional<acceptance> accepted;
  std::string drain_word;  // of the definition, for a batch system's reason
  // It tells that a value is another than in the baseline, and no more.
  bool is_of_change = false;
  // Of one about a class or the run as a whole, which cannot be parted: those
  // of `nodes` for which it is accepted. It stays while others have it.
  std::vector<std::string> accepted_nodes;
  // None of `nodes` is worse for it, as when a class has two groups and nobody
  // can tell which is right.
  bool blames_nobody = false;
  // Of one about such groups: value and nodes, most nodes first.
  std::vector<std::pair<std::string, std::vector<std::string>>> groups;
  // For programs, in `unit`: the number that is `reference` in words, the limit
  // that was broken, and the values of `groups`, in their order.
  std::optional<double> reference_number;
  std::optional<allowed_numbers> limit;
  std::vector<std::optional<double>> group_numbers;
};

// A class of like nodes.
struct class_view {
  std::string name;  // "A", "B", ... the largest first; or as given by hand
  // What its nodes have in common: fact and value.
  std::vector<std::pair<std::string, std::string>> key;
  std::vector<std::string> nodes;
  bool comparable = true;
  std::string why_not;  // "2 nodes; comparing takes 5"
};

struct node_view {
  std::string name, class_name, role, subcluster;
  verdict what = verdict::unknown;
  std::vector<cell_state> cells;        // by judgement::columns
  std::vector<std::uint32_t> findings;  // into judgement::findings
};

// Nodes that did not answer alike, of one provider or (provider "") of all.
struct coverage_group {
  answer what = answer::missing;
  bool stale = false;  // came, but is too old to be judged
  std::string provider, option, reason;
  std::vector<std::string> nodes;
};

// The values of one numeric fact in one class.
struct distribution {
  std::string fact, provider, option, unit, class_name;
  facts::better direction = facts::better::none;
  std::vector<double> values;  // ascending
  double median = 0, mad = 0;
  std::vector<node_value> outliers;  // the worst first
  // Of how many facts it is made: above 1, `fact` has a "*" where their names
  // have numbers, and a value is the worst of one node.
  std::size_t members = 1;
};

// A fact of which the nodes of a class do not all have the same value.
struct difference {
  std::string fact, provider, option, unit, class_name;
  // Value and nodes, most nodes first. "" is also the value of nodes that
  // answered without this fact: `absent` says which group that is.
  std::vector<std::pair<std::string, std::vector<std::string>>> groups;
  std::optional<std::size_t> absent;
};

struct verdict_counts {
  std::size_t healthy = 0, suspect = 0, unhealthy = 0, unknown = 0;
};

struct history_entry {
  run_info run;
  verdict_counts counts;
  std::vector<std::pair<std::string, verdict>> nodes;  // not healthy, ordered
};

// What was asked, so that a report can say how it was made.
struct judged_with {
  double z = 0, min_effect = 0;  // robust z; percent
  std::size_t min_peers = 0;
  std::string peers_by;  // "class" "role" "subcluster" "all" "none"
  std::int64_t max_age_usec = 0;
  std::vector<std::string> checks, skipped, limits;  // as typed
  std::vector<std::string> definition_files;
};

struct judgement {
  run_info run;
  std::optional<run_info> baseline;
  std::int64_t now_usec = 0;  // the time that ages are told from
  verdict overall = verdict::unknown;
  verdict_counts counts;
  std::vector<std::string> columns;  // "reach" first, then providers
  std::vector<node_view> nodes;      // natural order
  std::vector<class_view> classes;
  std::vector<finding> findings;         // the worst first; not accepted ones
  std::vector<finding> accepted;         // found, and accepted
  std::vector<finding> fixed;            // of the baseline, and gone
  std::vector<coverage_group> coverage;  // what was not judged
  std::vector<unread_fact> unread;
  std::vector<std::string> joined, left;    // nodes, against the baseline
  std::vector<distribution> distributions;  // the worst first
  std::vector<difference> differences;      // the fewest odd nodes first
  std::size_t equal_facts = 0;         // the same on all nodes of every class
  std::vector<history_entry> history;  // the oldest first, this run last
  std::vector<std::pair<std::string, std::int32_t>> providers;  // and version
  judged_with with;
  // What is the same in another run that has the same trouble, ascending: by
  // check and node. For remember() only.
  std::vector<std::string> troubles;
  // Of the lists above, where a cluster had more than a report can hold.
  std::size_t differences_left_out = 0, distributions_left_out = 0;
  // A run that started later and goes on; 0: none is known.
  std::int64_t newer_running = 0;
};

// The words of reports: "n/a", "no-data"; "unhealthy"; "critical"; "new".
const char* name_of(cell_state state);
const char* name_of(verdict what);
const char* name_of(severity level);
const char* name_of(finding_state state);

// Whether a command can take a node's name as it is: letters, digits, dots,
// dashes and underscores, no dash and no dot in front.
bool fits_a_command(std::string_view name);

// Those of `names` that do, and the others, each in their order.
struct names_apart {
  std::vector<std::string> fit, odd;
};
names_apart apart(const std::vector<std::string>& names);

// By counts and findings. It is never healthy while something is not known, nor
// above a warning that blames no node.
verdict overall_of(const judgement& of);

// By the bands of names.h: 0 to 24, 25 to 74, 75 to 100.
severity severity_of(int score);

}  // namespace zelk::check
