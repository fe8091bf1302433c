#include "src/collect/src/db/fact_printer.h"

#include <utility>

#include "src/collect/src/db/run_json.h"
#include "src/common/str/str.h"
#include "src/common/text/text_table.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

using facts::fact;
using facts::text_of;
using facts::unread_fact;
using facts::value_type;

// The widths of a table's columns are those of its first rows.
constexpr std::size_t rows_measured = 1000;

// A package list is for csv and json; a table shows that there is one.
constexpr std::size_t longest_cell = 100;  // bytes

std::string cut(std::string text) {
  if (text.size() <= longest_cell) return text;
  std::size_t end = longest_cell;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
    --end;
  return text.substr(0, end) + "...";
}

bool is_number(value_type type) {
  return type == value_type::integer || type == value_type::number;
}

class table_printer : public fact_printer {
 public:
  table_printer(bool reasons, std::ostream& out)
      : out_(out),
        table_(reasons ? heads({{"REASON"}})
                       : heads({{"VALUE"}, {"UNIT"}, {"COMPARE"}})) {}

  void fact(const reading::result_facts& of, const facts::fact& one) override {
    add(of, one.name,
        {cut(text::visible_text(text_of(one.value))), one.traits.unit,
         std::string(name_of(one.traits.compare))});
  }
  void unread(const reading::result_facts& of,
              const unread_fact& one) override {
    add(of, one.name, {cut(text::visible_text(one.reason))});
  }
  void end() override { table_.write(out_); }

 private:
  using heads_of = std::vector<text::text_table::column>;
  static heads_of heads(const heads_of& more) {
    heads_of all{{"NODE"}, {"PROVIDER"}, {"OPTION"}, {"FACT"}};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  void add(const reading::result_facts& of, const std::string& name,
           const std::vector<std::string>& more) {
    std::vector<std::string> cells{
        text::visible_text(of.node), text::visible_text(of.provider),
        text::visible_text(of.option_id), cut(text::visible_text(name))};
    cells.insert(cells.end(), more.begin(), more.end());
    table_.add(std::move(cells));
    if (table_.size() >= rows_measured) table_.write(out_);
  }

  std::ostream& out_;
  text::text_table table_;
};

class csv_printer : public fact_printer {
 public:
  csv_printer(bool reasons, std::ostream& out) : out_(out) {
    out_ << "node,provider,option,fact,"
         << (reasons ? "reason\n" : "value,unit,type,better,compare\n");
  }

  void fact(const reading::result_facts& of, const facts::fact& one) override {
    head(of, one.name);
    out_ << quoted(text_of(one.value)) << ',' << one.traits.unit << ','
         << name_of(one.traits.type) << ',' << name_of(one.traits.direction)
         << ',' << name_of(one.traits.compare) << '\n';
  }
  void unread(const reading::result_facts& of,
              const unread_fact& one) override {
    head(of, one.name);
    out_ << quoted(one.reason) << '\n';
  }

 private:
  void head(const reading::result_facts& of, const std::string& name) {
    for (const std::string& each : {of.node, of.provider, of.option_id, name})
      out_ << quoted(each) << ',';
  }

  static std::string quoted(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == text.npos) return text;
    return "\"" + str::replace(text, "\"", "\"\"") + "\"";
  }

  std::ostream& out_;
};

json json_of_value(const fact& one) {
  if (one.traits.type == value_type::list) {
    json list = json::array();
    for (const std::string& each : str::split(text_of(one.value), '\n', true))
      list.push_back(json_of_bytes(each));
    return list;
  }
  if (const auto* number = std::get_if<std::int64_t>(&one.value))
    return *number;
  if (const auto* number = std::get_if<double>(&one.value)) return *number;
  if (const auto* truth = std::get_if<bool>(&one.value)) return *truth;
  return json_of_bytes(text_of(one.value));
}

class json_printer : public fact_printer {
 public:
  explicit json_printer(std::ostream& out) : out_(out) { out_ << '['; }

  void fact(const reading::result_facts& of, const facts::fact& one) override {
    json object = head(of, one.name);
    object["value"] = json_of_value(one);
    if (is_number(one.traits.type)) object["unit"] = one.traits.unit;
    object["type"] = name_of(one.traits.type);
    object["better"] = name_of(one.traits.direction);
    object["compare"] = name_of(one.traits.compare);
    write(object);
  }
  void unread(const reading::result_facts& of,
              const unread_fact& one) override {
    json object = head(of, one.name);
    object["unread"] = one.reason;
    write(object);
  }
  void end() override { out_ << (first_ ? "]\n" : "\n]\n"); }

 private:
  static json head(const reading::result_facts& of, const std::string& name) {
    return json{{"node", json_of_bytes(of.node)},
                {"provider", json_of_bytes(of.provider)},
                {"option", json_of_bytes(of.option_id)},
                {"fact", name}};
  }

  void write(const json& object) {
    out_ << (std::exchange(first_, false) ? "\n" : ",\n") << one_line(object);
  }

  std::ostream& out_;
  bool first_ = true;
};

}  // namespace

const std::vector<std::string>& fact_forms() {
  static const std::vector<std::string> forms{"table", "csv", "json"};
  return forms;
}

std::unique_ptr<fact_printer> make_fact_printer(const std::string& form,
                                                bool reasons,
                                                std::ostream& out) {
  if (form == "csv") return std::make_unique<csv_printer>(reasons, out);
  if (form == "json") return std::make_unique<json_printer>(out);
  return std::make_unique<table_printer>(reasons, out);
}

}  // namespace zelk::db
