#include "src/collect/src/reading/run_facts.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

#include "src/collect/src/reading/base64.h"
#include "src/common/facts/extraction_cache.h"
#include "src/common/names/names.h"
#include "src/common/node/natural_order.h"

namespace zelk::reading {

namespace {

using datastore::database;
using datastore::statement;
using facts::extraction;

// A result without its output, which is asked for only when it is new.
struct result_row {
  std::int64_t id = 0;
  std::string node;
  std::string provider;
  std::string option_id;
  std::int32_t version = 0;
  int exit_status = 0;
  bool base64 = false;
  std::string hash;  // of the output; empty: there is none
};

bool chosen(const std::set<std::string>& wanted, std::string_view name) {
  return wanted.empty() || wanted.contains(std::string(name));
}

std::vector<result_row> rows_of(database& base, const result_choice& choice) {
  statement query(base,
                  "SELECT result, node, provider, option_id, version, "
                  "exit_status, encoding, coalesce(stdout_hash, '') "
                  "FROM v_result WHERE run = ?1");
  query.bind(1, choice.run);
  std::vector<result_row> rows;
  while (query.step()) {
    if (!chosen(choice.nodes, query.bytes(1)) ||
        !chosen(choice.providers, query.bytes(2)))
      continue;
    rows.push_back(
        {query.integer(0), std::string(query.bytes(1)),
         std::string(query.bytes(2)), std::string(query.bytes(3)),
         static_cast<std::int32_t>(query.integer(4)),
         static_cast<int>(query.integer(5)),
         query.integer(6) == static_cast<int>(provider::encoding::BASE64),
         std::string(query.bytes(7))});
  }
  return rows;
}

bool in_order(const result_row& a, const result_row& b) {
  if (a.provider != b.provider) return a.provider < b.provider;
  if (a.node != b.node) return node::natural_before(a.node, b.node);
  return std::tie(a.option_id, a.id) < std::tie(b.option_id, b.id);
}

std::shared_ptr<const extraction> unread(const std::string& reason) {
  extraction none;
  none.what = facts::outcome::failed;
  none.unread.push_back({facts::whole_output, reason});
  return std::make_shared<const extraction>(std::move(none));
}

class fact_finder {
 public:
  fact_finder(const database& base, const facts::description_set& descriptions)
      : descriptions_(descriptions),
        output_(base, "SELECT stdout FROM v_result WHERE result = ?1") {}

  // Returns null when the description says nothing of facts.
  std::shared_ptr<const extraction> find(const result_row& row) {
    const auto by = descriptions_.find(row.provider, row.version);
    if (!by.use) return unread(by.reason);
    if (!by.use->declares()) return nullptr;
    problem_.clear();
    const std::string hash = row.base64 ? "base64 " + row.hash : row.hash;
    auto found = cache_.get(by.use, hash, row.exit_status,
                            [&] { return output_of(row); });
    // What was kept under this hash is the empty text's, for this caller only.
    if (!problem_.empty()) problems_[hash] = problem_;
    const auto bad = problems_.find(hash);
    return bad == problems_.end() ? found : unread(bad->second);
  }

  std::size_t outputs() const { return cache_.reads(); }

 private:
  std::string output_of(const result_row& row) {
    output_.reset();
    output_.bind(1, row.id);
    if (!output_.step()) return "";
    if (!row.base64) return std::string(output_.bytes(0));
    base64_bytes decoded = bytes_of_base64(output_.bytes(0));
    if (!decoded.problem.empty())
      problem_ = "the output says it is base64, but " + decoded.problem;
    return std::move(decoded.bytes);
  }

  const facts::description_set& descriptions_;
  statement output_;
  facts::extraction_cache cache_;
  std::string problem_;
  std::map<std::string, std::string> problems_;  // by hash
};

}  // namespace

facts_tally for_each_facts(
    database& base, const result_choice& choice,
    const facts::description_set& descriptions,
    const std::function<void(const result_facts&)>& take) {
  std::vector<result_row> rows = rows_of(base, choice);
  std::sort(rows.begin(), rows.end(), in_order);
  fact_finder finder(base, descriptions);
  facts_tally tally;
  for (const result_row& row : rows) {
    ++tally.results;
    if (auto found = finder.find(row))
      take({row.node, row.provider, row.option_id, std::move(found)});
    else
      ++tally.undeclared;
  }
  tally.outputs = finder.outputs();
  return tally;
}

}  // namespace zelk::reading
