#include "src/collect/src/db/info.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/accumulate/runs.h"
#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/db/run_json.h"
#include "src/collect/src/reading/acceptances.h"
#include "src/collect/src/reading/baseline.h"
#include "src/collect/src/reading/run_selection.h"
#include "src/common/datastore/file_system.h"
#include "src/common/text/size_text.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

using datastore::database;

// The writer cuts its log to 64 MiB; one that is far beyond has a reader in the
// way that never ends.
constexpr std::int64_t longest_log = std::int64_t{256} << 20;  // bytes

// Less free space than a tenth of what is stored, or than this, is too little.
constexpr std::int64_t least_free = std::int64_t{64} << 20;  // bytes

struct facts {
  std::string location;
  std::int64_t size = 0;      // bytes, as the next three
  std::int64_t log_size = 0;  // of the write-ahead log
  std::int64_t unused = 0;    // inside the file
  std::int64_t disk_free = -1;
  std::string network;  // file system; "" for a local one
  std::string journal;
  std::int64_t version = 0;
  std::int64_t runs = 0;
  std::int64_t running = 0;
  std::int64_t results = 0;
  std::optional<std::int64_t> baseline;
  std::int64_t acceptances = 0;       // that are active
  std::vector<accumulate::run> ends;  // the newest and the oldest, if any
  std::vector<std::string> worries;
};

std::int64_t size_of(const std::string& path) {
  struct stat found = {};
  return ::stat(path.c_str(), &found) == 0 ? found.st_size : 0;
}

std::int64_t free_space(const std::string& path) {
  struct statvfs disk = {};
  if (::statvfs(path.c_str(), &disk) != 0) return -1;
  return static_cast<std::int64_t>(disk.f_bavail * disk.f_frsize);
}

std::string absolute(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> real(
      ::realpath(path.c_str(), nullptr), std::free);
  return real ? real.get() : path;
}

void read_ends(database& base, facts& found) {
  accumulate::run_filter newest;
  newest.limit = 1;
  found.ends = accumulate::list_runs(base, newest);
  const std::int64_t oldest =
      base.integer("SELECT run FROM v_run ORDER BY started_usec, run LIMIT 1");
  if (const auto run = accumulate::find_run(base, oldest))
    found.ends.push_back(*run);
}

void worry(facts& found) {
  if (!found.network.empty())
    found.worries.push_back("it lies on a network file system (" +
                            found.network +
                            "); a local disk is the right place");
  if (found.log_size > longest_log)
    found.worries.push_back("the write-ahead log is " +
                            text::size_text(found.log_size) +
                            ": a reader that does not end holds it");
  if (found.disk_free >= 0 &&
      found.disk_free < std::max(least_free, found.size / 10))
    found.worries.push_back("only " + text::size_text(found.disk_free) +
                            " are free on its disk");
}

std::int64_t active_acceptances(database& base) {
  const std::int64_t present = text::now_usec();
  const std::vector<reading::stored_acceptance> all =
      reading::acceptances(base);
  return std::count_if(all.begin(), all.end(),
                       [&](const auto& one) { return one.holds_at(present); });
}

facts gather(const reading::place& where) {
  database base = reading::open_to_read(where);
  facts found;
  found.location = absolute(where.path);
  found.size = size_of(where.path);
  found.log_size = size_of(where.path + "-wal");
  found.disk_free = free_space(where.path);
  found.network = datastore::network_file_system(where.path);
  found.journal = base.text("PRAGMA journal_mode");
  found.version = base.integer("PRAGMA user_version");
  found.unused =
      base.integer("PRAGMA freelist_count") * base.integer("PRAGMA page_size");
  found.runs = base.integer("SELECT count(*) FROM v_run");
  found.running =
      base.integer("SELECT count(*) FROM v_run WHERE state = 'running'");
  found.results = base.integer("SELECT sum(results) FROM v_run");
  found.baseline = reading::marked_baseline(base);
  found.acceptances = active_acceptances(base);
  read_ends(base, found);
  worry(found);
  return found;
}

void print_json(const facts& found) {
  json value = {{"location", json_of_bytes(found.location)},
                {"size", found.size},
                {"wal_size", found.log_size},
                {"unused", found.unused},
                {"disk_free", found.disk_free},
                {"network_file_system", found.network},
                {"journal", found.journal},
                {"schema_version", found.version},
                {"runs", found.runs},
                {"running", found.running},
                {"results", found.results},
                {"baseline", found.baseline ? json(*found.baseline) : json()},
                {"acceptances", found.acceptances},
                {"newest", nullptr},
                {"oldest", nullptr},
                {"warnings", found.worries}};
  if (!found.ends.empty()) {
    value["newest"] = json_of_run(found.ends.front());
    value["oldest"] = json_of_run(found.ends.back());
  }
  std::cout << one_line(value) << '\n';
}

void line(const char* name, const std::string& value) {
  std::cout << fmt::format("{:<10} {}\n", name, value);
}

std::string version_text_of(std::int64_t version) {
  std::string text = fmt::format("version {}", version);
  if (version < accumulate::datastore_version)
    text += fmt::format("; 'zelk-db migrate' brings it to version {}",
                        accumulate::datastore_version);
  return text;
}

void print_text(const facts& found) {
  line("location", text::visible_text(found.location));
  line("size", text::size_text(found.size) + ", " +
                   text::size_text(found.unused) + " of it unused");
  line("journal", found.journal + ", " + text::size_text(found.log_size));
  if (found.disk_free >= 0)
    line("disk", text::size_text(found.disk_free) + " free");
  line("schema", version_text_of(found.version));
  line("runs",
       fmt::format("{}, {} of them running", found.runs, found.running));
  line("results", fmt::format("{}", found.results));
  if (!found.ends.empty()) {
    line("oldest", reading::name_of_run(found.ends.back()));
    line("newest", reading::name_of_run(found.ends.front()));
  }
  if (found.baseline) line("baseline", fmt::format("run {}", *found.baseline));
  if (found.acceptances > 0)
    line("accepted", fmt::format("{}; 'zelk-db accept list' lists them",
                                 found.acceptances));
  if (found.worries.empty())
    line("health", "no complaint; 'zelk-db check' reads everything");
  for (const std::string& each : found.worries)
    line("health", each);
}

}  // namespace

int show_info(const reading::place& where, const info_options& options) {
  const facts found = gather(where);
  options.json ? print_json(found) : print_text(found);
  return found.worries.empty() ? accumulate::exit_fine
                               : accumulate::exit_partial;
}

}  // namespace zelk::db
