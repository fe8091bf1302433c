// The ways in which a result can fall short, and the words for them.

#pragma once

#include <string>

namespace zelk::collect {

// In the order in which a summary lists them.
enum class shortfall {
  no_answer,       // the node cannot be reached, or says nothing
  host_key,        // its key is not known, or has changed
  no_login,        // it lets us not in
  not_launched,    // the launcher itself failed
  no_worker,       // the worker is not there
  wrong_version,   // another version of it is
  lost,            // the way to the node broke while the worker ran
  killed,          // somebody ended the worker
  timed_out,       // stopped at a limit
  failed,          // it ended with an error
  not_measured,    // it could not measure, through no fault of the node
  no_result,       // the worker ended and no result came
  stopped,         // the collection was ended before it was its turn
  not_applicable,  // the node has nothing that it could measure
  not_required,    // it does not run on such nodes
};

// "no answer", "timed out" and so on.
const char* shortfall_name(shortfall kind);

// Why something did not come.
struct why {
  shortfall kind = shortfall::no_result;
  // As it was said, with the node's name in it. This is stored with the run.
  std::string reason;
  // What differs from node to node left out, so that nodes can be folded.
  std::string common;
  bool of_node = false;  // about the node, not about one of its results

  friend bool operator==(const why&, const why&) = default;
};

}  // namespace zelk::collect
