// The facts of a run, gathered provider by provider into columns.
//
// A hostile or broken node may give any number of names and reasons. Each
// provider may have so much of a table of bounded size; what does not fit is
// left out, names of the fewest nodes first, and becomes one unread fact, so
// that somebody sees it. The order of calls does not change what is kept.

#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "src/check/run_data.h"
#include "src/common/facts/output_series.h"
#include "src/common/facts/value_table.h"

namespace zelk::check {

struct table_limits {
  // Of the whole run: 400 MB of indexes, 100 MB of names, 256 MB of values. A
  // provider takes at most half of what those before it left.
  std::size_t cells = 100'000'000;
  std::size_t columns = 400'000;
  std::size_t value_bytes = std::size_t{256} << 20;
  // Of one provider while it is read: names, and facts of unlike outputs.
  std::size_t names = 500'000;
  std::size_t facts = 25'000'000;
  std::size_t reasons = 1000;
};

class fact_table {
 public:
  // `to.nodes` is complete.
  explicit fact_table(run_data& to, const table_limits& limits = {});

  void begin(const std::string& provider, const std::string& option);
  // A reader of outputs by that description whose values lie in the run's
  // table; until end.
  facts::output_series& series(
      const std::shared_ptr<const facts::declaration>& by);
  // What each of `nodes` says: the answer that `from` has just read. Requires
  // the smallest outputs first: they are the ones that are kept. `is_blank`:
  // the output is empty. Nodes that say nothing at all where most say something
  // were not understood.
  void add(const facts::output_series& from,
           const facts::numbered_extraction& read, std::int32_t version,
           const std::vector<std::uint32_t>& nodes, bool is_blank = false);
  void add_unread(const std::string& name, const std::string& reason,
                  const std::vector<std::uint32_t>& nodes);
  void end();

  // Puts columns and unread facts in their order.
  void finish();

 private:
  struct column {
    std::string name;
    facts::fact_traits traits;
    std::int32_t version = 0;  // whose traits these are
    std::size_t nodes = 0;
    std::size_t place = 0;  // in run_data::facts, while they are filled
  };
  struct statement {  // what equal outputs say
    std::vector<std::pair<std::uint32_t, std::uint32_t>> facts;  // column,
                                                                 // value
    std::vector<std::uint32_t> nodes;
    bool is_empty = false;
  };

  struct reader {  // by one description
    std::shared_ptr<const facts::declaration> by;
    std::unique_ptr<facts::output_series> series;
    std::vector<std::uint32_t> columns;  // by number of a name; no_value: none
  };

  reader& reader_of(const facts::output_series& series);
  std::uint32_t column_of(reader& of, const facts::numbered_fact& fact,
                          std::int32_t version);
  std::uint32_t new_column(const reader& of, const facts::numbered_fact& fact,
                           std::int32_t version);
  std::vector<std::uint32_t> kept_columns();
  void fill(const std::vector<std::uint32_t>& kept);
  bool is_empty(const facts::numbered_extraction& read, bool is_blank) const;
  void drop_empty();
  void tell_left_out(std::size_t names);

  run_data& to_;
  table_limits limits_;
  std::size_t cells_left_;
  std::size_t columns_left_;

  // Of the provider that is read.
  std::string provider_, option_;
  std::deque<reader> readers_;
  std::unordered_map<std::string, std::uint32_t> names_;
  std::vector<column> columns_;
  std::vector<statement> said_;
  std::size_t facts_ = 0;
  std::map<std::pair<std::string, std::string>, std::vector<std::uint32_t>>
      unread_;
  std::vector<std::uint32_t> cut_;     // nodes of which something is left out
  std::vector<std::uint32_t> silent_;  // nodes whose reasons are too many
  std::size_t empty_ = 0;              // nodes whose output says nothing
  std::size_t telling_ = 0;            // nodes whose output says something
};

}  // namespace zelk::check
