#include "src/collect/src/accumulate/run_request.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>

#include "src/common/node/nodelist.h"
#include "src/common/node/ranges.h"

namespace zelk::accumulate {

namespace {

bool is_number(std::string_view text) {
  return !text.empty() && text.size() <= 12 &&
         std::all_of(text.begin(), text.end(),
                     [](char c) { return c >= '0' && c <= '9'; });
}

std::string read_nodes_of_file(const std::string& path,
                               std::vector<std::string>& nodes) {
  std::ifstream file(path);
  if (!file) return "cannot read '" + path + "': " + std::strerror(errno);
  node::Nodelist list(path);
  list.parse(file);
  for (const node::node_entry& entry : list.nodes())
    nodes.push_back(entry.name);
  return nodes.empty() ? "there are no nodes in '" + path + "'" : "";
}

std::string read_nodes(const std::string& text,
                       std::vector<std::string>& nodes) {
  if (text.find('/') != std::string::npos)
    return read_nodes_of_file(text, nodes);
  node::range_budget budget;
  node::expansion expansion = node::expand_list(text, budget);
  if (!expansion.problem.empty()) return "'" + text + "': " + expansion.problem;
  nodes = std::move(expansion.names);
  return nodes.empty() ? "'" + text + "' names no node" : "";
}

expectation expected_of(const std::string& node, const std::string& provider) {
  const std::size_t colon = provider.find(':');
  if (colon == std::string::npos) return {node, provider, ""};
  return {node, provider.substr(0, colon), provider.substr(colon + 1)};
}

}  // namespace

std::int64_t open_run(datastore::database& base, const run_request& request) {
  std::int64_t number = 0;
  if (request.run == "new") {
    run wanted;
    wanted.label = request.label;
    wanted.note = request.note;
    wanted.command_line = request.command_line;
    number = create_run(base, wanted);
  } else {
    const std::optional<run> found = find_run(base, request.run);
    if (!found)
      throw datastore::store_error(datastore::store_failure::row,
                                   "There is no run '" + request.run + "'");
    number = found->number;
    if (found->state != run_state::running) reopen_run(base, number);
    if (!request.label.empty()) set_run_label(base, number, request.label);
    if (!request.note.empty()) set_run_note(base, number, request.note);
  }
  if (!request.expected.empty() || request.results_expected > 0)
    expect_results(base, number, request.expected, request.results_expected);
  return number;
}

std::string read_expectation(const std::string& text,
                             const std::vector<std::string>& providers,
                             run_request& request) {
  if (is_number(text)) {
    request.results_expected += std::stoll(text);
    return "";
  }
  std::vector<std::string> nodes;
  std::string problem = read_nodes(text, nodes);
  if (!problem.empty()) return problem;
  for (const std::string& node : nodes) {
    if (providers.empty()) request.expected.push_back({node, "", ""});
    for (const std::string& provider : providers)
      request.expected.push_back(expected_of(node, provider));
  }
  return "";
}

std::uint64_t expected_results(const run_request& request) {
  const auto named = std::count_if(
      request.expected.begin(), request.expected.end(),
      [](const expectation& one) { return !one.provider.empty(); });
  return static_cast<std::uint64_t>(
      std::max<std::int64_t>(named, request.results_expected));
}

std::size_t expected_nodes(const run_request& request) {
  std::set<std::string_view> nodes;
  for (const expectation& one : request.expected)
    nodes.insert(one.node);
  return nodes.size();
}

}  // namespace zelk::accumulate
