#include "src/collect/src/db/row_printer.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "src/collect/src/db/run_json.h"
#include "src/common/text/text_table.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

using datastore::statement;
using datastore::value_type;

// The widths of a table's columns are those of its first rows; what follows is
// written as it comes, so that memory does not grow with the answer.
constexpr std::size_t rows_measured = 1000;
constexpr std::size_t bytes_measured = std::size_t{8} << 20;

std::string number_text(const statement& row, int column) {
  if (row.type(column) == value_type::integer)
    return fmt::format("{}", row.integer(column));
  return fmt::format("{}", row.real(column));
}

bool is_number(value_type type) {
  return type == value_type::integer || type == value_type::real;
}

class table_printer : public row_printer {
 public:
  table_printer(const statement& row, std::ostream& out)
      : out_(out), columns_(row.columns()) {
    for (int i = 0; i < columns_; ++i)
      heads_.push_back({text::visible_text(row.column_name(i)), false});
  }

  void row(const statement& row) override {
    if (!table_) begin(row);
    std::vector<std::string> cells;
    for (int i = 0; i < columns_; ++i) {
      cells.push_back(cell(row, i));
      waiting_ += cells.back().size();
    }
    table_->add(std::move(cells));
    if (table_->size() < rows_measured && waiting_ < bytes_measured) return;
    table_->write(out_);
    waiting_ = 0;
  }

  void end() override {
    if (!table_) table_ = std::make_unique<text::text_table>(heads_);
    table_->write(out_);
  }

 private:
  // Numbers stand at the right: the first row tells which columns have them.
  void begin(const statement& row) {
    for (int i = 0; i < columns_; ++i)
      heads_[static_cast<std::size_t>(i)].right = is_number(row.type(i));
    table_ = std::make_unique<text::text_table>(heads_);
  }

  static std::string cell(const statement& row, int column) {
    const value_type type = row.type(column);
    if (type == value_type::null) return "-";
    return is_number(type) ? number_text(row, column)
                           : text::visible_text(row.bytes(column));
  }

  std::ostream& out_;
  int columns_;
  std::vector<text::text_table::column> heads_;
  std::unique_ptr<text::text_table> table_;
  std::size_t waiting_ = 0;  // bytes
};

class csv_printer : public row_printer {
 public:
  csv_printer(const statement& row, std::ostream& out, bool terminal)
      : out_(out), terminal_(terminal), columns_(row.columns()) {
    for (int i = 0; i < columns_; ++i)
      field(i, row.column_name(i));
  }

  void row(const statement& row) override {
    for (int i = 0; i < columns_; ++i) {
      const value_type type = row.type(i);
      if (type == value_type::null)
        separate(i);
      else
        field(i, is_number(type) ? number_text(row, i) : row.bytes(i));
    }
  }

 private:
  void separate(int column) {
    if (column + 1 < columns_)
      out_ << ',';
    else
      out_ << "\n";
  }

  void field(int column, std::string_view bytes) {
    out_ << quoted(terminal_ ? text::visible_text(bytes) : std::string(bytes));
    separate(column);
  }

  static std::string quoted(const std::string& text) {
    if (!text.empty() && text.find_first_of(",\"\r\n") == text.npos)
      return text;
    std::string result = "\"";
    for (const char c : text)
      result += c == '"' ? "\"\"" : std::string(1, c);
    return result + "\"";
  }

  std::ostream& out_;
  bool terminal_;
  int columns_;
};

class json_printer : public row_printer {
 public:
  json_printer(const statement& row, std::ostream& out, bool lines)
      : out_(out), lines_(lines) {
    for (int i = 0; i < row.columns(); ++i)
      names_.push_back(unused_name(std::string(row.column_name(i))));
    if (!lines_) out_ << '[';
  }

  void row(const statement& row) override {
    json value = json::object();
    for (std::size_t i = 0; i < names_.size(); ++i)
      value[names_[i]] = cell(row, static_cast<int>(i));
    if (!lines_) out_ << (std::exchange(first_, false) ? "\n" : ",\n");
    out_ << one_line(value);
    if (lines_) out_ << '\n';
  }

  void end() override {
    if (!lines_) out_ << (first_ ? "]\n" : "\n]\n");
  }

 private:
  // Two columns may have one name; an object cannot.
  std::string unused_name(const std::string& name) const {
    std::string result = name;
    for (int i = 2;
         std::find(names_.begin(), names_.end(), result) != names_.end(); ++i)
      result = fmt::format("{}:{}", name, i);
    return result;
  }

  static json cell(const statement& row, int column) {
    switch (row.type(column)) {
      case value_type::integer:
        return row.integer(column);
      case value_type::real:
        return row.real(column);
      case value_type::null:
        return nullptr;
      default:
        return json_of_bytes(row.bytes(column));
    }
  }

  std::ostream& out_;
  bool lines_;
  bool first_ = true;
  std::vector<std::string> names_;
};

}  // namespace

const std::vector<std::string>& row_forms() {
  static const std::vector<std::string> forms = {"table", "csv", "json",
                                                 "jsonl"};
  return forms;
}

std::unique_ptr<row_printer> make_row_printer(const std::string& form,
                                              const statement& row,
                                              std::ostream& out,
                                              bool terminal) {
  if (form == "csv") return std::make_unique<csv_printer>(row, out, terminal);
  if (form == "json" || form == "jsonl")
    return std::make_unique<json_printer>(row, out, form == "jsonl");
  return std::make_unique<table_printer>(row, out);
}

}  // namespace zelk::db
