#include "test/synthetic/machine_class.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace zelk::synthetic {

namespace {

void take_line(machine_class& to, const std::string& line) {
  const auto blank = line.find(' ');
  const std::string name = line.substr(0, blank);
  const std::string rest =
      blank == std::string::npos ? "" : line.substr(blank + 1);
  if (name != "words") {
    to.values[name] = rest;
    return;
  }
  std::istringstream words(rest);
  for (std::string word; words >> word;)
    to.words.insert(word);
}

double factor_of(const machine_class& in, std::string_view text) {
  const bool is_number =
      text.find_first_not_of("0123456789.-") == std::string_view::npos;
  const std::string_view digits = is_number ? text : value_of(in, text);
  double number = 0;
  const auto read =
      std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (read.ec != std::errc() || read.ptr != digits.data() + digits.size())
    throw std::runtime_error("'" + std::string(text) + "' is not a number");
  return number;
}

}  // namespace

machine_class read_machine_class(const std::string& path) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot read '" + path + "'");
  machine_class made;
  made.name = std::filesystem::path(path).stem();
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line[0] != '#') take_line(made, line);
  }
  return made;
}

const std::string& value_of(const machine_class& in, std::string_view name) {
  const auto found = in.values.find(std::string(name));
  if (found == in.values.end())
    throw std::runtime_error("the class '" + in.name + "' has no value '" +
                             std::string(name) + "'");
  return found->second;
}

double number_of(const machine_class& in, std::string_view expression) {
  double product = 1;
  while (true) {
    const auto star = expression.find('*');
    product *= factor_of(in, expression.substr(0, star));
    if (star == std::string_view::npos) return product;
    expression.remove_prefix(star + 1);
  }
}

}  // namespace zelk::synthetic
