#include "src/check/page/redact.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include "src/common/node/natural_order.h"
#include "src/common/node/node_set.h"
#include "src/common/node/tokenized_host.h"

namespace zelk::check::html {

namespace {

using text_map = std::unordered_map<std::string, std::string>;

// A shorter value is no serial number, and would be found in other words.
constexpr std::size_t least_serial = 4;
// Of names in one folded set: a text from a node may claim any number.
constexpr std::size_t most_folded = 100'000;

bool is_name_byte(char byte) {
  return std::isalnum(static_cast<unsigned char>(byte)) != 0 || byte == '-' ||
         byte == '_' || byte == '.';
}

// Where the word that begins at `at` ends; brackets belong to it.
std::size_t word_end(std::string_view text, std::size_t at) {
  while (at < text.size()) {
    if (is_name_byte(text[at])) {
      ++at;
    } else if (text[at] == '[') {
      const std::size_t end = text.find(']', at);
      const std::size_t odd = text.find_first_not_of("0123456789-,", at + 1);
      if (end == std::string_view::npos || odd != end) break;
      at = end + 1;
    } else {
      break;
    }
  }
  return at;
}

// Replaces names: a whole text by name(), those inside of one by apply().
class stand_ins {
 public:
  // Requires: names in natural order; the first gets number 1.
  void add(const std::vector<std::string>& names, const std::string& kind) {
    const std::size_t width = std::to_string(names.size()).size();
    std::size_t number = 0;
    for (const std::string& name : names) {
      std::string digits = std::to_string(++number);
      digits.insert(0, width - digits.size(), '0');
      if (!name.empty()) map_.emplace(name, kind + digits);
    }
  }
  void add(const std::string& name, const std::string& instead) {
    if (!name.empty()) map_.emplace(name, instead);
  }

  std::string name(const std::string& text) const;
  std::string apply(std::string_view text) const;

  const text_map& all() const { return map_; }

 private:
  std::string word(std::string_view text) const;
  std::string set(std::string_view text) const;

  text_map map_;
};

std::string stand_ins::name(const std::string& text) const {
  const auto found = map_.find(text);
  return found == map_.end() ? apply(text) : found->second;
}

std::string stand_ins::apply(std::string_view text) const {
  if (map_.empty()) return std::string(text);
  std::string out;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = word_end(text, at);
    if (end == at) {
      out += text[at++];
      continue;
    }
    out += word(text.substr(at, end - at));
    at = end;
  }
  return out;
}

// "node071.example.org", "node071-ib0" and "node071." hold the name too; a
// domain says whose machine it is, so what follows goes with it.
std::string stand_ins::word(std::string_view text) const {
  if (text.find('[') != std::string_view::npos) return set(text);
  for (std::size_t end = text.size(); end != std::string_view::npos && end > 0;
       end = text.find_last_of(".-_", end - 1)) {
    const auto found = map_.find(std::string(text.substr(0, end)));
    if (found == map_.end()) continue;
    return found->second + (text.ends_with('.') ? "." : "");
  }
  return std::string(text);
}

std::string stand_ins::set(std::string_view text) const {
  node::range_budget budget;
  budget.names = most_folded;
  const node::node_set parsed = node::parse_node_set(text, {}, budget);
  std::vector<std::string> names;
  bool any = false;
  for (const std::string& one : parsed.names) {
    const auto found = map_.find(one);
    any = any || found != map_.end();
    names.push_back(found == map_.end() ? one : found->second);
  }
  return any ? TokenizedHost::get_merged_hosts(names) : std::string(text);
}

template <typename Change>
void change_run(run_info& of, Change change) {
  for (std::string* one : {&of.label, &of.command_line})
    *one = change(*one);
}

template <typename Change>
void change_value(node_value& of, Change change) {
  for (std::string* one : {&of.node, &of.value, &of.before})
    *one = change(*one);
}

template <typename Change>
void change_all(std::vector<std::string>& of, Change change) {
  for (std::string& one : of)
    one = change(one);
}

template <typename Change>
void change_finding(finding& of, Change change) {
  change_all(of.nodes, change);
  change_all(of.accepted_nodes, change);
  for (std::string* one : {&of.title, &of.reference, &of.message})
    *one = change(*one);
  for (node_value& one : of.values)
    change_value(one, change);
  change_all(of.causes, change);
  change_all(of.advice, change);
  for (auto& [value, nodes] : of.groups) {
    value = change(value);
    change_all(nodes, change);
  }
  if (of.limit) of.limit->set_by = change(of.limit->set_by);
  if (!of.accepted) return;
  change_all(of.accepted->nodes, change);
  of.accepted->reason = change(of.accepted->reason);
  of.accepted->who = change(of.accepted->who);
}

template <typename Change>
void change_rest(judgement& what, Change change) {
  for (coverage_group& one : what.coverage) {
    one.reason = change(one.reason);
    change_all(one.nodes, change);
  }
  for (unread_fact& one : what.unread)
    one.reason = change(one.reason);
  change_all(what.joined, change);
  change_all(what.left, change);
  for (distribution& one : what.distributions)
    for (node_value& each : one.outliers)
      change_value(each, change);
  for (difference& one : what.differences)
    for (auto& [value, nodes] : one.groups) {
      value = change(value);
      change_all(nodes, change);
    }
  for (history_entry& one : what.history) {
    change_run(one.run, change);
    for (auto& [node, verdict] : one.nodes)
      node = change(node);
  }
  for (auto* list : {&what.with.checks, &what.with.skipped, &what.with.limits,
                     &what.with.definition_files})
    change_all(*list, change);
}

// Every text that may hold a name.
template <typename Change>
void change_texts(judgement& what, Change change) {
  change_run(what.run, change);
  if (what.baseline) change_run(*what.baseline, change);
  for (node_view& one : what.nodes)
    for (std::string* text : {&one.name, &one.subcluster, &one.class_name})
      *text = change(*text);
  for (class_view& one : what.classes) {
    change_all(one.nodes, change);
    one.name = change(one.name);
    one.why_not = change(one.why_not);
    for (auto& [fact, value] : one.key)
      value = change(value);
  }
  for (auto* list : {&what.findings, &what.accepted, &what.fixed})
    for (finding& one : *list) {
      one.class_name = change(one.class_name);
      change_finding(one, change);
    }
  for (distribution& one : what.distributions)
    one.class_name = change(one.class_name);
  for (difference& one : what.differences)
    one.class_name = change(one.class_name);
  change_rest(what, change);
}

std::vector<std::string> host_names(const judgement& what) {
  std::vector<std::string> out;
  const auto add = [&](const std::vector<std::string>& names) {
    out.insert(out.end(), names.begin(), names.end());
  };
  for (const node_view& one : what.nodes)
    out.push_back(one.name);
  for (const auto* list : {&what.findings, &what.accepted, &what.fixed})
    for (const finding& one : *list)
      add(one.nodes);
  for (const coverage_group& one : what.coverage)
    add(one.nodes);
  for (const history_entry& one : what.history)
    for (const auto& [node, verdict] : one.nodes)
      out.push_back(node);
  add(what.joined);
  add(what.left);
  node::sort_naturally(out);
  return out;
}

std::vector<std::string> user_names(const judgement& what,
                                    const page_options& options) {
  std::vector<std::string> out = {options.user};
  for (const finding& one : what.accepted)
    if (one.accepted) out.push_back(one.accepted->who);
  node::sort_naturally(out);
  return out;
}

// Puts stand-ins for the values of one fact, and for them in its texts.
class serial_numbers {
 public:
  std::string value(const std::string& text) {
    if (text.size() < least_serial) return text;
    const auto [found, is_new] = map_.emplace(text, "");
    if (is_new) found->second = "serial-" + std::to_string(map_.size());
    return found->second;
  }

  void hide(finding& of) {
    text_map own;
    for (node_value& one : of.values) {
      hide(one.value, one.number, own);
      hide(one.before, one.number_before, own);
    }
    of.group_numbers.resize(of.groups.size());
    for (std::size_t i = 0; i < of.groups.size(); ++i)
      hide(of.groups[i].first, of.group_numbers[i], own);
    // What most nodes have is as much a serial number as what one has.
    if (is_serial(of.fact)) hide(of.reference, of.reference_number, own);
    const std::string reference = of.reference;
    for (std::string* text : {&of.message, &of.reference})
      for (const auto& [serial, instead] : own)
        replace(*text, serial, instead);
    if (of.reference != reference) of.reference_number.reset();
  }

 private:
  // A serial number of digits only is a number, too.
  void hide(std::string& text, std::optional<double>& number, text_map& own) {
    const std::string instead = value(text);
    if (instead == text) return;
    own.emplace(std::exchange(text, instead), instead);
    number.reset();
  }

  static void replace(std::string& in, const std::string& what,
                      const std::string& by) {
    for (std::size_t at = in.find(what); at != std::string::npos;
         at = in.find(what, at + by.size()))
      in.replace(at, what.size(), by);
  }

  text_map map_;
};

bool tells_serials(const finding& of) {
  return is_serial(of.fact) || of.check.ends_with("not-unique") ||
         std::any_of(of.values.begin(), of.values.end(),
                     [](const node_value& one) { return is_serial(one.fact); });
}

void hide_serials(judgement& what) {
  serial_numbers numbers;
  for (auto* list : {&what.findings, &what.accepted, &what.fixed})
    for (finding& one : *list)
      if (tells_serials(one)) numbers.hide(one);
  for (difference& one : what.differences)
    if (is_serial(one.fact))
      for (auto& [value, nodes] : one.groups)
        value = numbers.value(value);
  for (class_view& one : what.classes)
    for (auto& [fact, value] : one.key)
      if (is_serial(fact)) value = numbers.value(value);
}

stand_ins names_to_hide(const judgement& what, const page_options& options) {
  stand_ins out;
  if (options.redact.hosts) {
    out.add(host_names(what), "host");
    out.add(options.host, "headnode");
    out.add(options.cluster, "cluster");
  }
  if (options.redact.users) out.add(user_names(what, options), "user");
  return out;
}

}  // namespace

bool is_serial(std::string_view fact) {
  constexpr std::array parts = {
      "serial",   "uuid",       "guid",       "wwn",   "wwid",       "hostkey",
      "host_key", "machine_id", "machine-id", "asset", "fingerprint"};
  constexpr std::array<std::string_view, 4> words = {"mac", "address", "eui",
                                                     "hostid"};
  for (const char* part : parts)
    if (fact.find(part) != std::string_view::npos) return true;
  while (!fact.empty()) {
    const std::size_t end = std::min(fact.find_first_of("._-"), fact.size());
    if (std::find(words.begin(), words.end(), fact.substr(0, end)) !=
        words.end())
      return true;
    fact.remove_prefix(std::min(fact.size(), end + 1));
  }
  return false;
}

void redact(judgement& what, page_options& options) {
  if (options.redact.serials) hide_serials(what);
  const auto names =
      std::make_shared<const stand_ins>(names_to_hide(what, options));
  if (names->all().empty()) return;
  change_texts(what,
               [&](const std::string& text) { return names->name(text); });
  for (std::string* text :
       {&options.title, &options.cluster, &options.host, &options.user,
        &options.command_line, &options.configuration, &options.datastore,
        &options.same_datastore})
    *text = names->name(*text);
  for (std::string& node : options.node_order)
    node = names->name(node);
  for (auto& [file, hash] : options.file_hashes)
    file = names->name(file);
  if (!options.error_output) return;
  auto back = std::make_shared<text_map>();
  for (const auto& [name, instead] : names->all())
    back->emplace(instead, name);
  options.error_output = [names, back, ask = options.error_output](
                             const std::string& node,
                             const std::string& column) {
    const auto found = back->find(node);
    return names->apply(
        ask(found == back->end() ? node : found->second, column));
  };
}

}  // namespace zelk::check::html
