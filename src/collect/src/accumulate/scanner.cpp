// The order of things, and what a kill between any two of them leaves:
//
//   lock      nothing happened
//   read      nothing happened
//   COMMIT    stored and still there: known as a duplicate next time
//   unlink    stored
//   fsync     stored; the removal may be undone by a power cut, see COMMIT
//   unlock
//
// A batch of files is open and locked at a time, as many as the store takes
// into one transaction.

#include "src/collect/src/accumulate/scanner.h"

#include <cerrno>
#include <set>
#include <thread>
#include <utility>

#include "src/collect/src/accumulate/crash_point.h"
#include "src/common/log/error_log.h"
#include "src/common/util/errno_text.h"

namespace zelk::accumulate {

namespace {

constexpr char source[] = "src/collect/src/accumulate/scanner";

using std::chrono::steady_clock;

constexpr std::size_t most_refusals = 100;  // that are kept for the report
constexpr std::size_t most_remembered = 100'000;

void warn(const std::string& text) {
  log::ErrorLog(source, __func__, __LINE__, log::level_warning).stream()
      << text;
}

std::size_t identity_of(const result_directory& directory,
                        const result_file& file) {
  return std::hash<std::string>{}(directory.path() + '/' + file.name() + '/' +
                                  std::to_string(file.inode()) + '/' +
                                  std::to_string(file.changed_at()));
}

}  // namespace

scanner::scanner(const scanner_options& options, result_store& store,
                 run_groups& groups, std::function<bool()> stop,
                 std::function<void(const refused_file&)> on_refusal)
    : options_(options),
      store_(store),
      groups_(groups),
      stop_(std::move(stop)),
      on_refusal_(std::move(on_refusal)) {
  for (const std::string& path : options_.directories)
    directories_.emplace_back(path);
  store_.on_outcome([this](const row_outcome& decided) {
    decided_.push_back({decided.result, decided.reason});
  });
}

bool scanner::pass() {
  report_.writing = report_.incomplete = report_.strange = report_.found = 0;
  report_.unreadable = false;
  try {
    for (result_directory& directory : directories_)
      if (!scan(directory)) return false;
    return flush();
  } catch (const datastore::store_error& error) {
    if (tell_once(error.what()))
      log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
          << error.what();
    return drop_pending();
  }
}

// Returns false when the store was given up.
bool scanner::scan(result_directory& directory) {
  bool good = directory.open();
  if (good) {
    label_ = options_.label.empty() ? directory.label() : options_.label;
    good = directory.for_each_result([&](const std::string& name) {
      if (const std::time_t time = time_in_name(name); time > 0)
        groups_.add(time, label_);
      return true;
    });
  }
  bool store_good = true;
  good = good && directory.for_each_result([&](const std::string& name) {
    ++report_.found;
    store_good = take(directory, name) && (!is_due() || flush());
    return store_good && !stop_();
  });
  if (good) return store_good;
  const int code = errno;
  report_.unreadable = true;
  if (tell_once(directory.path() + std::to_string(code)))
    warn("Unable to read directory '" + directory.path() + "' " +
         util::errno_text(code));
  return true;
}

bool scanner::take(result_directory& directory, const std::string& name) {
  result_file file(directory.fd(), name);
  switch (file.now()) {
    case result_file::state::gone:
      --report_.found;
      return true;
    case result_file::state::writing:
      ++report_.writing;
      return true;
    case result_file::state::strange:
      leave_alone(directory, file);
      return true;
    case result_file::state::ours:
      break;
  }
  if (!known_.empty() && known_.contains(identity_of(directory, file)))
    return true;
  if (!file.locked() && tell_once(directory.path() + " has no locks"))
    warn("The file system of '" + directory.path() +
         "' has no locks: files are taken when they are whole");

  crash_point("locked");
  provider_result record;
  const result_file::content what = file.read(record, options_.max_record);
  crash_point("read");
  if (what == result_file::content::whole)
    return ingest(directory, std::move(file), record);
  not_whole(directory, file, what);
  return true;
}

void scanner::not_whole(result_directory& directory, result_file& file,
                        result_file::content what) {
  if (what == result_file::content::failed) return leave_alone(directory, file);
  if (what == result_file::content::short_ && is_young(file)) {
    ++report_.incomplete;
    return;
  }
  refuse(directory, file, file.problem());
}

// Told by two clocks: the file's own, which may be another machine's, and ours
// since we met it first.
bool scanner::is_young(const result_file& file) {
  if (incomplete_since_.size() >= most_remembered) incomplete_since_.clear();
  const auto now = steady_clock::now();
  const auto met = incomplete_since_.try_emplace(file.inode(), now).first;
  const auto age = std::chrono::seconds(std::time(nullptr) - file.changed_at());
  if (age < options_.incomplete_age &&
      now - met->second < options_.incomplete_age)
    return true;
  incomplete_since_.erase(met);
  return false;
}

bool scanner::ingest(result_directory& directory, result_file file,
                     provider_result& record) {
  choose_run(directory, record);
  pending_.push_back({std::move(file), &directory, current_run_});
  return hand_in(record);
}

void scanner::choose_run(result_directory& directory,
                         const provider_result& record) {
  const std::int64_t run = options_.run != 0
                               ? options_.run
                               : groups_
                                     .of(record.header.timestamp_sec, label_,
                                         store_.database(), directory.fd())
                                     .run;
  if (run == current_run_) return;
  store_.use_run(run);
  current_run_ = run;
}

// Requires: the file of `record` is the last one that is pending.
bool scanner::hand_in(provider_result& record) {
  backoff pause;
  for (;;) {
    switch (store_.take(record)) {
      case result_store::answer::done:
        crash_point("taken");
        settle();
        return true;
      case result_store::answer::rejected: {
        const pending_file refused = std::move(pending_.back());
        pending_.pop_back();
        refuse(*refused.directory, refused.file,
               "its header contradicts its content");
        return true;
      }
      case result_store::answer::later:
        if (!wait_for_store(pause)) return drop_pending();
        break;
      case result_store::answer::failed:
        return drop_pending();
    }
  }
}

bool scanner::is_due() const {
  const auto due = store_.due();
  return due && steady_clock::now() >= *due;
}

bool scanner::flush() {
  backoff pause;
  while (!pending_.empty()) {
    const result_store::answer answer = store_.flush();
    settle();
    if (answer == result_store::answer::done) return true;
    if (answer == result_store::answer::failed || !wait_for_store(pause))
      return drop_pending();
  }
  return true;
}

// Waits a while. Returns false when the store is to be given up.
bool scanner::wait_for_store(backoff& pause) {
  const auto until = steady_clock::now() + pause.next();
  while (steady_clock::now() < until) {
    if (stop_()) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return options_.store_wait.count() < 0 || pause.total() < options_.store_wait;
}

// The files stay; their locks go.
bool scanner::drop_pending() {
  pending_.clear();
  decided_.clear();
  current_run_ = 0;
  return false;
}

// Does what the outcomes say. Removals are made durable once for all of them.
void scanner::settle() {
  std::set<result_directory*> changed;
  if (!decided_.empty()) crash_point("committed");
  while (!decided_.empty()) {
    changed.insert(pending_.front().directory);
    settle_one(pending_.front(), decided_.front());
    crash_point("removed");
    pending_.pop_front();
    decided_.pop_front();
  }
  if (options_.keep || changed.empty()) return;
  for (const result_directory* directory : changed)
    directory->sync();
  crash_point("synchronised");
}

void scanner::settle_one(pending_file& done, const decision& what) {
  if (what.result == outcome::rejected)
    return refuse(*done.directory, done.file, what.reason);
  if (what.result == outcome::duplicate)
    ++report_.duplicates;
  else
    ++report_.stored, ++report_.by_run[done.run];
  if (what.result == outcome::conflict) ++report_.conflicts;
  if (options_.keep) {
    known_.insert(identity_of(*done.directory, done.file));
    return;
  }
  if (done.file.remove_from(done.directory->fd())) return;
  const int code = errno;
  ++report_.not_removed;
  known_.insert(identity_of(*done.directory, done.file));
  if (tell_once(done.directory->path() + " unlink"))
    warn("Unable to remove '" + done.directory->path() + "/" +
         done.file.name() + "' " + util::errno_text(code));
}

void scanner::refuse(result_directory& directory, const result_file& file,
                     const std::string& reason) {
  refused_file refused{file.name(), reason, ""};
  if (options_.keep) {
    known_.insert(identity_of(directory, file));
  } else {
    const std::string path = options_.bad_directory.empty()
                                 ? directory.path() + "/bad"
                                 : options_.bad_directory;
    kept_files& bad = bad_.try_emplace(path, path).first->second;
    if (!file.is_in(directory.fd())) return;
    if (bad.move(directory.fd(), directory.path(), file.name(), reason).empty())
      known_.insert(identity_of(directory, file));
    else
      refused.moved_to = path;
  }
  crash_point("moved aside");
  ++report_.refused;
  on_refusal_(refused);
  if (report_.refusals.size() < most_refusals)
    report_.refusals.push_back(std::move(refused));
}

void scanner::leave_alone(const result_directory& directory,
                          const result_file& file) {
  ++report_.strange;
  const std::string path = directory.path() + "/" + file.name();
  if (tell_once(path + file.problem()))
    warn("Left alone: '" + path + "' " + file.problem());
}

bool scanner::tell_once(const std::string& what) {
  if (told_.size() >= most_remembered) told_.clear();
  return told_.insert(std::hash<std::string>{}(what)).second;
}

}  // namespace zelk::accumulate
