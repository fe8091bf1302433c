// How long the two questions take that people ask of a large datastore.
//
//   query_bench [DIRECTORY [RESULTS [NODES]]]      1,000,000 results, 1,000
//   nodes
//
// Fills a datastore with runs of ten providers on every node, three quarters of
// the outputs its own, and times the list of runs and the fifteen columns of
// one node, each on a new connection, first after the file has left the page
// cache.

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "bench/records.h"
#include "src/collect/src/accumulate/result_table.h"
#include "src/collect/src/accumulate/runs.h"
#include "src/collect/src/accumulate/schema.h"

namespace {

using namespace zelk;
using namespace zelk::accumulate;
using clock_type = std::chrono::steady_clock;

constexpr std::uint64_t providers = 10;

double ms_since(clock_type::time_point start) {
  return std::chrono::duration<double, std::milli>(clock_type::now() - start)
      .count();
}

std::string output_of(std::uint64_t i, std::uint64_t nodes) {
  const bool shared = i % 4 == 0;
  return bench::text_of(1024, shared ? i / nodes % providers : i);
}

void fill(const std::string& path, std::uint64_t results, std::uint64_t nodes) {
  result_table table(path, {});
  const auto start = clock_type::now();
  for (std::uint64_t i = 0; i < results; ++i) {
    if (i % (nodes * providers) == 0) {
      run wanted;
      wanted.label = "nightly";
      table.use_run(create_run(table.database(), wanted));
    }
    const provider_result record =
        bench::record_of(i, nodes, output_of(i, nodes));
    datastore_row row;
    row.header = record.header;
    row.stdout = record.stdout.view();
    row.nodes_csv = record.nodes_csv;
    if (table.write(row) != 0) std::exit(2);
    if ((i + 1) % 250'000 == 0) {
      table.flush();
      std::printf("%7ju results after %.0f s\n",
                  static_cast<std::uintmax_t>(i + 1), ms_since(start) / 1000);
      std::fflush(stdout);
    }
  }
  if (table.flush() != 0) std::exit(2);
  table.checkpoint();
  std::printf("%.0f results/s; stored %ju, file %.0f MB\n",
              static_cast<double>(results) / ms_since(start) * 1000,
              static_cast<std::uintmax_t>(table.counters().stored),
              static_cast<double>(std::filesystem::file_size(path)) / 1e6);
}

// As far as the system does as it is told.
void leave_page_cache(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ::fdatasync(fd);
  ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
  ::close(fd);
}

template <typename Question>
void ask(const char* name, const std::string& path, const Question& question) {
  leave_page_cache(path);
  for (const char* state : {"cold", "warm", "warm"}) {
    datastore::database base = open_datastore_read_only(path);
    const auto start = clock_type::now();
    const std::size_t rows = question(base);
    std::printf("%-34s %s %7.2f ms  (%zu rows)\n", name, state, ms_since(start),
                rows);
  }
}

std::size_t rows_of(datastore::database& base, const std::string& sql) {
  datastore::statement query(base, sql);
  std::size_t rows = 0;
  std::size_t bytes = 0;
  for (; query.step(); ++rows)
    for (int i = 0; i < query.columns(); ++i)
      bytes += query.bytes(i).size();
  return bytes == 0 ? 0 : rows;
}

}  // namespace

int main(int argc, char* argv[]) {
  const std::string path =
      std::string(argc > 1 ? argv[1] : ".") + "/query_bench.db";
  const std::uint64_t results =
      argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1'000'000;
  const std::uint64_t nodes =
      argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 1'000;
  for (const char* end : {"", "-wal", "-shm"})
    std::filesystem::remove(path + end);
  fill(path, results, nodes);
  ask("list of runs", path,
      [](datastore::database& base) { return list_runs(base).size(); });
  ask("runs of one node", path, [](datastore::database& base) {
    run_filter filter;
    filter.nodes = {"node10007"};
    return list_runs(base, filter).size();
  });
  ask("v_provider_result of one node", path, [](datastore::database& base) {
    return rows_of(base,
                   "SELECT * FROM v_provider_result WHERE \"Hostname\" = "
                   "'node10007'");
  });
  ask("v_result, one node of one run", path, [](datastore::database& base) {
    return rows_of(base,
                   "SELECT * FROM v_result WHERE run = 5 AND node = "
                   "'node10007'");
  });
  ask("v_result, counts of one run", path, [](datastore::database& base) {
    return rows_of(base,
                   "SELECT provider, exit_status, count(*) FROM v_result WHERE "
                   "run = 5 GROUP BY 1, 2");
  });
  ask("v_missing of one run", path, [](datastore::database& base) {
    rows_of(base, "SELECT * FROM v_missing WHERE run = 5");
    return std::size_t{0};
  });
  for (const char* end : {"", "-wal", "-shm"})
    std::filesystem::remove(path + end);
  return 0;
}
