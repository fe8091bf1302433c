#include "src/collect/src/collect/stored_results.h"

#include <nlohmann/json.hpp>

namespace zelk::collect {

std::vector<std::string> stored_results_command(const std::string& program,
                                                const std::string& datastore,
                                                std::int64_t run) {
  std::vector<std::string> words = {
      program,
      "query",
      "--format",
      "jsonl",
      "--max-rows",
      "0",
      "SELECT node, provider, option_id, exit_status, duration FROM v_result "
      "WHERE run = " +
          std::to_string(run)};
  if (!datastore.empty()) {
    words.emplace_back("--db");
    words.push_back(datastore);
  }
  return words;
}

std::optional<stored_result> read_stored(std::string_view line) {
  const nlohmann::json row = nlohmann::json::parse(line, nullptr, false);
  if (!row.is_object()) return {};
  try {
    stored_result result;
    result.what = {row.at("node"), row.at("provider"), row.at("option_id")};
    result.exit_status = row.at("exit_status");
    result.duration = row.at("duration");
    return result;
  } catch (const nlohmann::json::exception&) {
    return {};  // a name that is no text is none that we gave
  }
}

}  // namespace zelk::collect
