#include "src/collect/src/collect/run_summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <nlohmann/json.hpp>

#include "src/common/names/version.h"
#include "src/common/node/tokenized_host.h"

namespace zelk::collect {

namespace {

// Kinds that are told even when there is nothing of them: that no node was
// silent is what people look for first.
constexpr std::array<shortfall, 3> always_told = {
    shortfall::no_answer, shortfall::timed_out, shortfall::failed};

constexpr std::size_t kind_width = 14;
// Columns are aligned as long as they are not wider than this; a set of names
// without a common shape pushes only its own reason away.
constexpr std::size_t widest_nodes = 40;
constexpr std::size_t between_columns = 3;
constexpr std::size_t command_width = 49;
constexpr std::size_t behind_long_command = 6;

std::string head_of(const run_summary& summary) {
  std::string place;
  if (summary.run) {
    place = fmt::format("   (run {}", *summary.run);
    if (!summary.label.empty()) place += ", label " + summary.label;
    if (summary.state == "interrupted") place += ", interrupted";
    place += ")";
  }
  return fmt::format("Collected {} of {} results from {} of {} nodes in {}{}\n",
                     summary.received, summary.expected, summary.answering,
                     summary.nodes, duration_text(summary.seconds), place);
}

// A count without nodes is a kind of which there is nothing.
struct line {
  std::string kind;
  std::string nodes;
  std::string text;
};

std::string padded(const std::string& text, std::size_t width) {
  return fmt::format("{:<{}}", text, width);
}

std::string text_of_row(const shortfall_row& row) {
  std::string text;
  for (const std::string& provider : row.providers)
    text += (text.empty() ? "" : ", ") + provider;
  return text + (text.empty() ? "" : ": ") + row.reason;
}

std::vector<line> lines_of(const std::vector<shortfall_row>& rows) {
  std::vector<shortfall_row> all = rows;
  for (const shortfall kind : always_told)
    if (std::none_of(rows.begin(), rows.end(),
                     [&](const auto& row) { return row.kind == kind; }))
      all.push_back({kind, "", {}, {}});
  std::stable_sort(all.begin(), all.end(), [](const auto& a, const auto& b) {
    return a.kind < b.kind;
  });
  std::vector<line> lines;
  lines.reserve(all.size());
  for (const shortfall_row& row : all) {
    const std::string set = TokenizedHost::get_merged_hosts(row.nodes);
    lines.push_back(
        {shortfall_name(row.kind),
         fmt::format("{}{}{}", row.nodes.size(), set.empty() ? "" : "  ", set),
         text_of_row(row)});
  }
  return lines;
}

std::string table_of(const std::vector<shortfall_row>& rows) {
  const std::vector<line> lines = lines_of(rows);
  std::size_t width = 0;
  for (const line& each : lines)
    if (each.nodes.size() <= widest_nodes)
      width = std::max(width, each.nodes.size());
  std::string text;
  for (const line& each : lines) {
    text += "  " + padded(each.kind, kind_width);
    text += each.text.empty()
                ? each.nodes
                : padded(each.nodes, width) +
                      std::string(between_columns, ' ') + each.text;
    text += "\n";
  }
  return text;
}

std::string next_of(const std::vector<next_command>& commands) {
  if (commands.empty()) return "";
  std::string text = "\nNext:\n";
  for (const next_command& each : commands) {
    const bool fits = each.command.size() + 2 <= command_width;
    text += "  " +
            (fits ? padded(each.command, command_width)
                  : each.command + std::string(behind_long_command, ' ')) +
            each.purpose + "\n";
  }
  return text;
}

nlohmann::ordered_json json_of_rows(const std::vector<shortfall_row>& rows) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const shortfall_row& row : rows)
    list.push_back({{"kind", shortfall_name(row.kind)},
                    {"count", row.nodes.size()},
                    {"nodeset", TokenizedHost::get_merged_hosts(row.nodes)},
                    {"nodes", row.nodes},
                    {"providers", row.providers},
                    {"reason", row.reason}});
  return list;
}

nlohmann::ordered_json json_of_missing(
    const std::vector<missing_result>& missing) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const missing_result& each : missing)
    list.push_back({{"node", each.what.node},
                    {"provider", each.what.provider},
                    {"option", each.what.option},
                    {"kind", shortfall_name(each.kind)},
                    {"reason", each.reason}});
  return list;
}

nlohmann::ordered_json json_of_run(const run_summary& summary) {
  nlohmann::ordered_json run;
  run["id"] = summary.run ? nlohmann::ordered_json(*summary.run)
                          : nlohmann::ordered_json(nullptr);
  run["label"] = summary.label;
  run["state"] = summary.state;
  run["start"] = utc_text(summary.started_usec);
  run["end"] = utc_text(summary.started_usec +
                        static_cast<std::int64_t>(summary.seconds * 1e6));
  run["seconds"] = summary.seconds;
  run["nodes"] = summary.nodes;
  run["answering"] = summary.answering;
  run["expected"] = summary.expected;
  run["received"] = summary.received;
  return run;
}

}  // namespace

std::string text_of(const run_summary& summary) {
  return head_of(summary) + "\n" + table_of(summary.rows) +
         next_of(summary.next);
}

std::string json_of(const run_summary& summary) {
  nlohmann::ordered_json document;
  document["schema"] = "zelkara.collect/1";
  document["tool"] = {{"name", "zelk-collect"}, {"version", product_version()}};
  document["run"] = json_of_run(summary);
  document["launcher"] = summary.launcher;
  document["trouble"] = summary.trouble;
  document["shortfalls"] = json_of_rows(summary.rows);
  document["missing"] = json_of_missing(summary.missing);
  nlohmann::ordered_json next = nlohmann::ordered_json::array();
  for (const next_command& each : summary.next)
    next.push_back({{"command", each.command}, {"purpose", each.purpose}});
  document["next"] = std::move(next);
  document["exit_status"] = summary.exit_status;
  // What nodes say may be no UTF-8; a document is all the same.
  return document.dump(2, ' ', false,
                       nlohmann::ordered_json::error_handler_t::replace) +
         "\n";
}

std::string duration_text(double seconds) {
  if (seconds < 9.95) return fmt::format("{:.1f} s", seconds);
  const auto whole = static_cast<std::int64_t>(std::llround(seconds));
  if (whole < 60) return fmt::format("{} s", whole);
  if (whole < 3600) return fmt::format("{} min {} s", whole / 60, whole % 60);
  return fmt::format("{} h {} min", whole / 3600, whole % 3600 / 60);
}

std::string utc_text(std::int64_t usec_since_epoch) {
  const auto second = static_cast<std::time_t>(usec_since_epoch / 1'000'000);
  std::tm parts = {};
  ::gmtime_r(&second, &parts);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z",
                     parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
                     parts.tm_hour, parts.tm_min, parts.tm_sec);
}

}  // namespace zelk::collect
