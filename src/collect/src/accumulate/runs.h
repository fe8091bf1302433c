// Runs: what was asked for, when, of which nodes, and how it ended.
//
// Every stored result belongs to one run; what a run expected and did not get
// is stored too, because silence is a result. Plain functions on an open
// datastore, each a transaction of its own; readers may use those that only
// look. All throw datastore::store_error.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/datastore/sqlite.h"

namespace zelk::accumulate {

// running -> complete      everything expected came, or nothing was expected
//        \-> partial       something that was expected did not come
//        \-> interrupted   it was ended before its time, or its process died
enum class run_state { running, complete, partial, interrupted };

std::string_view run_state_name(run_state state);

struct run {
  std::int64_t number = 0;  // from 1 upwards; never given a second time
  std::string uuid;         // the same wherever the run is copied to
  std::string label;
  std::string note;
  std::string command_line;
  run_state state = run_state::running;
  std::int64_t started_usec = 0;      // since the Unix epoch
  std::int64_t ended_usec = 0;        // 0: it has not ended
  std::int64_t nodes_expected = 0;    // 0: nothing was said about nodes
  std::int64_t results_expected = 0;  // 0: nothing was said about results
  std::int64_t nodes = 0;             // that gave at least one result
  std::int64_t nodes_answered = 0;    // of those, the expected ones
  std::int64_t results = 0;           // stored
};

// A result that should come. Of an empty provider: any result of that node.
struct expectation {
  std::string node;
  std::string provider;
  std::string option_id;  // empty: any
};

// What was expected and has not come.
struct missing_result {
  expectation what;
  std::string reason;  // "" while nobody has said why
};

// Makes a run that is running and owned by this process. Of `wanted` the label,
// note, command line and start are used; a start of 0 is now, an empty uuid a
// new one. Returns its number.
std::int64_t create_run(datastore::database& base, const run& wanted);

// Adds to what the run expects; what is expected already stays. Also counts
// results, for those who know how many but not which (0: leave the number).
void expect_results(datastore::database& base, std::int64_t number,
                    const std::vector<expectation>& expected,
                    std::int64_t result_count = 0);

// Says why a node, or one result of it, gives nothing ("ssh: connection
// refused"). A result that comes all the same makes it void. What was not
// expected before is from now on.
void set_missing_reason(datastore::database& base, std::int64_t number,
                        const expectation& what, std::string_view reason);

// Ends the run now, or at `ended_usec`, as `state`, or, when none is given, as
// complete or partial by what has come. What is missing and has no reason yet
// gets `reason`. Returns the state. Flush the result_table first.
run_state close_run(datastore::database& base, std::int64_t number,
                    std::optional<run_state> state = {},
                    std::string_view reason = "no result arrived",
                    std::int64_t ended_usec = 0);

// Makes a run that has ended a running one again, owned by this process, so
// that more results may be added to it.
void reopen_run(datastore::database& base, std::int64_t number);

// The runs that are running and whose process, on this host, is no more: nobody
// will close them but close_abandoned_runs().
std::vector<std::int64_t> abandoned_runs(datastore::database& base);

// Closes as interrupted all of abandoned_runs(). Returns their numbers.
std::vector<std::int64_t> close_abandoned_runs(datastore::database& base);

// Changes what people wrote about a run.
void set_run_label(datastore::database& base, std::int64_t number,
                   std::string_view label);
void set_run_note(datastore::database& base, std::int64_t number,
                  std::string_view note);

// Nodes that gave results and that the run did not expect; 0 where it did not
// expect any.
std::int64_t nodes_not_expected(const run& of);

// Finds one run by what people type. Nothing when there is none of that kind;
// throws when `text` is none of these forms.
//
//   412            its number
//   latest         the one that started last
//   latest~2       the second before that
//   label:nightly  the last one with that label
//   2025-11-20     the last one that started on that day, local time
std::optional<run> find_run(datastore::database& base, std::string_view text);
std::optional<run> find_run(datastore::database& base, std::int64_t number);
std::optional<run> find_run_by_uuid(datastore::database& base,
                                    std::string_view uuid);

struct run_filter {
  std::string label;                    // empty: any
  std::int64_t started_from_usec = 0;   // included
  std::int64_t started_until_usec = 0;  // not included; 0: no end
  std::vector<std::string> nodes;       // with a result of one of these hosts
  std::int64_t limit = 0;               // 0: all
};

// The runs, the one that started last first.
std::vector<run> list_runs(datastore::database& base,
                           const run_filter& filter = {});

// What the run expected and has not got, ordered by node, provider, option.
std::vector<missing_result> missing_results(datastore::database& base,
                                            std::int64_t number);

// Takes the run and its results out, and every output that no other result has.
// Returns the number of results. The file shrinks with VACUUM only.
std::int64_t remove_run(datastore::database& base, std::int64_t number);

}  // namespace zelk::accumulate
