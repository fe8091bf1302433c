// The forms plain and csv: a finding of a node a line.
//
// A record is one line always, so that grep, sort and wc see whole records:
// line ends and other control characters within a field are written out as
// they are on a terminal.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <unordered_map>

#include "src/check/report/forms.h"
#include "src/check/report/phrases.h"

namespace zelk::check {

namespace {

constexpr std::size_t most_field = 4096;  // characters

const std::vector<std::string>& heads() {
  static const std::vector<std::string> all = {
      "run",     "check",       "severity",    "score",     "state",
      "class",   "node",        "provider",    "option",    "fact",
      "value",   "unit",        "before",      "reference", "peers",
      "median",  "mad",         "z",           "delta_pct", "since_run",
      "message", "value_words", "before_words"};
  return all;
}

std::string number_field(const std::optional<double>& value) {
  return value && std::isfinite(*value) ? shortest_number(*value) : "";
}

std::string text_field(const std::string& text) {
  return excerpt_of(text, most_field);
}

// In the unit that stands beside it, or words where there is no number.
std::string value_field(const std::optional<double>& number,
                        const std::string& words) {
  const std::string field = number_field(number);
  return field.empty() ? text_field(words) : field;
}

// Fields that are the same for all nodes of a finding are made once.
class record_maker {
 public:
  record_maker(const judgement& judged, const finding& found)
      : fact_(found.fact), unit_(found.unit) {
    fields_ = {fmt::format("{}", judged.run.number),
               text_field(found.check),
               name_of(found.level),
               fmt::format("{}", found.score),
               name_of(found.state),
               text_field(found.class_name),
               "",
               text_field(found.provider),
               text_field(found.option),
               "",
               "",
               "",
               "",
               text_field(found.reference),
               found.peers == 0 ? "" : fmt::format("{}", found.peers),
               number_field(found.median),
               number_field(found.mad),
               "",
               "",
               found.since ? fmt::format("{}", found.since->number) : "",
               text_field(found.message),
               "",
               ""};
    for (const node_value& value : found.values)
      values_[value.node] = &value;
  }

  const std::vector<std::string>& of_node(const std::string& node) {
    fields_[6] = text_field(node);
    const auto value = values_.find(node);
    const bool known = value != values_.end();
    const bool is_other = known && !value->second->fact.empty();
    fields_[9] = text_field(is_other ? value->second->fact : fact_);
    fields_[11] = text_field(is_other ? value->second->unit : unit_);
    fields_[10] =
        known ? value_field(value->second->number, value->second->value) : "";
    fields_[12] =
        known ? value_field(value->second->number_before, value->second->before)
              : "";
    fields_[17] = known ? number_field(value->second->z) : "";
    fields_[18] = known ? number_field(value->second->delta_percent) : "";
    fields_[21] = known ? text_field(value->second->value) : "";
    fields_[22] = known ? text_field(value->second->before) : "";
    return fields_;
  }

 private:
  const std::string& fact_;
  const std::string& unit_;
  std::vector<std::string> fields_;
  std::unordered_map<std::string, const node_value*> values_;
};

using line_writer = std::function<void(const std::vector<std::string>&)>;

void write_records(const judgement& judged, const report_options& options,
                   const line_writer& write) {
  if (options.header) write(heads());
  for (const finding* found : shown_findings(judged, options)) {
    record_maker maker(judged, *found);
    for (const std::string& node : found->nodes)
      write(maker.of_node(node));
  }
}

bool is_number(const std::string& field) {
  double value = 0;
  const char* end = field.data() + field.size();
  const char* begin = field.data() + (field.starts_with('+') ? 1 : 0);
  return std::from_chars(begin, end, value).ptr == end;
}

// A spreadsheet runs what begins like a formula: an apostrophe in front keeps
// it a text.
std::string harmless(const std::string& field) {
  constexpr std::string_view formula = "=+-@";
  if (field.empty() || formula.find(field.front()) == std::string_view::npos ||
      is_number(field))
    return field;
  return "'" + field;
}

std::string csv_field(const std::string& field) {
  std::string text = harmless(field);
  const bool blank_ends = text.starts_with(' ') || text.ends_with(' ');
  if (text.find_first_of(",\"\r\n") == std::string::npos && !blank_ends)
    return text;
  std::string quoted = "\"";
  for (const char c : text)
    quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

}  // namespace

void write_plain(const judgement& judged, const report_options& options,
                 std::ostream& out) {
  write_records(judged, options, [&out](const std::vector<std::string>& line) {
    for (std::size_t i = 0; i < line.size(); ++i)
      out << (i == 0 ? "" : "\t") << line[i];
    out << '\n';
  });
}

void write_csv(const judgement& judged, const report_options& options,
               std::ostream& out) {
  write_records(judged, options, [&out](const std::vector<std::string>& line) {
    for (std::size_t i = 0; i < line.size(); ++i)
      out << (i == 0 ? "" : ",") << csv_field(line[i]);
    out << "\r\n";
  });
}

}  // namespace zelk::check
