#include "src/collect/src/reading/run_facts.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "src/collect/src/reading/base64.h"
#include "src/common/names/names.h"
#include "src/common/node/natural_order.h"

namespace zelk::reading {

namespace {

using datastore::database;
using datastore::statement;
using facts::extraction;

bool chosen(const std::set<std::string>& wanted, std::string_view name) {
  return wanted.empty() || wanted.contains(std::string(name));
}

bool in_order(const stored_result& a, const stored_result& b) {
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

}  // namespace

std::string last_line(std::string_view text) {
  const std::size_t end = text.find_last_not_of(" \t\r\n");
  if (end == text.npos) return "";
  const std::size_t before = text.find_last_of("\r\n", end);
  const std::size_t start = before == text.npos ? 0 : before + 1;
  return std::string(text.substr(start, end - start + 1));
}

std::vector<stored_result> stored_results(database& base,
                                          const result_choice& choice) {
  statement query(base,
                  "SELECT result, node, provider, option_id, version, "
                  "exit_status, encoding, coalesce(stdout_hash, ''), "
                  "ended_usec, duration, stdout_size, "
                  "coalesce(stderr_hash, '') "
                  "FROM v_result WHERE run = ?1");
  query.bind(1, choice.run);
  std::vector<stored_result> results;
  while (query.step()) {
    if (!chosen(choice.nodes, query.bytes(1)) ||
        !chosen(choice.providers, query.bytes(2)))
      continue;
    stored_result& one = results.emplace_back();
    one.id = query.integer(0);
    one.node = query.bytes(1);
    one.provider = query.bytes(2);
    one.option_id = query.bytes(3);
    one.version = static_cast<std::int32_t>(query.integer(4));
    one.exit_status = static_cast<int>(query.integer(5));
    one.base64 =
        query.integer(6) == static_cast<int>(provider::encoding::BASE64);
    one.hash = query.bytes(7);
    one.ended_usec = query.integer(8);
    one.duration = query.real(9);
    one.output_size = query.integer(10);
    one.error_hash = query.bytes(11);
  }
  return results;
}

output_reader::output_reader(const database& base,
                             const facts::description_set& descriptions)
    : descriptions_(descriptions),
      output_(base, "SELECT stdout FROM v_result WHERE result = ?1"),
      errors_(base, "SELECT stderr FROM v_result WHERE result = ?1") {}

std::shared_ptr<const extraction> output_reader::facts_of(
    const stored_result& of) {
  const auto by = descriptions_.find(of.provider, of.version);
  if (!by.use) return unread(by.reason);
  if (!by.use->declares()) return nullptr;
  std::string problem;
  const std::string hash = of.base64 ? "base64 " + of.hash : of.hash;
  auto found = cache_.get(by.use, hash, of.exit_status,
                          [&] { return output_of(of, problem); });
  // What was kept under this hash is the empty text's, for this caller only.
  if (!problem.empty()) problems_[hash] = problem;
  const auto bad = problems_.find(hash);
  return bad == problems_.end() ? found : unread(bad->second);
}

std::string_view output_reader::output_of(const stored_result& of,
                                          std::string& problem) {
  output_.reset();
  output_.bind(1, of.id);
  if (!output_.step()) return "";
  if (!of.base64) return output_.bytes(0);
  base64_bytes decoded = bytes_of_base64(output_.bytes(0));
  if (!decoded.problem.empty())
    problem = "the output says it is base64, but " + decoded.problem;
  decoded_ = std::move(decoded.bytes);
  return decoded_;
}

std::string output_reader::last_error_line(const stored_result& of) {
  if (of.error_hash.empty()) return "";
  const auto [known, is_new] = error_lines_.emplace(of.error_hash, "");
  if (!is_new) return known->second;
  errors_.reset();
  errors_.bind(1, of.id);
  if (errors_.step()) known->second = last_line(errors_.bytes(0));
  return known->second;
}

facts_tally for_each_facts(
    database& base, const result_choice& choice,
    const facts::description_set& descriptions,
    const std::function<void(const result_facts&)>& take) {
  std::vector<stored_result> rows = stored_results(base, choice);
  std::sort(rows.begin(), rows.end(), in_order);
  output_reader reader(base, descriptions);
  facts_tally tally;
  for (const stored_result& row : rows) {
    ++tally.results;
    if (auto found = reader.facts_of(row))
      take({row.node, row.provider, row.option_id, std::move(found)});
    else
      ++tally.undeclared;
  }
  tally.outputs = reader.outputs();
  return tally;
}

}  // namespace zelk::reading
