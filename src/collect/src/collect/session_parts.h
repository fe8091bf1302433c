// The decisions of a session that need nothing but what it was told.
//
// None of them starts anything, judge() aside.

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/collect/ledger.h"
#include "src/collect/src/collect/plan.h"
#include "src/collect/src/collect/precheck.h"
#include "src/collect/src/collect/run_summary.h"
#include "src/collect/src/collect/settings.h"
#include "src/collect/src/collect/worker_launch.h"

namespace zelk::collect {

// The path of a program that is installed beside this one.
std::string own_program(std::string_view name);
bool program_is_here(std::string_view name);

// A folder that only its owner can enter; it goes with the object.
class private_folder {
 public:
  explicit private_folder(std::string path) : path_(std::move(path)) {}
  ~private_folder();
  private_folder(const private_folder&) = delete;
  private_folder& operator=(const private_folder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Where the accumulator listens, and how workers reach it.
struct run_endpoint {
  std::string bind;
  std::string host;  // for workers, with the port that comes; "": as bound
  std::shared_ptr<private_folder> folder;  // of a socket on this machine
  std::string problem;
};
// With the launcher "local", and for asynchronous delivery, nobody else has to
// reach it: a socket in a private folder then, which no other user can send to.
run_endpoint find_endpoint(const collect_settings& settings, const plan& made);

worker_setup common_setup(const collect_settings& settings, const plan& made,
                          const run_endpoint& endpoint,
                          const std::string& bound);
// The command that takes the files in: into `run`, or each into its own.
std::vector<std::string> scan_command(const collect_settings& settings,
                                      std::optional<std::int64_t> run);

// What people wrote about the run, and what it leaves out although it was asked
// for.
std::string note_of(const collect_settings& settings, const plan& made);

// Why files of the nodes would not be found here, "" when they would. Nodes
// that did not answer have reasons of their own and stop nobody.
std::string sharing_problem(const precheck_report& report);

// A result that --fail-fast ends a collection for.
bool is_failure(int exit_status);

// What came, as exit_codes.h has it.
int exit_status_of(const ledger& account);

// The order that closes the run. What is not required is missing from it all
// the same, so that a run that has all the rest is said to be complete.
std::string closing_state(bool interrupted, const collect_settings& settings,
                          const ledger& account);

// A program's line without its own name in front, which is put there again.
std::string without_prefix(std::string_view line);

std::int64_t wall_clock_usec();

// Said when the accumulator takes a while to begin.
inline constexpr char slow_datastore_text[] =
    "zelk-collect: waiting for the datastore, which another process may be "
    "writing to";

// What came of what was expected; nothing else in it is filled in.
run_summary summary_of(const ledger& account);

// Becomes zelk-check for the run. Returns the exit status when that fails.
int judge(const collect_settings& settings, std::int64_t run);

}  // namespace zelk::collect
