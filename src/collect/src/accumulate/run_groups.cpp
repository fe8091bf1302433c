#include "src/collect/src/accumulate/run_groups.h"

#include <sys/file.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <thread>

namespace zelk::accumulate {

namespace {

constexpr std::int64_t gap = 600;  // seconds
constexpr std::int64_t usec = 1'000'000;

// Runs that are looked through for one to be used again.
constexpr std::int64_t most_runs = 1000;

std::string utc(std::int64_t time) {
  const std::time_t seconds = time;
  std::tm parts = {};
  ::gmtime_r(&seconds, &parts);
  std::array<char, 32> text = {};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text.data();
}

bool read_utc(const std::string& text, std::int64_t& time) {
  std::tm parts = {};
  const char* end = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  if (end == nullptr || *end != '\0') return false;
  time = ::timegm(&parts);
  return true;
}

constexpr char note_begin[] = "results of ";
constexpr char note_middle[] = " to ";
constexpr char note_end[] = ", taken in by scan";

bool near(const run_groups::group& group, std::int64_t time) {
  return time >= group.begin - gap && time <= group.end + gap;
}

// Two scans of one directory agree on who makes a run. It is not waited for
// longer than making one takes: without the lock there may be a run too many,
// and anybody may hold it.
class directory_lock {
 public:
  explicit directory_lock(int fd) : fd_(fd) {
    for (int i = 0; i < 20; ++i) {
      if (::flock(fd_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
  }
  ~directory_lock() { ::flock(fd_, LOCK_UN); }
  directory_lock(const directory_lock&) = delete;
  directory_lock& operator=(const directory_lock&) = delete;

 private:
  int fd_;
};

}  // namespace

std::string note_of_times(std::int64_t begin, std::int64_t end) {
  return note_begin + utc(begin) + note_middle + utc(end) + note_end;
}

bool times_of_note(const std::string& note, std::int64_t& begin,
                   std::int64_t& end) {
  constexpr std::size_t time_size = 20;
  const std::string_view text = note;
  const std::size_t first = sizeof note_begin - 1;
  const std::size_t second = first + time_size + sizeof note_middle - 1;
  return text.starts_with(note_begin) && text.ends_with(note_end) &&
         text.size() == second + time_size + sizeof note_end - 1 &&
         read_utc(note.substr(first, time_size), begin) &&
         read_utc(note.substr(second, time_size), end);
}

run_groups::run_groups(const run_request& request) : request_(request) {}

void run_groups::add(std::int64_t time, const std::string& label) {
  place(time, label);
}

// Finds or makes the group and makes it cover `time`. Groups that it joins
// become one, unless both have a run already.
run_groups::group& run_groups::place(std::int64_t time,
                                     const std::string& label) {
  const auto fits = [&](const group& one) {
    const bool together = !label.empty() && !one.closed;
    return one.label == label && (together || near(one, time));
  };
  const auto found = std::find_if(groups_.begin(), groups_.end(), fits);
  if (found == groups_.end()) {
    groups_.push_back({label, time, time});
    return groups_.back();
  }
  const auto index = found - groups_.begin();
  found->begin = std::min(found->begin, time);
  found->end = std::max(found->end, time);
  for (std::size_t i = groups_.size() - 1; i > static_cast<std::size_t>(index);
       --i) {
    if (groups_[i].run != 0 || !fits(groups_[i])) continue;
    found->begin = std::min(found->begin, groups_[i].begin);
    found->end = std::max(found->end, groups_[i].end);
    groups_.erase(groups_.begin() + static_cast<std::ptrdiff_t>(i));
  }
  return groups_[static_cast<std::size_t>(index)];
}

run_groups::group& run_groups::of(std::int64_t time, const std::string& label,
                                  datastore::database& base, int lock) {
  group& found = place(time, label);
  if (found.run == 0) find_or_make(found, base, lock);
  found.ended = false;
  return found;
}

void run_groups::find_or_make(group& wanted, datastore::database& base,
                              int lock) {
  const directory_lock alone(lock);
  run_filter filter;
  filter.label = wanted.label;
  filter.limit = most_runs;
  filter.started_until_usec = (wanted.end + gap) * usec;
  for (const run& one : list_runs(base, filter)) {
    group there;
    if (one.label != wanted.label ||
        !times_of_note(one.note, there.begin, there.end))
      continue;
    if (!near(there, wanted.begin) && !near(there, wanted.end) &&
        !near(wanted, there.begin))
      continue;
    wanted.run = one.number;
    wanted.begin = std::min(wanted.begin, there.begin);
    wanted.end = std::max(wanted.end, there.end);
    return;
  }
  run made;
  made.label = wanted.label;
  made.note = note_of_times(wanted.begin, wanted.end);
  made.command_line = request_.command_line;
  made.started_usec = wanted.begin * usec;
  wanted.run = create_run(base, made);
  wanted.made_here = true;
  if (!request_.expected.empty() || request_.results_expected > 0)
    expect_results(base, wanted.run, request_.expected,
                   request_.results_expected);
}

void run_groups::part(datastore::database& base) {
  std::int64_t newest = 0;
  for (group& one : groups_) {
    if (one.run != 0) one.closed = true;
    newest = std::max(newest, one.end);
  }
  for (group& one : groups_)
    if (newest > one.end + gap) close(one, base);
}

void run_groups::close(datastore::database& base) {
  for (group& one : groups_)
    close(one, base);
}

void run_groups::close(group& one, datastore::database& base) {
  if (one.run == 0 || one.ended) return;
  set_run_note(base, one.run, note_of_times(one.begin, one.end));
  close_run(base, one.run, {}, "no result arrived", one.end * usec);
  one.closed = one.ended = true;
}

}  // namespace zelk::accumulate
