// Takes result files out of shared directories into the datastore.
//
// A file is read under its lock, committed, and only then removed; the lock is
// held till then. Killed at any moment, every file is stored, or still there,
// or both, and both is found out by the next scan. Memory does not grow with
// the number of files.

#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <unordered_set>
#include <vector>

#include "src/collect/src/accumulate/kept_files.h"
#include "src/collect/src/accumulate/refusal.h"
#include "src/collect/src/accumulate/result_directory.h"
#include "src/collect/src/accumulate/result_file.h"
#include "src/collect/src/accumulate/result_store.h"
#include "src/collect/src/accumulate/run_groups.h"

namespace zelk::accumulate {

struct scanner_options {
  std::vector<std::string> directories;
  std::string bad_directory;  // empty: "bad" in the directory of the file
  bool keep = false;          // files stay where they are
  std::size_t max_record = 0;
  // A file that is not whole and not locked may be one that its writer is about
  // to lock. Older ones were cut off.
  std::chrono::seconds incomplete_age{30};
  // How long a store that takes nothing is tried; negative: for ever.
  std::chrono::seconds store_wait{30};
  std::int64_t run = 0;  // for all files; 0: by run_groups
  std::string label;     // of runs; empty: as the file "label" says
};

// A file that was refused, and where it is now.
struct refused_file {
  std::string name;
  std::string reason;
  std::string moved_to;  // "" when it stays where it was
};

struct scan_report {
  std::uint64_t stored = 0;  // conflicts included
  std::uint64_t duplicates = 0;
  std::uint64_t conflicts = 0;
  std::uint64_t refused = 0;
  std::uint64_t not_removed = 0;                 // stored, and still there
  std::vector<refused_file> refusals;            // the first hundred
  std::map<std::int64_t, std::uint64_t> by_run;  // stored in each
  // Of the last pass:
  std::uint64_t writing = 0;     // somebody holds the lock
  std::uint64_t incomplete = 0;  // not whole, and young
  std::uint64_t strange = 0;     // not what a writer makes, or not readable
  std::uint64_t found = 0;       // result files, whatever became of them
  bool unreadable = false;       // a directory could not be read
};

class scanner {
 public:
  // `on_refusal` is called for each file that is refused. `stop` ends a pass
  // early; what was read by then is stored.
  scanner(const scanner_options& options, result_store& store,
          run_groups& groups, std::function<bool()> stop,
          std::function<void(const refused_file&)> on_refusal);

  // Goes through the directories once and stores what is there. Returns false
  // when the store was given up: what is not stored is still there, unlocked.
  bool pass();

  const scan_report& report() const { return report_; }

 private:
  struct pending_file {
    result_file file;
    result_directory* directory;
    std::int64_t run;
  };
  struct decision {
    outcome result;
    std::string reason;
  };

  bool scan(result_directory& directory);
  bool take(result_directory& directory, const std::string& name);
  bool ingest(result_directory& directory, result_file file,
              provider_result& record);
  void not_whole(result_directory& directory, result_file& file,
                 result_file::content what);
  bool is_young(const result_file& file);
  bool hand_in(provider_result& record);
  void choose_run(result_directory& directory, const provider_result& record);
  bool is_due() const;
  bool flush();
  bool wait_for_store(backoff& pause);
  bool drop_pending();
  void settle();
  void settle_one(pending_file& done, const decision& what);
  void refuse(result_directory& directory, const result_file& file,
              const std::string& reason);
  void leave_alone(const result_directory& directory, const result_file& file);
  bool tell_once(const std::string& what);

  const scanner_options options_;
  result_store& store_;
  run_groups& groups_;
  std::function<bool()> stop_;
  std::function<void(const refused_file&)> on_refusal_;
  std::vector<result_directory> directories_;
  std::map<std::string, kept_files> bad_;  // by path
  std::deque<pending_file> pending_;       // taken by the store, in that order
  std::deque<decision> decided_;           // their outcomes
  std::string label_;                      // of the directory being scanned
  std::int64_t current_run_ = 0;
  scan_report report_;
  std::unordered_set<std::size_t> known_;  // kept files that are stored
  std::unordered_set<std::size_t> told_;   // what was complained about
  std::map<ino_t, std::chrono::steady_clock::time_point> incomplete_since_;
};

}  // namespace zelk::accumulate
