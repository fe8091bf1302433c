// The thread that stores what the receiver hands over.
//
// Owns the datastore from start() to finished(). A store that cannot take
// records stops it, not the process: the batch is kept and tried again,
// meanwhile the memory budget fills up and the receiver stops reading. Only a
// stop with a deadline makes it give up; what is left is then written to files.

#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "src/collect/src/accumulate/hand_over.h"
#include "src/collect/src/accumulate/kept_files.h"
#include "src/collect/src/accumulate/memory_budget.h"
#include "src/collect/src/accumulate/result_store.h"
#include "src/collect/src/accumulate/run_request.h"
#include "src/collect/src/accumulate/tally.h"

namespace zelk::accumulate {

struct writer_options {
  store_options store;
  run_request run;
  std::string bad_directory;      // for records that the store refuses
  std::string unsaved_directory;  // for those that it could not take in time
};

// How the run ended.
struct run_report {
  std::int64_t number = 0;
  std::optional<run> ended;  // nothing when the datastore was out of reach
  std::vector<missing_result> missing;
};

// How a run is to end.
struct run_ending {
  std::optional<run_state> state;  // nothing: by what came
  // One that was cut short and lacks something is stored as interrupted.
  bool cut_short = false;
};

class store_writer {
 public:
  using clock = std::chrono::steady_clock;

  // `tell` is called from the thread when the board or what is asked below has
  // changed; it must not block.
  store_writer(const writer_options& options, hand_over& queue,
               memory_budget& budget, tally_board& board,
               std::function<void()> tell);
  // Stores what it was given and closes the run, if nobody asked it to before.
  ~store_writer();

  // Called from the thread with what became of each record once that is on
  // disk; must not block. To be set before start().
  using listener =
      std::function<void(const provider_result& record, const row_outcome&)>;
  void on_outcome(listener told) { told_ = std::move(told); }
  // What the run is called, where it is not empty. Before start().
  void describe_run(const std::string& label, const std::string& note,
                    const std::string& command_line);

  // Opens the datastore and the run. Returns "", or why that cannot be done.
  std::string start();
  std::int64_t run_number() const { return run_number_; }

  // From now on a store that does not take records is given up at `deadline`.
  void give_up_at(clock::time_point deadline);
  // The run expects these, too; and of those with a reason it is known why they
  // do not come. Done when the store can.
  void expect(std::vector<missing_result> results);
  // How many calls of expect() are not done yet.
  std::size_t expecting() const;
  // Closes the queue; what is in it is stored, then the run is closed.
  void begin_finish(const run_ending& ending);
  bool finished() const { return finished_; }
  // Requires: finished().
  run_report report();

  // Everything that is expected is stored.
  bool complete() const { return complete_; }
  // Why the store takes nothing just now, or "".
  std::string trouble() const;

 private:
  void work(std::promise<std::string> started);
  void open();
  void store_all();
  void store(std::unique_ptr<arrival> record);
  void submit(arrival& record);
  void start_commit();
  void commit();
  void settle();
  void settle_one(const row_outcome& decided);
  void release_front();
  void keep_aside(const provider_result& record, const std::string& reason);
  bool pause();
  void recover();
  bool reopen();
  bool resubmit();
  void look_for_completion();
  void give_up();
  bool save_to_file(const arrival& record);
  std::size_t gather_expected(std::vector<missing_result>& results) const;
  void expect_all();
  void expect_now(const std::vector<missing_result>& results);
  bool write_expected(const std::vector<missing_result>& results);
  std::optional<run_state> wanted_state();
  void close_run_now();
  void set_trouble(const std::string& reason);

  writer_options options_;  // run: with all that came to be expected
  hand_over& queue_;
  memory_budget& budget_;
  tally_board& board_;
  std::function<void()> tell_;
  // What deadline_ is to waits inside the store.
  std::shared_ptr<datastore::database::shared_deadline> busy_deadline_;
  kept_files bad_;
  kept_files unsaved_;

  listener told_;

  // Of the thread:
  std::unique_ptr<result_store> store_;
  std::deque<std::unique_ptr<arrival>> in_flight_;  // taken, in that order
  std::vector<std::unique_ptr<arrival>> done_;      // told, not given back yet
  tally change_;           // since the board was last told
  std::size_t freed_ = 0;  // bytes, since the budget was last told
  backoff pause_;
  bool given_up_ = false;
  std::uint64_t came_ = 0;     // results, ever
  std::uint64_t look_at_ = 0;  // look for completion when so many came
  std::string last_problem_;   // that was logged
  std::vector<missing_result> reasons_;  // why something does not come

  // Between the threads:
  std::thread thread_;
  mutable std::mutex lock_;
  std::condition_variable changed_;
  std::optional<clock::time_point> deadline_;
  std::string trouble_;
  run_ending ending_;
  std::deque<std::vector<missing_result>> expected_;  // not done yet
  std::atomic<bool> complete_ = false;
  std::atomic<bool> finished_ = false;
  std::atomic<std::int64_t> run_number_ = 0;
  run_report report_;
};

}  // namespace zelk::accumulate
