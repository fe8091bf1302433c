// How fast files are written, read, made and removed in each of some folders.
//
//   DISK_DIRECTORIES   folders, separated by colons; default: /tmp
//   DISK_SECONDS       for each folder
//   DISK_FILE_MIB      what is written there at most; never more than a tenth
//                      of the free space
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "provider/src/common/clock_rate.h"
#include "provider/src/common/cpus.h"
#include "provider/src/common/settings.h"
#include "provider/src/disk_fs_rw/bounded.h"
#include "provider/src/disk_fs_rw/probe.h"
#include "provider/src/disk_fs_rw/scratch.h"

namespace zelk::perf::disk {
namespace {

constexpr const char* program = "disk_fs_rw";
constexpr double look_seconds = 3;  // a file system that lives answers in less
constexpr double grace_seconds = 1;

struct place {
  std::string folder, prefix;
  bool usable = false;
};

std::vector<place> read_places() {
  std::istringstream text(text_setting("DISK_DIRECTORIES", "/tmp"));
  std::vector<place> places;
  for (std::string folder; std::getline(text, folder, ':');) {
    if (folder.empty()) continue;
    if (folder.front() != '/')
      throw usage_error("DISK_DIRECTORIES has '" + folder +
                        "', expected a path that begins with /");
    places.push_back({folder, "disk." + std::to_string(places.size())});
  }
  if (places.empty())
    throw usage_error("DISK_DIRECTORIES is empty, expected a path");
  return places;
}

void print_lines(const answer& one) {
  std::fputs(one.lines.c_str(), stdout);
}

// All at the same time: ten dead ones must not take ten times as long.
std::size_t look_at_all(std::vector<place>& places) {
  std::vector<job> jobs;
  jobs.reserve(places.size());
  for (const place& one : places) {
    jobs.push_back(
        {[&one](int output) { return look_at(one.folder, one.prefix, output); },
         look_seconds});
  }
  const std::vector<answer> answers = run_bounded(jobs);
  std::size_t unusable = 0;
  for (std::size_t index = 0; index < places.size(); ++index) {
    place& one = places[index];
    one.usable = answers[index].how == ending::done;
    unusable += !one.usable;
    std::printf("%s.path: %s\n", one.prefix.c_str(), one.folder.c_str());
    print_lines(answers[index]);
    if (answers[index].how == ending::too_slow)
      std::printf("%s.state: hung\n", one.prefix.c_str());
  }
  return unusable;
}

// For the case that the process that measured was killed.
void tidy_up(const place& where) {
  const auto remove = [&where](int) {
    remove_private_folder(where.folder);
    return 0;
  };
  run_bounded({{remove, grace_seconds}});
}

// Whether the folder was measured to the end.
bool measure_place(const place& where, const limits& bounds) {
  const auto work = [&](int output) {
    return measure(where.folder, where.prefix, bounds, output);
  };
  const answer result =
      run_bounded({{work, bounds.seconds + grace_seconds}}).front();
  print_lines(result);
  if (result.how == ending::done) return true;
  tidy_up(where);
  if (result.how == ending::terminated) {
    std::fflush(stdout);
    end_as_asked();
  }
  if (result.how == ending::too_slow)
    std::printf("%s.state: hung\n", where.prefix.c_str());
  return false;
}

int body() {
  const std::string root = root_folder();
  std::vector<place> places = read_places();
  const limits bounds{seconds_setting("DISK_SECONDS", 5, 3600),
                      static_cast<std::uint64_t>(
                          number_setting("DISK_FILE_MIB", 1024, 1, 1 << 20))
                          << 20};
  const double end = now() + seconds_allowed();
  watch_for_end();
  std::size_t unmeasured = look_at_all(places);
  if (end_was_asked()) end_as_asked();
  clock_log clocks(1);
  for (const place& where : places) {
    if (!where.usable) continue;
    clocks.look(0);
    const bool enough_time = now() + bounds.seconds + grace_seconds < end;
    if (!enough_time)
      std::printf("skipped: %s: no time left\n", where.folder.c_str());
    if (!enough_time || !measure_place(where, bounds)) ++unmeasured;
  }
  clocks.look(0);
  clocks.print();
  print_told_clocks(root, place_cpus(root, allowed_cpus()));
  if (unmeasured == 0) return exit_done;
  return stop(program, exit_incomplete,
              std::to_string(unmeasured) + " of " +
                  std::to_string(places.size()) + " folders not measured");
}

}  // namespace
}  // namespace zelk::perf::disk

int main() {
  return zelk::perf::run_program(zelk::perf::disk::program,
                                 zelk::perf::disk::body);
}
