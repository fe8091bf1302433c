#include "src/collect/src/accumulate/event_text.h"

#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>
#include <vector>

namespace zelk::accumulate {

namespace {

using json = nlohmann::ordered_json;

constexpr std::size_t most_missing = 1000;

std::string line(const json& object) {
  return object.dump(-1, ' ', true, json::error_handler_t::replace);
}

// What a run lacks, without rows that say of a node what others say of its
// results.
std::vector<missing_result> without_nodes(
    const std::vector<missing_result>& missing) {
  std::map<std::string_view, std::string_view> reasons;  // of nodes
  std::set<std::string_view> named;                      // by results
  for (const missing_result& one : missing)
    if (one.what.provider.empty())
      reasons[one.what.node] = one.reason;
    else
      named.insert(one.what.node);
  std::vector<missing_result> kept;
  for (const missing_result& one : missing) {
    if (one.what.provider.empty() && named.contains(one.what.node)) continue;
    kept.push_back(one);
    if (one.reason.empty()) kept.back().reason = reasons[one.what.node];
  }
  return kept;
}

}  // namespace

std::string run_event(std::int64_t run) {
  return line({{"event", "run"}, {"run", run}});
}

std::string result_event(const provider_result& record) {
  const provider_result_header& header = record.header;
  const std::string_view given = field_text(header.host_arg);
  return line({{"event", "result"},
               {"node", given.empty() ? field_text(header.hostname) : given},
               {"provider", field_text(header.name)},
               {"option", field_text(header.option_id)},
               {"hostname", field_text(header.hostname)},
               {"exit_status", header.exit_status},
               {"duration", header.duration},
               {"bytes", header.stdout_size + header.stderr_size}});
}

std::string refused_event(const std::string& peer, const std::string& reason) {
  return line({{"event", "refused"}, {"peer", peer}, {"reason", reason}});
}

std::string closed_event(const run_report& report) {
  const std::vector<missing_result> lacking = without_nodes(report.missing);
  json missing = json::array();
  for (const missing_result& one : lacking) {
    if (missing.size() == most_missing) break;
    missing.push_back({{"node", one.what.node},
                       {"provider", one.what.provider},
                       {"option", one.what.option_id},
                       {"reason", one.reason}});
  }
  // Out of reach is no state of a run, and all that is known.
  return line({{"event", "closed"},
               {"run", report.number},
               {"state",
                report.ended ? run_state_name(report.ended->state) : "unknown"},
               {"results", report.ended ? report.ended->results : 0},
               {"nodes", report.ended ? report.ended->nodes : 0},
               {"missing_count", lacking.size()},
               {"missing", missing}});
}

}  // namespace zelk::accumulate
