#include "src/collect/src/collect/dry_run.h"

#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "src/collect/src/collect/make_plan.h"
#include "src/collect/src/collect/text_table.h"
#include "src/common/node/tokenized_host.h"
#include "src/common/str/str.h"

namespace zelk::collect {

namespace {

using json = nlohmann::ordered_json;
using clock = std::chrono::steady_clock;

// A resolver that is down takes seconds for each name.
constexpr std::chrono::seconds resolving_time{5};

std::string folded(const std::vector<std::string>& names) {
  return TokenizedHost::get_merged_hosts(names);
}

std::vector<std::string> node_names(const plan& made) {
  std::vector<std::string> names;
  for (const selected_node& node : made.nodes)
    names.push_back(node.name);
  return names;
}

bool resolves(const std::string& name) {
  addrinfo wanted = {};
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (::getaddrinfo(name.c_str(), nullptr, &wanted, &found) != 0) return false;
  ::freeaddrinfo(found);
  return true;
}

std::string counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// The launcher stands at the right, where the eye does not trip over it.
std::string headline(const collect_settings& settings, const plan& made) {
  constexpr std::size_t column = 65;
  const std::vector<std::string> names = node_names(made);
  std::string line =
      "would run on " + counted(names.size(), "node") + ": " + folded(names);
  line.append(line.size() + 2 < column ? column - line.size() : 2, ' ');
  line += "launcher " + settings.launcher;
  if (settings.async) line += " (async)";
  return line + ", fanout " + std::to_string(settings.fanout) + "\n";
}

// What the shell of the node runs, but for the values that the worker adds.
std::string command_of(const planned_provider& provider,
                       const option_set& set) {
  return set.text + str::replace(provider.command, "%PROVIDER_AUXILIARY_PATH%",
                                 provider.auxiliary_path);
}

std::string ids_of(const planned_provider& provider) {
  std::vector<std::string> ids;
  for (const option_set& set : provider.options)
    ids.push_back(set.id);
  return joined(ids, ", ");
}

std::vector<std::string> provider_row(const collect_settings& settings,
                                      const planned_provider& provider) {
  return {provider.stem + " v" + std::to_string(provider.version),
          "option sets: " + ids_of(provider),
          "time-out " +
              std::to_string(provider.options.front().timeout.count()) +
              " s (" + (settings.timeout ? "--timeout" : provider.scale) + ")",
          below(settings.install_root, provider.path)};
}

std::string providers_text(const collect_settings& settings, const plan& made) {
  std::vector<std::vector<std::string>> rows;
  for (const planned_provider& provider : made.providers)
    rows.push_back(provider_row(settings, provider));
  const std::vector<std::string> lines = str::split(aligned(rows, "  "), '\n');
  std::string text;
  for (std::size_t i = 0; i < made.providers.size(); ++i) {
    text += lines[i] + "\n";
    for (const option_set& set : made.providers[i].options)
      text += "    " + one_line(command_of(made.providers[i], set)) + "\n";
  }
  return text;
}

std::string groups_text(const plan& made) {
  std::string text;
  for (std::size_t i = 1; i < made.phases.size(); ++i) {
    if (made.phases[i].empty()) continue;
    text += "  " + made.phases[i].front().expected.front().provider + " on " +
            counted(made.phases[i].size(), "group") + ":";
    for (const task& one : made.phases[i])
      text += " " + folded(one.group);
    text += "\n";
  }
  return text;
}

// Reasons in the order in which they come up first, each with all its nodes.
std::string left_out_text(const plan& made) {
  std::vector<std::string> order;
  std::map<std::string, std::vector<std::string>> nodes;
  for (const not_required& one : made.not_required) {
    const std::string why =
        (one.provider.empty() ? "" : one.provider + ": ") + one.reason;
    if (!nodes.contains(why)) order.push_back(why);
    nodes[why].push_back(one.node);
  }
  std::string text;
  for (const std::string& why : order)
    text += "  not required  " + folded(nodes[why]) + " (" +
            std::to_string(nodes[why].size()) + ")  " + why + "\n";
  return text;
}

std::string names_text(const name_resolution& names) {
  std::string text;
  if (!names.unresolved.empty())
    text += "do not resolve here: " + folded(names.unresolved) + " (" +
            std::to_string(names.unresolved.size()) +
            "); ssh may know them by its own configuration\n";
  if (!names.not_asked.empty())
    text +=
        "not resolved, for the resolver is slow: " + folded(names.not_asked) +
        " (" + std::to_string(names.not_asked.size()) + ")\n";
  return text;
}

json provider_json(const planned_provider& provider) {
  json options = json::array();
  for (const option_set& set : provider.options)
    options.push_back({{"id", set.id},
                       {"timeout_s", set.timeout.count()},
                       {"command", command_of(provider, set)}});
  return {{"provider", provider.stem},   {"name", provider.name},
          {"version", provider.version}, {"cluster", provider.cluster},
          {"path", provider.path},       {"options", options}};
}

json groups_json(const plan& made) {
  json groups = json::array();
  for (std::size_t i = 1; i < made.phases.size(); ++i)
    for (const task& one : made.phases[i])
      groups.push_back(
          {{"provider", one.expected.front().provider}, {"nodes", one.group}});
  return groups;
}

std::string document(const collect_settings& settings, const plan& made,
                     const name_resolution& names) {
  json providers = json::array();
  for (const planned_provider& provider : made.providers)
    providers.push_back(provider_json(provider));
  json left_out = json::array();
  for (const not_required& one : made.not_required)
    left_out.push_back({{"node", one.node},
                        {"provider", one.provider},
                        {"reason", one.reason}});
  json whole = {{"schema", "zelkara.dry-run/1"},
                {"launcher", settings.launcher},
                {"async", settings.async},
                {"fanout", settings.fanout},
                {"nodes", node_names(made)},
                {"providers", providers},
                {"groups", groups_json(made)},
                {"not_required", left_out},
                {"unresolved", names.unresolved},
                {"expected_results", expected_results(made)}};
  if (made.seed) whole["seed"] = *made.seed;
  return whole.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace

name_resolution resolve_nodes(const plan& made) {
  name_resolution names;
  const clock::time_point end = clock::now() + resolving_time;
  for (const selected_node& node : made.nodes) {
    if (clock::now() >= end)
      names.not_asked.push_back(node.name);
    else if (!resolves(node.name))
      names.unresolved.push_back(node.name);
  }
  return names;
}

std::string shown_plan(const collect_settings& settings, const plan& made,
                       const name_resolution& names) {
  if (settings.json) return document(settings, made, names);
  std::string text = headline(settings, made);
  text += providers_text(settings, made) + groups_text(made) +
          left_out_text(made) + names_text(names);
  return text + "expected results: " + std::to_string(expected_results(made)) +
         "      nothing was started\n";
}

}  // namespace zelk::collect
