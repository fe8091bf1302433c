// Test support: a datastore with runs in it, and what a command prints.

#pragma once

#include <iostream>
#include <sstream>
#include <string>
#include <string_view>

#include "src/collect/src/accumulate/test_store.h"
#include "src/collect/src/reading/opening.h"

namespace zelk::reading {

// Keeps what goes to std::cout and std::cerr while it lives.
class captured_output {
 public:
  captured_output()
      : out_before_(std::cout.rdbuf(out_.rdbuf())),
        error_before_(std::cerr.rdbuf(error_.rdbuf())) {}
  ~captured_output() {
    std::cout.rdbuf(out_before_);
    std::cerr.rdbuf(error_before_);
  }
  captured_output(const captured_output&) = delete;
  captured_output& operator=(const captured_output&) = delete;

  std::string out() const { return out_.str(); }
  std::string error() const { return error_.str(); }

 private:
  std::ostringstream out_;
  std::ostringstream error_;
  std::streambuf* out_before_;
  std::streambuf* error_before_;
};

// What `command` throws, or "".
template <typename Command>
std::string complaint_of(const Command& command) {
  try {
    command();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

inline place place_of(const std::string& path) {
  return {path, std::chrono::seconds(1)};
}

constexpr std::int64_t day_usec = 86'400'000'000;
constexpr std::int64_t first_start = 1'760'000'000'000'000;

// Run number N, which started N days after the first one, with two results of
// each of `nodes` nodes.
inline std::int64_t add_run(const std::string& path, std::int64_t number,
                            const std::string& label = "", int nodes = 3) {
  accumulate::result_table table(path, {});
  accumulate::run wanted;
  wanted.label = label;
  wanted.started_usec = first_start + number * day_usec;
  const std::int64_t made = accumulate::create_run(table.database(), wanted);
  accumulate::expect_results(table.database(), made,
                             {{"node1", "memory", ""}, {"silent", "", ""}});
  table.use_run(made);
  for (int i = 1; i <= nodes; ++i)
    for (const char* provider : {"memory", "cpu"}) {
      const provider_result result = accumulate::a_result(
          "node" + std::to_string(i), number * 1000 + i,
          std::string("out of \x00 \xff ", 10) + provider, provider);
      datastore_row row = accumulate::row_of(result);
      table.write(row);
    }
  table.flush();
  accumulate::close_run(table.database(), made, {}, "no answer",
                        wanted.started_usec + 60'000'000);
  return made;
}

inline std::int64_t number_in(const std::string& path, std::string_view sql) {
  return reading::open_to_read(place_of(path)).integer(sql);
}

}  // namespace zelk::reading
