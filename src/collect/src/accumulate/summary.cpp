#include "src/collect/src/accumulate/summary.h"

#include <fmt/format.h>

#include <array>
#include <ctime>
#include <map>
#include <nlohmann/json.hpp>
#include <string_view>
#include <tuple>

#include "src/collect/src/accumulate/printable.h"
#include "src/common/node/tokenized_host.h"
#include "src/common/preproc/preproc.h"

namespace zelk::accumulate {

namespace {

using json = nlohmann::ordered_json;

constexpr char schema[] = "zelkara.accumulate/1";

// Several rows of the same kind in one: what, reason -> nodes.
using folded = std::map<std::tuple<std::string, std::string, std::string>,
                        std::vector<std::string>>;

folded fold(const std::vector<missing_result>& missing) {
  folded rows;
  for (const missing_result& one : missing)
    rows[{one.what.provider, one.what.option_id, one.reason}].push_back(
        one.what.node);
  return rows;
}

std::string local_time(std::int64_t usec, const char* format) {
  const std::time_t seconds = usec / 1'000'000;
  std::tm parts = {};
  ::localtime_r(&seconds, &parts);
  std::array<char, 64> text = {};
  std::strftime(text.data(), text.size(), format, &parts);
  return text.data();
}

std::string rfc3339(std::int64_t usec) {
  std::string text = local_time(usec, "%Y-%m-%dT%H:%M:%S%z");
  // +0100 to +01:00
  if (text.size() > 2) text.insert(text.size() - 2, ":");
  return text;
}

// "2025-11-21 02:00..02:06"
std::string span_text(std::int64_t from, std::int64_t until) {
  const bool same_day = local_time(from, "%F") == local_time(until, "%F");
  return local_time(from, "%F %H:%M") + ".." +
         local_time(until, same_day ? "%H:%M" : "%F %H:%M");
}

std::string refused_text(const refusal_log::counts& refused) {
  std::string text;
  for (std::size_t i = 0; i < refusal_kinds; ++i)
    if (refused[i] != 0)
      text += fmt::format("{}{} {}", text.empty() ? "" : ", ", refused[i],
                          refusal_name(static_cast<refusal>(i)));
  return text;
}

std::string missing_text(const run_report& run) {
  std::string text;
  for (const std::string& line : missing_lines(run.missing))
    text += "  missing: " + line + "\n";
  if (const std::int64_t more = unnamed_missing(run); more > 0)
    text += fmt::format("  missing: {} of {} results\n", more,
                        run.ended->results_expected);
  return text;
}

// Hosts that nobody expected must not hide an expected node that is missing.
std::string nodes_text(const run& ended) {
  if (ended.nodes_expected == 0)
    return count_of(static_cast<std::uint64_t>(ended.nodes), "node");
  const std::string text =
      fmt::format("{} of {} nodes", ended.nodes_answered, ended.nodes_expected);
  const std::int64_t strangers = nodes_not_expected(ended);
  return strangers == 0 ? text
                        : fmt::format("{} +{} not expected", text, strangers);
}

std::string run_text(const run_report& report) {
  if (!report.ended)
    return fmt::format("run {}: the datastore is out of reach\n",
                       report.number);
  const run& ended = *report.ended;
  return fmt::format(
             "run {}{} is {}: {}, {}\n", ended.number,
             ended.label.empty()
                 ? ""
                 : " \"" + printable(ended.label, ended.label.size()) + "\"",
             run_state_name(ended.state),
             count_of(static_cast<std::uint64_t>(ended.results), "result"),
             nodes_text(ended)) +
         missing_text(report);
}

json run_json(const run_report& report) {
  json out = {{"id", report.number}};
  if (report.ended) {
    const run& ended = *report.ended;
    out["label"] = ended.label;
    out["state"] = run_state_name(ended.state);
    out["start"] = rfc3339(ended.started_usec);
    out["end"] = rfc3339(ended.ended_usec);
    out["nodes"] = ended.nodes;
    out["nodes_expected"] = ended.nodes_expected;
    out["nodes_answered"] = ended.nodes_answered;
    out["nodes_not_expected"] = nodes_not_expected(ended);
    out["results"] = ended.results;
    out["results_expected"] = ended.results_expected;
  }
  json missing = json::array();
  for (const auto& [what, nodes] : fold(report.missing))
    missing.push_back({{"nodeset", TokenizedHost::get_merged_hosts(nodes)},
                       {"nodes", nodes},
                       {"provider", std::get<0>(what)},
                       {"option", std::get<1>(what)},
                       {"reason", std::get<2>(what)}});
  out["missing"] = missing;
  return out;
}

// Foreign bytes may stand in it; what is not UTF-8 is replaced.
std::string document(const json& out) {
  return out.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace

std::string count_of(std::uint64_t number, const std::string& singular) {
  return fmt::format("{} {}{}", number, singular, number == 1 ? "" : "s");
}

std::string size_text(std::uint64_t bytes) {
  constexpr const char* units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
  auto value = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; value >= 1024 && unit + 1 < std::size(units); ++unit)
    value /= 1024;
  return fmt::format("{:.{}f} {}", value, unit == 0 ? 0 : 1, units[unit]);
}

std::string unsaved_advice(std::uint64_t records, const std::string& directory,
                           std::int64_t run, const std::string& datastore) {
  std::string command = "zelk-accumulate scan";
  if (run != 0) command += fmt::format(" --run {}", run);
  command += " --db " + preproc::shell_quoted(datastore) + " " +
             preproc::shell_quoted(directory);
  return fmt::format(
      "{} could not be stored in time and {} in '{}'; this takes {} into {}: "
      "{}",
      count_of(records, "record"), records == 1 ? "lies" : "lie", directory,
      records == 1 ? "it" : "them", run != 0 ? "the run" : "a run", command);
}

std::int64_t unnamed_missing(const run_report& run) {
  if (!run.ended || !run.missing.empty()) return 0;
  return std::max<std::int64_t>(
      0, run.ended->results_expected - run.ended->results);
}

std::vector<std::string> missing_lines(
    const std::vector<missing_result>& missing) {
  std::vector<std::string> lines;
  for (const auto& [what, nodes] : fold(missing)) {
    const auto& [provider, option, reason] = what;
    std::string line = TokenizedHost::get_merged_hosts(nodes) +
                       fmt::format(" ({})", nodes.size());
    if (!provider.empty()) line += "  " + provider;
    if (!option.empty()) line += ":" + option;
    if (!reason.empty()) line += "  " + reason;
    lines.push_back(line);
  }
  return lines;
}

std::string text_of(const listen_summary& summary) {
  const tally& counts = summary.counts;
  std::string text =
      fmt::format("{} received: {} stored", count_of(counts.received, "record"),
                  counts.stored);
  if (counts.duplicates > 0)
    text += fmt::format(", {} stored before", counts.duplicates);
  if (counts.conflicts > 0)
    text += fmt::format(", {} of them beside another one of the same time",
                        counts.conflicts);
  if (counts.kept_aside > 0)
    text += fmt::format(", {} refused by the datastore", counts.kept_aside);
  if (counts.unsaved > 0)
    text += fmt::format(", {} written to files", counts.unsaved);
  if (counts.lost > 0) text += fmt::format(", {} LOST", counts.lost);
  text += fmt::format(" ({}, {:.1f} s)\n", size_text(counts.stored_bytes),
                      summary.seconds);
  if (const std::string refused = refused_text(summary.refused);
      !refused.empty())
    text += "  refused: " + refused + "\n";
  return text + run_text(summary.run);
}

std::string text_of(const scan_summary& summary) {
  const scan_report& files = summary.files;
  const std::uint64_t all = files.stored + files.duplicates + files.refused +
                            files.writing + files.incomplete + files.strange;
  std::string text =
      fmt::format("{}: {} stored", count_of(all, "file"), files.stored);
  if (files.duplicates > 0)
    text += fmt::format(", {} stored before", files.duplicates);
  if (files.writing > 0)
    text += fmt::format(", {} still being written (locked)", files.writing);
  if (files.incomplete > 0)
    text += fmt::format(", {} not yet whole", files.incomplete);
  if (files.strange > 0) text += fmt::format(", {} left alone", files.strange);
  if (files.refused > 0) text += fmt::format(", {} refused", files.refused);
  if (files.not_removed > 0)
    text += fmt::format(", {} stored and not removed", files.not_removed);
  text += "\n";
  for (const refused_file& one : files.refusals)
    text += fmt::format(
        "  refused: {}   {}{}\n", one.name, one.reason,
        one.moved_to.empty() ? "" : " (moved to " + one.moved_to + ")");
  if (files.refused > files.refusals.size())
    text += fmt::format("  refused: {} more\n",
                        files.refused - files.refusals.size());
  if (summary.given_up)
    text +=
        "the datastore took nothing any more; other files are where they "
        "were\n";
  for (const run_report& one : summary.runs) {
    if (!one.ended) continue;
    const auto stored = files.by_run.find(one.number);
    text += fmt::format(
        "run {} from {}, {}, {}\n", one.number,
        count_of(stored == files.by_run.end() ? 0 : stored->second, "result"),
        count_of(static_cast<std::uint64_t>(one.ended->nodes), "node"),
        span_text(one.ended->started_usec, one.ended->ended_usec));
    text += missing_text(one);
  }
  return text;
}

std::string json_of(const listen_summary& summary) {
  const tally& counts = summary.counts;
  json refused = json::object();
  for (std::size_t i = 0; i < refusal_kinds; ++i)
    refused[std::string(refusal_name(static_cast<refusal>(i)))] =
        summary.refused[i];
  return document({{"schema", schema},
                   {"command", "listen"},
                   {"ended_by", summary.ended_by},
                   {"seconds", summary.seconds},
                   {"received", counts.received},
                   {"stored", counts.stored},
                   {"duplicates", counts.duplicates},
                   {"conflicts", counts.conflicts},
                   {"kept_aside", counts.kept_aside},
                   {"unsaved", counts.unsaved},
                   {"lost", counts.lost},
                   {"pending", counts.pending},
                   {"stored_bytes", counts.stored_bytes},
                   {"refused", refused},
                   {"run", run_json(summary.run)}});
}

std::string json_of(const scan_summary& summary) {
  const scan_report& files = summary.files;
  json refusals = json::array();
  for (const refused_file& one : files.refusals)
    refusals.push_back({{"file", one.name},
                        {"reason", one.reason},
                        {"moved_to", one.moved_to}});
  json runs = json::array();
  for (const run_report& one : summary.runs)
    runs.push_back(run_json(one));
  return document({{"schema", schema},
                   {"command", "scan"},
                   {"seconds", summary.seconds},
                   {"stored", files.stored},
                   {"duplicates", files.duplicates},
                   {"conflicts", files.conflicts},
                   {"refused", files.refused},
                   {"writing", files.writing},
                   {"incomplete", files.incomplete},
                   {"left_alone", files.strange},
                   {"not_removed", files.not_removed},
                   {"given_up", summary.given_up},
                   {"refusals", refusals},
                   {"runs", runs}});
}

}  // namespace zelk::accumulate
