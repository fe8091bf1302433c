#include "src/check/input/node_notes.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <system_error>

#include "src/collect/src/reading/failure.h"
#include "src/common/node/natural_order.h"
#include "src/common/str/nearest_word.h"
#include "src/common/str/str.h"
#include "src/common/text/visible_text.h"
#include "src/common/util/errno_text.h"

namespace zelk::check {

namespace {

using reading::refusal;

// Bytes; a node file that names as many nodes as are allowed takes less.
constexpr std::size_t longest_file = std::size_t{256} << 20;

std::string content_of(const std::string& path) {
  const std::string named = "cannot read node file '" + path + "'";
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored))
    throw refusal(named + ": it is a folder");
  std::ifstream in(path, std::ios::binary);
  if (!in) throw refusal(named + " " + util::errno_text(errno));
  std::string text;
  char part[65536];
  while (in.read(part, sizeof part) || in.gcount() > 0) {
    text.append(part, static_cast<std::size_t>(in.gcount()));
    if (text.size() > longest_file)
      throw refusal(named + ": expected at most 256 MiB");
  }
  return text;
}

std::string note_of(const node::node_entry& entry, const std::string& key) {
  const auto found = entry.notes.find(key);
  return found == entry.notes.end() ? "" : found->second;
}

// Standard input can be read only once.
const std::string& standard_input() {
  static const std::string text(std::istreambuf_iterator<char>(std::cin), {});
  return text;
}

[[noreturn]] void refuse_set(const std::string& option, const std::string& text,
                             const node::node_set& set) {
  throw refusal(option + ": " + set.problem + "\n" +
                node::marked(text, set.column));
}

void add_to(node_groups& groups, const std::string& kind,
            const std::string& value, const std::string& node) {
  if (!value.empty()) groups[kind + ":" + value].push_back(node);
}

}  // namespace

node::Nodelist read_nodefile(const std::string& path) {
  const std::string text = content_of(path);
  std::istringstream names(text);
  node::Nodelist list(path);
  list.parse(names);
  if (list.nodes().empty())
    throw refusal("expected a node in the node file '" + path + "'");
  std::istringstream notes(text);
  const std::vector<std::string> problems = node::note_problems(notes, path);
  if (!problems.empty()) throw refusal(problems.front());
  return list;
}

void give_notes(run_data& to, const node::Nodelist& list) {
  for (std::size_t i = 0; i < to.nodes.size(); ++i) {
    const node::node_entry* entry = list.find(to.nodes[i]);
    if (entry == nullptr) continue;
    to.notes[i] = {note_of(*entry, "role"), note_of(*entry, "subcluster"),
                   note_of(*entry, "class")};
  }
}

class_override read_class_override(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == text.npos || equals == 0 || equals + 1 == text.size())
    throw refusal("--class: expected NAME=NODESET; found '" + text + "'");
  return {text.substr(0, equals), text.substr(equals + 1)};
}

std::vector<std::string> give_classes(
    run_data& to, const std::vector<class_override>& classes,
    asked_groups& others) {
  std::map<std::string, std::string> given;  // node, class
  std::vector<std::string> unknown;
  const node_groups groups = groups_of(to);
  for (const class_override& each : classes)
    for (const std::string& name :
         names_of("--class", {each.nodes}, groups, others)) {
      const auto [known, is_new] = given.emplace(name, each.name);
      if (known->second != each.name)
        throw refusal("--class: '" + text::visible_text(name) +
                      "' is in two classes, " +
                      text::visible_text(known->second) + " and " +
                      text::visible_text(each.name));
      const auto found = std::lower_bound(to.nodes.begin(), to.nodes.end(),
                                          name, node::natural_before);
      if (found != to.nodes.end() && *found == name)
        to.notes[static_cast<std::size_t>(found - to.nodes.begin())]
            .class_name = each.name;
      else if (is_new)
        unknown.push_back(name);
    }
  node::sort_naturally(unknown);
  return unknown;
}

node_groups groups_of(const run_data& run) {
  node_groups groups;
  groups["*"] = run.nodes;
  for (std::size_t i = 0; i < run.nodes.size(); ++i) {
    for (const std::string& role : str::split(run.notes[i].role, ','))
      add_to(groups, "role", role, run.nodes[i]);
    add_to(groups, "subcluster", run.notes[i].subcluster, run.nodes[i]);
    add_to(groups, "class", run.notes[i].class_name, run.nodes[i]);
  }
  return groups;
}

void add_classes(node_groups& to, const std::vector<class_view>& classes) {
  std::erase_if(
      to, [](const auto& each) { return each.first.starts_with("class:"); });
  for (const class_view& each : classes)
    to["class:" + each.name] = each.nodes;
}

namespace {

bool has_kind(const node_groups& groups, const std::string& kind) {
  const auto first = groups.lower_bound(kind + ":");
  return first != groups.end() && first->first.starts_with(kind + ":");
}

// Of what was typed, in case that it was a slip.
std::string meant(const std::string& group, const node_groups& groups) {
  std::vector<std::string> known;
  for (const auto& [name, nodes] : groups)
    known.push_back("@" + name);
  return str::did_you_mean("@" + group, known);
}

// A group of the run's own kinds, of which there is no such one.
std::string problem_of(const std::string& kind, const std::string& group,
                       const node_groups& groups) {
  const std::string named = "'@" + text::visible_text(group) + "'";
  if (kind != "class" && !has_kind(groups, kind))
    return named + ": no node of the run has a " + kind + "; " + kind +
           "s are read from a node file: -n FILE";
  return named + " is no group: @role:R, @subcluster:S, @class:C or @*" +
         meant(group, groups);
}

}  // namespace

node::group_source source_of(const node_groups& groups, asked_groups& others) {
  return [&groups, &others](std::string_view group) {
    const std::string name(group);
    const auto found = groups.find(name);
    if (found != groups.end()) return node::expansion{found->second, ""};
    for (const char* kind : {"role", "subcluster", "class"})
      if (name.starts_with(std::string(kind) + ":"))
        return node::expansion{{}, problem_of(kind, name, groups)};
    node::expansion other = others.of(name);
    if (!other.problem.empty()) other.problem += meant(name, groups);
    return other;
  };
}

std::vector<std::string> names_of(const std::string& option,
                                  const std::vector<std::string>& sets,
                                  const node_groups& groups,
                                  asked_groups& others) {
  std::vector<std::string> all;
  for (const std::string& typed : sets) {
    const std::string& text = typed == "-" ? standard_input() : typed;
    node::node_set set = node::parse_node_set(text, source_of(groups, others));
    if (!set.problem.empty()) refuse_set(option, text, set);
    std::move(set.names.begin(), set.names.end(), std::back_inserter(all));
  }
  node::sort_naturally(all);
  return all;
}

}  // namespace zelk::check
