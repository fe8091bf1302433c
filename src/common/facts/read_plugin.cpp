// What a monitoring plugin prints.
//
//   DISK OK - free space: / 3326 MB | /=2643MB;5948;5958;0;5968
//   / 15272 MB (77%);                 more text, of no use to a program
//   /boot 68 MB (69%); | /boot=68MB;88;93;0;98
//   /home=69357MB;253404;253409;0;253414
//
// The first line is text and, behind its first "|", performance data. More
// lines are more text until one has a "|": what lies behind that one, to the
// end of the output, is performance data again. An item is LABEL=VALUE[UNIT]
// and up to four thresholds, which are not what the node is like and are left
// out; a label with a blank or "=" stands in single quotes, which are doubled
// inside.

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "src/common/facts/extractors.h"
#include "src/common/facts/output_text.h"
#include "src/common/facts/units.h"
#include "src/common/facts/value.h"

namespace zelk::facts {

namespace {

// A plugin of hundreds of disks has thousands.
constexpr std::size_t most_items = 10'000;
constexpr std::size_t longest_label = 256;  // bytes

struct plugin_text {
  std::string first_line;
  std::vector<std::string> data;  // lines of performance data
  std::size_t passed_over = 0;
  bool cut = false;
};

plugin_text parts_of(std::string_view output) {
  plugin_text parts;
  line_reader lines(output);
  bool first = true;
  bool only_data = false;
  for (std::string_view line; lines.next(line); first = false) {
    const std::size_t bar = only_data ? line.npos : line.find('|');
    if (first) parts.first_line = trimmed(line.substr(0, bar));
    if (bar != line.npos) parts.data.emplace_back(line.substr(bar + 1));
    if (only_data) parts.data.emplace_back(line);
    if (!first && bar != line.npos) only_data = true;
    if (parts.data.size() > most_items) break;
  }
  parts.passed_over = lines.passed_over();
  parts.cut = lines.cut();
  return parts;
}

struct item {
  std::string label;
  std::string_view value;  // and its unit
};

// Takes a label and the "=" behind it off `text`.
bool take_label(std::string_view& text, std::string& label) {
  label.clear();
  const bool quoted = text.starts_with('\'');
  std::size_t at = quoted ? 1 : 0;
  for (; at < text.size(); ++at) {
    if (quoted && text[at] == '\'') {
      if (!text.substr(at + 1).starts_with('\'')) break;
      ++at;
    } else if (!quoted && text[at] == '=') {
      break;
    }
    label += text[at];
  }
  if (quoted) ++at;
  if (label.empty() || !text.substr(std::min(at, text.size())).starts_with('='))
    return false;
  text.remove_prefix(at + 1);
  return true;
}

class data_reader {
 public:
  data_reader(const std::string& provider, extraction& result)
      : prefix_(provider + ".perf."), result_(result) {}

  void read(std::string_view line);
  void finish();

 private:
  bool read_item(std::string_view& line);
  void add(const std::string& label, std::string_view value);
  void refuse(const std::string& label, std::string reason);

  std::string prefix_;
  extraction& result_;
  std::map<std::string, fact> facts_;
  std::map<std::string, std::string> refused_;
};

void data_reader::refuse(const std::string& label, std::string reason) {
  refused_.emplace(label, std::move(reason));
}

// "KB" and "c" are the plugins' own; the rest is as everywhere.
bool unit_of_plugin(std::string_view written, fact_traits& traits) {
  traits.type = value_type::number;
  traits.compare = written == "c" ? comparison::counter : comparison::outlier;
  if (written.empty() || written == "c") return true;
  traits.unit = written;
  return unit_of(written).has_value();
}

void data_reader::add(const std::string& label, std::string_view value) {
  const std::size_t end =
      std::min(value.find_first_not_of("0123456789.+-eE"), value.size());
  // An E behind the digits may be the unit's prefix.
  const std::size_t digits = std::min(
      value.find_last_of("0123456789.", end == 0 ? 0 : end - 1) + 1, end);
  fact made{prefix_ + label, 0.0, {}};
  if (value == "U") return refuse(label, "the plugin could not tell (U)");
  const auto number = value_of(value_type::number, value.substr(0, digits));
  if (!number || digits == 0)
    return refuse(label, "expected a number, found '" + excerpt(value) + "'");
  if (!unit_of_plugin(value.substr(digits), made.traits))
    return refuse(label, "expected a known unit, found '" +
                             excerpt(value.substr(digits)) + "'");
  made.value = *number;
  const auto [known, is_new] = facts_.emplace(label, made);
  if (!is_new && known->second != made)
    refuse(label, "found '" + text_of(known->second.value) + "' and '" +
                      excerpt(value) + "'");
}

bool data_reader::read_item(std::string_view& line) {
  std::string label;
  if (facts_.size() + refused_.size() >= most_items ||
      !take_label(line, label) || label.size() > longest_label)
    return false;
  const std::size_t end = std::min(line.find_first_of(" \t"), line.size());
  const std::string_view words = line.substr(0, end);
  add(label, words.substr(0, words.find(';')));
  line.remove_prefix(end);
  return true;
}

void data_reader::read(std::string_view line) {
  for (line = trimmed(line); !line.empty(); line = trimmed(line))
    if (!read_item(line)) {
      result_.unread.push_back({whole_output,
                                "expected label=value in the performance data, "
                                "found '" +
                                    excerpt(line) + "'"});
      return;
    }
}

void data_reader::finish() {
  for (auto& [label, reason] : refused_) {
    facts_.erase(label);
    result_.unread.push_back({prefix_ + label, std::move(reason)});
  }
  for (auto& [label, made] : facts_)
    result_.facts.push_back(std::move(made));
}

fact state_of(const std::string& provider, int exit_status) {
  fact_traits traits;
  traits.type = value_type::integer;
  traits.direction = better::lower;
  traits.compare = comparison::state;
  return {provider + ".state", std::int64_t{exit_status}, traits};
}

fact text_fact(const std::string& provider, std::string text) {
  fact_traits traits;
  traits.compare = comparison::unstable;
  return {provider + ".text", std::move(text), traits};
}

}  // namespace

extraction read_plugin(const std::string& provider, std::string_view output,
                       int exit_status) {
  extraction result;
  plugin_text parts = parts_of(output);
  data_reader data(provider, result);
  for (const std::string& line : parts.data)
    if (result.unread.size() < most_unread) data.read(line);
  data.finish();
  result.facts.push_back(state_of(provider, exit_status));
  result.facts.push_back(text_fact(provider, std::move(parts.first_line)));
  if (parts.passed_over > 0 || parts.cut)
    result.unread.push_back(
        {whole_output, "the output is larger than what is read of it"});
  const auto by_name = [](const auto& a, const auto& b) {
    return a.name < b.name;
  };
  std::sort(result.facts.begin(), result.facts.end(), by_name);
  std::stable_sort(result.unread.begin(), result.unread.end(), by_name);
  return result;
}

}  // namespace zelk::facts
