// What the benchmarks of judging share: a made-up cluster in a datastore of its
// own, loaded and judged by the code of zelk-check.

#pragma once

#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bench/bench.h"
#include "src/check/input/load.h"
#include "src/check/judge/judge.h"
#include "src/common/datastore/sqlite.h"
#include "src/common/facts/description_set.h"
#include "test/synthetic/cluster.h"
#include "test/synthetic/faults.h"
#include "test/synthetic/store_cluster.h"

namespace zelk::bench {

// A folder for one process, removed with all that is in it.
class scratch_folder {
 public:
  scratch_folder() {
    std::string name =
        (std::filesystem::temp_directory_path() / "zelk-bench-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
      std::perror("mkdtemp");
      std::exit(2);
    }
    path_ = name;
  }
  ~scratch_folder() { std::filesystem::remove_all(path_); }
  scratch_folder(const scratch_folder&) = delete;
  scratch_folder& operator=(const scratch_folder&) = delete;

  std::string file(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

inline constexpr char descriptions_folder[] = ZELK_SOURCE_DIR "/etc/providers";
inline constexpr char description_schema[] =
    ZELK_SOURCE_DIR "/share/zelkara/description.xsd";

// What judging needs besides the datastore; read once.
class judge_tools {
 public:
  explicit judge_tools(const std::string& checks_folder = ZELK_SOURCE_DIR
                       "/etc/checks")
      : descriptions(descriptions_folder, description_schema),
        checks(check::check_set::read(
            {checks_folder}, ZELK_SOURCE_DIR "/share/zelkara/check.xsd")) {
    if (checks && descriptions.faulty() == 0) return;
    std::fprintf(stderr, "descriptions or checks are faulty\n");
    std::exit(2);
  }

  facts::description_set descriptions;
  std::optional<check::check_set> checks;
};

// Of the processor, for this process: what else the machine does is not in it.
template <typename Body>
double processor_seconds_of(const Body& body) {
  const auto now = [] {
    timespec time = {};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) +
           static_cast<double>(time.tv_nsec) / 1e9;
  };
  const double start = now();
  body();
  return now() - start;
}

struct timed_judgement {
  check::judgement what;
  double load_sec = 0;   // of the processor, for both runs
  double judge_sec = 0;  // the same, for one run against the other
};

// Judges run `now` against run `baseline` (0: none), as if right after it.
inline timed_judgement judge_runs(const judge_tools& with,
                                  const std::string& datastore,
                                  std::int64_t now, std::int64_t baseline) {
  timed_judgement made;
  std::optional<check::run_data> run, before;
  made.load_sec = processor_seconds_of([&] {
    zelk::datastore::database base(datastore,
                                   zelk::datastore::open_mode::read_only);
    run = check::load(base, now, with.descriptions);
    if (baseline == 0) return;
    before = check::load(base, baseline, with.descriptions);
    check::align_options(*run, *before);
  });
  check::judge_options options;
  options.now_usec = run->run.ended_usec;
  made.judge_sec = processor_seconds_of([&] {
    made.what = check::judge(*run, before ? &*before : nullptr, {},
                             *with.checks, {}, options);
  });
  return made;
}

inline synthetic::store_plan plan_for(const std::string& datastore,
                                      std::size_t runs = 2) {
  synthetic::store_plan how;
  how.path = datastore;
  how.descriptions = descriptions_folder;
  how.schema = description_schema;
  how.runs = runs;
  return how;
}

}  // namespace zelk::bench
