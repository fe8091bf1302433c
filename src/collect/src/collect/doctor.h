// `zelk-collect --doctor`: everything that is checked before a collection, on
// all nodes that were chosen, and nothing else.

#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "src/collect/src/collect/plan.h"
#include "src/collect/src/collect/precheck.h"
#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

// Checks, and prints the report to standard output: for people, or as one JSON
// document (settings.json). Returns the exit status: 0 when all is well, 1 when
// some nodes will be missing or there are warnings, 2 when no node can be used,
// 3 when nothing could be asked. Ctrl-C ends the questions; what is known by
// then is told.
int doctor(const collect_settings& settings, const plan& made);

// The question of a precheck that the settings lead to.
precheck_request precheck_request_of(const collect_settings& settings,
                                     const plan& made);

// A program of this machine that the launcher needs, and what it says of
// itself; "": it is not there.
struct tool_version {
  std::string program;
  std::string version;
};

struct doctor_report {
  std::string launcher;
  std::vector<tool_version> tools;
  precheck_request request;
  precheck_report findings;
};

int doctor_status(const doctor_report& report);
void print_report(const doctor_report& report, std::ostream& out);
void print_json(const doctor_report& report, std::ostream& out);

}  // namespace zelk::collect
