// The run that was asked for, loaded and judged: against its baseline, and with
// the history before it.
//
// Throws reading::refusal or datastore::store_error.

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "src/check/command/settings.h"
#include "src/check/judgement.h"
#include "src/check/run_data.h"
#include "src/common/datastore/sqlite.h"

namespace zelk::check {

struct judged_run {
  std::unique_ptr<datastore::database> base;
  std::string path;  // of the datastore
  run_data run;
  // Of the nodes that were asked for (-w, -x).
  judgement what;
};

// The definitions; a fault in one is a refusal.
check_set read_checks(const check_settings& settings);

judged_run judge_run(const check_settings& settings, const check_set& checks);

// The options of judging, with the time that ages are told from: now, or for a
// run of the past, named by its number or day, its own end. Of --max-age too.
judge_options options_for(const check_settings& settings, const run_info& run);

// Now, or SOURCE_DATE_EPOCH, by which the same data give the same report.
std::int64_t present_usec();

// A run that was named as one of the past: judging it by today's age would only
// say that it is old.
bool names_the_past(const std::string& run);

}  // namespace zelk::check
