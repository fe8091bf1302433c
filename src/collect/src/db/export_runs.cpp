#include "src/collect/src/db/export_runs.h"

#include <fmt/format.h>

#include <iostream>

#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/accumulate/expectations.h"
#include "src/collect/src/accumulate/read_result.h"
#include "src/collect/src/db/archive_writer.h"
#include "src/collect/src/db/new_file.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/run_selection.h"
#include "src/common/text/size_text.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

using accumulate::run;
using datastore::database;

std::int64_t count_expectations(database& base, const run& from) {
  std::int64_t count = 0;
  accumulate::for_each_expectation(
      base, from.number,
      [&](const accumulate::missing_result& /*each*/) { ++count; });
  return count;
}

std::int64_t count_results(database& base, const run& from) {
  datastore::statement query(base,
                             "SELECT sum(results) FROM v_host WHERE run = ?1");
  query.bind(1, from.number);
  return query.step() ? query.integer(0) : 0;
}

void write_run(database& base, const run& from, archive_writer& archive) {
  archive.begin_run(from, count_expectations(base, from),
                    count_results(base, from));
  accumulate::for_each_expectation(base, from.number,
                                   [&](const accumulate::missing_result& each) {
                                     archive.expectation(each);
                                   });
  accumulate::result_filter filter;
  filter.run = from.number;
  accumulate::for_each_result(base, filter, [&](std::int64_t id) {
    const std::optional<provider_result> result =
        accumulate::read_result(base, id);
    if (!result)
      throw reading::failure(fmt::format("Result {} is damaged", id));
    archive.result(*result);
    return true;
  });
}

// Takes out what may still grow. Returns how many those are.
std::size_t leave_running_out(std::vector<run>& runs) {
  return std::erase_if(runs, [](const run& each) {
    if (each.state != accumulate::run_state::running) return false;
    std::cerr << "zelk-db: " << reading::name_of_run(each)
              << " is left out: it is still running\n";
    return true;
  });
}

std::int64_t write_file(database& base, const std::vector<run>& runs,
                        const export_options& options) {
  new_file file(options.output, options.force);
  archive_writer archive(file.fd(), static_cast<std::int64_t>(runs.size()),
                         runs.back().ended_usec / text::usec_per_sec);
  std::int64_t results = 0;
  for (const run& each : runs) {
    write_run(base, each, archive);
    results += count_results(base, each);
  }
  archive.finish();
  file.keep();
  return results;
}

}  // namespace

int export_runs(const reading::place& where, const export_options& options) {
  if (options.output.empty()) throw reading::refusal("export needs -o FILE");
  database base = reading::open_to_read(where);
  // What others remove meanwhile stays for this transaction.
  base.execute("BEGIN");
  std::vector<run> runs = reading::select_runs(
      base,
      options.runs.empty() ? std::vector<std::string>{"latest"} : options.runs);
  const std::size_t running = leave_running_out(runs);
  if (runs.empty()) throw reading::refusal("There is nothing to export");
  const std::int64_t results = write_file(base, runs, options);
  if (!options.quiet)
    std::cout << text::counted(static_cast<std::int64_t>(runs.size()), "run")
              << " with " << text::counted(results, "result") << " written to "
              << text::visible_text(options.output) << '\n';
  return running > 0 ? accumulate::exit_partial : accumulate::exit_fine;
}

}  // namespace zelk::db
