// Test support: a datastore with runs of made results, and the descriptions
// that their facts are read by.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "src/check/input/load.h"
#include "src/collect/src/accumulate/test_store.h"
#include "src/collect/src/reading/opening.h"
#include "src/common/log/captured_log.h"

namespace zelk::check {

struct made_result {
  std::string node;
  std::string provider = "memory";
  std::string output;
  std::int32_t exit_status = 0;
  std::string option = "None";
  std::string errors = {};
  std::int64_t usec = 0;  // 0: each later than the one before
  std::int32_t version = 3;
};

using expectations = std::vector<accumulate::expectation>;

inline const provider_info& provider_of(const run_data& run,
                                        const std::string& name,
                                        const std::string& option = "") {
  for (const provider_info& each : run.providers)
    if (each.name == name && each.option == option) return each;
  static const provider_info none;
  ADD_FAILURE() << "no provider " << name << " " << option;
  return none;
}

// "node1=5 node2=-": what each node says of a fact.
inline std::string column_of(const run_data& run, const std::string& fact) {
  for (const fact_column& each : run.facts) {
    if (each.name != fact) continue;
    std::string text;
    for (std::size_t i = 0; i < run.nodes.size(); ++i)
      text +=
          (i == 0 ? "" : " ") + run.nodes[i] + "=" +
          (each.values[i] == no_value ? "-" : run.values.text(each.values[i]));
    return text;
  }
  return "no such fact";
}

inline void write(accumulate::result_table& table, const made_result& what,
                  std::int64_t usec) {
  provider_result result = accumulate::a_result(
      what.node, what.usec == 0 ? usec : what.usec, what.output, what.provider);
  result.header.exit_status = what.exit_status;
  result.header.version = what.version;
  accumulate::put(result.header.option_id, what.option);
  result.stderr.append(what.errors);
  result.header.stderr_size = static_cast<std::int64_t>(what.errors.size());
  datastore_row row = accumulate::row_of(result);
  ASSERT_EQ(table.write(row), 0);
}

class collection : public testing::Test {
 protected:
  collection() : path_(folder_.file("zelk.db")) {
    describe("memory",
             "<fact name='mem.total' from='total' type='integer' unit='B'/>"
             "<fact name='mem.{1}' from='name\\.(.+)' optional='yes'/>");
    describe("clock",
             "<fact name='clock.offset' from='offset' "
             "type='number' unit='s' better='lower'/>");
  }

  void describe(const std::string& name, const std::string& facts,
                int version = 3) {
    folder_.write(name + ".xml", "<provider name='" + name + "' version='" +
                                     std::to_string(version) +
                                     "'><description>About " + name +
                                     "</description><command>x</command>"
                                     "<facts>" +
                                     facts + "</facts></provider>");
  }

  // Makes a run that has ended and returns its number.
  std::int64_t add_run(const std::vector<made_result>& results,
                       const expectations& expected = {},
                       const std::string& label = "") {
    accumulate::result_table table(path_, {});
    accumulate::run wanted;
    wanted.label = label;
    wanted.started_usec = started_ += minute_usec;
    const std::int64_t number =
        accumulate::create_run(table.database(), wanted);
    accumulate::expect_results(table.database(), number, expected);
    table.use_run(number);
    for (const made_result& each : results)
      write(table, each, ++ended_);
    table.flush();
    accumulate::close_run(table.database(), number, {}, "no answer",
                          started_ + minute_usec / 2);
    return number;
  }

  datastore::database open() {
    return reading::open_to_read({path_, std::chrono::seconds(1)});
  }

  run_data loaded(std::int64_t number) {
    datastore::database base = open();
    const facts::description_set descriptions(
        folder_.path(), ZELK_SOURCE_DIR "/share/zelkara/description.xsd");
    return load(base, number, descriptions);
  }

  static constexpr std::int64_t minute_usec = 60'000'000;

  datastore::scratch folder_;
  std::string path_;
  log::captured_log log_;

 private:
  std::int64_t started_ = 1'760'000'000'000'000;
  std::int64_t ended_ = 0;
};

}  // namespace zelk::check
