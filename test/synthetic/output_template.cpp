// A template is a list of lines. Those that begin with @ steer:
//
//   @if WORD...       @unless WORD...     up to the matching @end
//   @each NAME COUNT                      once for each 0 .. COUNT-1; $NAME is
//                                         its number in the lines between
//   @status 80 TEXT                       the exit status, and standard error
//
// Blocks nest. They are walked by line numbers rather than parsed into a tree:
// a loop is its lines taken again with another set of names.

#include "test/synthetic/output_template.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace zelk::synthetic {

class template_compiler {
 public:
  template_compiler(std::string_view text, std::string path,
                    const machine_class& of);
  output_template compile();

 private:
  static bool opens(const std::string& line);
  std::size_t end_of_block(std::size_t from) const;
  void take(std::size_t from, std::size_t until);
  void take_block(const std::string& head, std::size_t from, std::size_t until);
  void repeat(std::istringstream& in, std::size_t from, std::size_t until);
  std::string with_names(std::string line) const;
  void take_line(const std::string& written);
  void take_status(const std::string& line);
  // {{add 5 48}} is a sum; a value of the class stands for itself.
  void take_mark(std::string_view text);
  void take_sum(std::string_view terms);

  std::string path_;
  const machine_class& of_;
  std::uint64_t place_;
  std::uint64_t ordinal_ = 0;
  std::vector<std::string> lines_;
  std::size_t line_ = 0;
  std::vector<std::pair<std::string, std::string>> names_;
  output_template made_;
};

template_compiler::template_compiler(std::string_view text, std::string path,
                                     const machine_class& of)
    : path_(std::move(path)),
      of_(of),
      place_(place_of(std::filesystem::path(path_).stem().string())) {
  std::istringstream in{std::string(text)};
  for (std::string line; std::getline(in, line);)
    lines_.push_back(line);
}

output_template template_compiler::compile() {
  try {
    take(0, lines_.size());
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(path_ + ":" + std::to_string(line_ + 1) + ": " +
                             error.what());
  }
  return std::move(made_);
}

bool template_compiler::opens(const std::string& line) {
  return line.starts_with("@if ") || line.starts_with("@unless ") ||
         line.starts_with("@each ");
}

std::size_t template_compiler::end_of_block(std::size_t from) const {
  std::size_t depth = 0;
  for (std::size_t i = from; i < lines_.size(); ++i) {
    if (opens(lines_[i])) ++depth;
    if (lines_[i] == "@end" && --depth == 0) return i;
  }
  throw std::runtime_error("no @end");
}

void template_compiler::take(std::size_t from, std::size_t until) {
  for (std::size_t i = from; i < until; ++i) {
    line_ = i;
    if (!opens(lines_[i])) {
      take_line(lines_[i]);
      continue;
    }
    const std::size_t end = end_of_block(i);
    take_block(lines_[i], i + 1, end);
    i = end;
  }
}

void template_compiler::take_block(const std::string& head, std::size_t from,
                                   std::size_t until) {
  std::istringstream in(with_names(head));
  std::string what;
  in >> what;
  if (what == "@each") return repeat(in, from, until);
  bool any = false;
  for (std::string word; in >> word;)
    any = any || of_.words.contains(word);
  if (any == (what == "@if")) take(from, until);
}

void template_compiler::repeat(std::istringstream& in, std::size_t from,
                               std::size_t until) {
  std::string name, count;
  if (!(in >> name >> count)) throw std::runtime_error("@each NAME COUNT");
  const auto times = static_cast<std::size_t>(number_of(of_, count));
  names_.emplace_back("$" + name, "");
  for (std::size_t i = 0; i < times; ++i) {
    names_.back().second = std::to_string(i);
    take(from, until);
  }
  names_.pop_back();
}

std::string template_compiler::with_names(std::string line) const {
  for (const auto& [name, number] : names_) {
    for (auto at = line.find(name); at != std::string::npos;
         at = line.find(name, at + number.size()))
      line.replace(at, name.size(), number);
  }
  return line;
}

void template_compiler::take_line(const std::string& written) {
  const std::string line = with_names(written);
  if (line.starts_with("@status ")) return take_status(line);
  if (line.starts_with("@")) throw std::runtime_error("what is " + line);
  std::string_view rest = line;
  for (auto open = rest.find("{{"); open != std::string_view::npos;
       open = rest.find("{{")) {
    const auto close = rest.find("}}", open);
    if (close == std::string_view::npos) throw std::runtime_error("no }}");
    made_.rest_ += rest.substr(0, open);
    take_mark(rest.substr(open + 2, close - open - 2));
    rest.remove_prefix(close + 2);
  }
  made_.rest_ += rest;
  made_.rest_ += '\n';
}

void template_compiler::take_status(const std::string& line) {
  const auto blank = line.find(' ', 8);
  made_.exit_status_ = std::stoi(line.substr(8, blank - 8));
  if (blank != std::string::npos) made_.errors_ = line.substr(blank + 1) + "\n";
}

void template_compiler::take_mark(std::string_view text) {
  if (of_.values.contains(std::string(text))) {
    made_.rest_ += value_of(of_, text);
    return;
  }
  if (text.starts_with("add ")) return take_sum(text.substr(4));
  made_.marks_.push_back(
      {std::move(made_.rest_), read_mark(text, of_, place_ + ordinal_++)});
  made_.rest_.clear();
}

void template_compiler::take_sum(std::string_view terms) {
  long long sum = 0;
  std::istringstream in{std::string(terms)};
  for (std::string term; in >> term;)
    sum += static_cast<long long>(number_of(of_, term));
  made_.rest_ += std::to_string(sum);
}

output_template output_template::compile(std::string_view text,
                                         const std::string& path,
                                         const machine_class& of) {
  return template_compiler(text, path, of).compile();
}

output_template output_template::read(const std::string& path,
                                      const machine_class& of) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot read '" + path + "'");
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  return compile(text, path, of);
}

void output_template::render(const moment& at, std::string& to) const {
  for (const marked& each : marks_) {
    to += each.before;
    each.what.write(each.what, at, to);
  }
  to += rest_;
}

}  // namespace zelk::synthetic
