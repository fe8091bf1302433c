// Test support: records, and a store that keeps what it is told.

#pragma once

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/accumulate/read_result.h"
#include "src/collect/src/accumulate/result_table.h"
#include "src/collect/src/accumulate/runs.h"
#include "src/collect/src/accumulate/stored_header.h"
#include "src/common/datastore/test_scratch.h"

namespace zelk::accumulate {

template <std::size_t N>
void put(char (&field)[N], std::string_view text) {
  std::memset(field, 0, N);
  std::memcpy(field, text.data(), std::min(N, text.size()));
}

// A record as an honest worker sends it. `usec` makes its key.
inline provider_result a_result(std::string_view host, std::int64_t usec,
                                std::string_view output = "out",
                                std::string_view provider = "memory") {
  provider_result result;
  result.header.api = 1;
  put(result.header.name, provider);
  put(result.header.hostname, host);
  put(result.header.username, "ada");
  put(result.header.option_id, "None");
  result.header.timestamp_sec = 1'760'000'000 + usec / 1'000'000;
  result.header.timestamp_usec = usec % 1'000'000;
  result.header.duration = 1.5;
  result.header.num_nodes = 1;
  result.header.version = 3;
  result.nodes_csv = host;
  result.stdout.append(output);
  result.header.stdout_size = static_cast<std::int64_t>(output.size());
  result.header.nodes_csv_size = static_cast<std::int64_t>(host.size());
  return result;
}

inline datastore_row row_of(const provider_result& result) {
  datastore_row row;
  row.stdout = result.stdout.view();
  row.stderr = result.stderr.view();
  row.header = result.header;
  row.nodes_csv = result.nodes_csv;
  return row;
}

inline bool same_bytes(const provider_result& a, const provider_result& b) {
  return image_of(a.header) == image_of(b.header) && a.stdout == b.stdout &&
         a.stderr == b.stderr && a.nodes_csv == b.nodes_csv;
}

// Makes the datastore `path` what version 2 had.
inline void take_back_to_version_2(const std::string& path) {
  datastore::database base(path, datastore::open_mode::read_write);
  base.execute(
      "DROP VIEW v_baseline; DROP VIEW v_acceptance; DROP VIEW "
      "v_acceptance_node; DROP TABLE baseline; DROP TABLE acceptance_node; "
      "DROP TABLE acceptance; PRAGMA user_version = 2");
}

struct a_store {
  explicit a_store(const std::string& path,
                   const result_table_options& options = {})
      : table(path, options) {
    table.on_outcome([this](const row_outcome& each) { told.push_back(each); });
    run = create_run(table.database(), {});
    table.use_run(run);
  }

  int write(const provider_result& result) {
    datastore_row row = row_of(result);
    return table.write(row);
  }

  // Writes, flushes, and returns what became of it.
  row_outcome store(const provider_result& result) {
    told.clear();
    write(result);
    table.flush();
    return told.empty() ? row_outcome{} : told.back();
  }

  std::int64_t integer(std::string_view sql) {
    return table.database().integer(sql);
  }
  std::string text(std::string_view sql) { return table.database().text(sql); }

  std::vector<std::string> faults() {
    std::vector<std::string> found;
    verify_datastore(table.database(),
                     [&](const std::string& fault) { found.push_back(fault); });
    const std::string sqlite = text("PRAGMA integrity_check");
    if (sqlite != "ok") found.push_back(sqlite);
    return found;
  }

  result_table table;
  std::int64_t run = 0;
  std::vector<row_outcome> told;
};

}  // namespace zelk::accumulate
