#include <cmath>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <ostream>

#include "src/collect/src/collect/doctor.h"
#include "src/collect/src/collect/exit_codes.h"
#include "src/common/node/tokenized_host.h"

namespace zelk::collect {

namespace {

using nlohmann::ordered_json;
using names = std::vector<std::string>;
using groups = std::map<std::string, names>;

std::string folded(const names& nodes) {
  return TokenizedHost::get_merged_hosts(nodes) + " (" +
         std::to_string(nodes.size()) + ")";
}

template <typename Key>
groups grouped(const precheck_report& report, Key key) {
  groups result;
  for (const auto& [name, facts] : report.nodes) {
    if (const std::string text = key(facts); !text.empty())
      result[text].push_back(name);
  }
  return result;
}

void print_groups(std::ostream& out, const std::string& title,
                  const groups& all) {
  for (const auto& [text, nodes] : all)
    out << "  " << title << text << ": " << folded(nodes) << '\n';
}

bool is_well(const node_facts& facts, const std::string& version) {
  return facts.answered && facts.worker == "found" &&
         facts.version == version && facts.outcome.how == ending::exited;
}

std::size_t well_nodes(const doctor_report& report) {
  std::size_t count = 0;
  for (const auto& [name, facts] : report.findings.nodes)
    count += is_well(facts, report.request.version) ? 1 : 0;
  return count;
}

std::string state_text(const node_facts& facts) {
  if (facts.token == "read" && facts.reply_seen)
    return "shared with this machine";
  if (facts.token.empty()) return "";
  return "not shared with this machine";
}

void print_tools(const doctor_report& report, std::ostream& out) {
  if (report.tools.empty()) return;
  out << "This machine\n";
  for (const tool_version& tool : report.tools) {
    out << "  " << tool.program << ": "
        << (tool.version.empty() ? "not found" : tool.version) << '\n';
  }
}

void print_nodes(const doctor_report& report, std::ostream& out) {
  const precheck_report& found = report.findings;
  out << "Nodes, by " << report.launcher << '\n';
  print_groups(out, "", grouped(found, [](const node_facts& facts) {
                 return facts.answered ? std::string("answers") : "";
               }));
  print_groups(out, "worker ", grouped(found, [](const node_facts& facts) {
                 return facts.version;
               }));
  print_groups(out, "architecture ",
               grouped(found, [](const node_facts& facts) {
                 return facts.architecture;
               }));
  if (report.request.directory.empty()) return;
  print_groups(out, report.request.directory + " ", grouped(found, state_text));
}

void print_lines(std::ostream& out, const std::string& title,
                 const names& lines) {
  if (lines.empty()) return;
  out << title << '\n';
  for (const std::string& line : lines)
    out << "  " << line << '\n';
}

ordered_json node_json(const node_facts& facts) {
  ordered_json node{{"answered", facts.answered},
                    {"ending", ending_name(facts.outcome.how)},
                    {"reason", facts.outcome.reason},
                    {"took_s", facts.outcome.took.count()},
                    {"host_name", facts.host_name},
                    {"architecture", facts.architecture},
                    {"worker", facts.worker},
                    {"version", facts.version},
                    {"checksum", facts.checksum},
                    {"clock_offset_s", nullptr},
                    {"directory", facts.state},
                    {"token", facts.token},
                    {"reply_seen", facts.reply_seen}};
  if (facts.clock_offset_s) node["clock_offset_s"] = *facts.clock_offset_s;
  return node;
}

}  // namespace

int doctor_status(const doctor_report& report) {
  const precheck_report& found = report.findings;
  if (found.nodes.empty()) return exit_unusable;
  if (well_nodes(report) == 0) return exit_nothing;
  const bool well = found.errors.empty() && found.warnings.empty() &&
                    (found.directory.empty() || found.directory_usable);
  return well && !found.stopped ? exit_complete : exit_partial;
}

void print_report(const doctor_report& report, std::ostream& out) {
  print_tools(report, out);
  print_nodes(report, out);
  print_lines(out, "Errors", report.findings.errors);
  print_lines(out, "Warnings", report.findings.warnings);
  const std::size_t well = well_nodes(report);
  out << well << " of " << report.findings.nodes.size()
      << " nodes can be collected from";
  if (report.findings.stopped) out << "; the questions were stopped";
  out << '\n';
}

void print_json(const doctor_report& report, std::ostream& out) {
  ordered_json tools = ordered_json::array();
  for (const tool_version& tool : report.tools)
    tools.push_back({{"program", tool.program}, {"version", tool.version}});
  ordered_json nodes = ordered_json::object();
  for (const auto& [name, facts] : report.findings.nodes)
    nodes[name] = node_json(facts);
  const ordered_json document{{"schema", "zelkara.doctor/1"},
                              {"launcher", report.launcher},
                              {"version", report.request.version},
                              {"status", doctor_status(report)},
                              {"stopped", report.findings.stopped},
                              {"directory",
                               {{"path", report.request.directory},
                                {"usable", report.findings.directory_usable}}},
                              {"tools", tools},
                              {"errors", report.findings.errors},
                              {"warnings", report.findings.warnings},
                              {"nodes", nodes}};
  out << document.dump(2, ' ', false, ordered_json::error_handler_t::replace)
      << '\n';
}

}  // namespace zelk::collect
