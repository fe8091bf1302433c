// What the results of a run say, fact by fact.

#pragma once

#include <string>
#include <vector>

#include "src/collect/src/reading/opening.h"

namespace zelk::db {

struct facts_options {
  std::string run = "latest";
  std::vector<std::string> providers;  // empty: all
  std::vector<std::string> nodes;      // node sets; empty: all
  std::vector<std::string> names;      // shell patterns; empty: all
  std::string form = "table";
  bool unread = false;       // show what could not be read, and nothing else
  std::string descriptions;  // their folder; empty: the installed one
  std::string schema;        // of them; empty: the installed one
  std::string from_file;     // an output in a file instead of a run
  int exit_status = 0;       // of the command that wrote it
  bool quiet = false;
};

// Returns the exit status: 1 when a fact could not be read, 2 when none could.
int show_facts(const reading::place& where, const facts_options& options);

}  // namespace zelk::db
