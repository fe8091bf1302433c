// Which run a result file belongs to when nobody says.
//
// Files of one collection lie close together in time, so records whose times
// have no gap of more than ten minutes between them make one run. Who knows
// better says so by a label: what lies together under one label is one run,
// gaps or not. The groups are found before the first record is stored, from the
// times in the files' names; a run is made when its first record comes.
//
// A run that an earlier scan made, or that another scan is making, is used
// again when its label is the same and no gap parts its time from the new
// records' one: it says in its note which time it covers. So the same label
// every night gives a run for every night.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "src/collect/src/accumulate/run_request.h"

namespace zelk::accumulate {

class run_groups {
 public:
  struct group {
    std::string label;
    std::int64_t begin = 0;  // seconds since the Unix epoch
    std::int64_t end = 0;
    std::int64_t run = 0;  // 0: not made yet
    bool made_here = false;
    bool closed = false;        // what comes later joins it only without a gap
    bool ended = false;         // its run is closed, and nothing came since
    std::uint64_t results = 0;  // that went into it
  };

  // `request` gives new runs everything but their label.
  explicit run_groups(const run_request& request);

  // There is a record of that time, in a directory of that label.
  void add(std::int64_t time, const std::string& label);

  // Returns the group that a record belongs to; its run is there. `lock` is a
  // descriptor of the directory: two scans do not make the same run at once.
  // Throws datastore::store_error.
  group& of(std::int64_t time, const std::string& label,
            datastore::database& base, int lock);

  // What was taken so far was there together: what comes later under the same
  // label is another run when a gap parts them. Closes the runs that lie before
  // such a gap.
  void part(datastore::database& base);

  // Closes the runs that were used since the last time.
  void close(datastore::database& base);
  const std::vector<group>& groups() const { return groups_; }

 private:
  group& place(std::int64_t time, const std::string& label);
  static void close(group& one, datastore::database& base);
  void find_or_make(group& wanted, datastore::database& base, int lock);

  run_request request_;
  std::vector<group> groups_;
};

// The note of a run that scans fill, and back: false for any other note.
std::string note_of_times(std::int64_t begin, std::int64_t end);
bool times_of_note(const std::string& note, std::int64_t& begin,
                   std::int64_t& end);

}  // namespace zelk::accumulate
