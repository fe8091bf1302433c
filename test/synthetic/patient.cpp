#include "test/synthetic/patient.h"

#include <array>
#include <charconv>
#include <sstream>
#include <stdexcept>

namespace zelk::synthetic {

namespace {

// Where in `text` its first number lies; end 0: there is none.
std::pair<std::size_t, std::size_t> first_number(std::string_view text) {
  constexpr std::string_view digits = "0123456789";
  const auto begin = text.find_first_of(digits);
  if (begin == std::string_view::npos) return {0, 0};
  auto end = text.find_first_not_of("0123456789.", begin);
  if (end == std::string_view::npos) end = text.size();
  return {begin, end};
}

std::size_t decimals_of(std::string_view number) {
  const auto point = number.find('.');
  return point == std::string_view::npos ? 0 : number.size() - point - 1;
}

// `line` with its first number from `from` on multiplied, as precise as it is.
std::string scaled(const std::string& line, std::size_t from, double factor) {
  const auto [begin, end] = first_number(std::string_view(line).substr(from));
  if (end == 0) return line;
  const std::string_view old =
      std::string_view(line).substr(from + begin, end - begin);
  double number = 0;
  std::from_chars(old.data(), old.data() + old.size(), number);
  std::array<char, 64> digits{};
  const auto made = std::to_chars(digits.data(), digits.data() + digits.size(),
                                  number * factor, std::chars_format::fixed,
                                  static_cast<int>(decimals_of(old)));
  return line.substr(0, from + begin) + std::string(digits.data(), made.ptr) +
         line.substr(from + end);
}

}  // namespace

patient::patient(const cluster& in, std::size_t node, const moment& when,
                 const std::vector<std::size_t>& others,
                 std::vector<answer>& answers)
    : in_(in), node_(node), when_(when), others_(others), answers_(answers) {}

const std::string& patient::name() const {
  return in_.machines()[node_].name;
}

const machine_class& patient::of_class() const {
  return in_.class_of(node_);
}

answer& patient::of(std::string_view provider) {
  return answers_[in_.provider_number(std::string(provider))];
}

// `change` is given each line and returns whether it has changed it; an empty
// line after a change is taken out.
template <typename Change>
void patient::change_lines(std::string_view provider, std::string_view what,
                           const Change& change) {
  answer& at = of(provider);
  std::string made;
  bool any = false;
  std::istringstream in(at.output);
  for (std::string line; std::getline(in, line);) {
    const bool changed = change(line);
    any = any || changed;
    if (!changed || !line.empty()) made += line + "\n";
  }
  if (!any)
    throw std::runtime_error(name() + ": no line of " + std::string(provider) +
                             " is about '" + std::string(what) + "'");
  at.output = std::move(made);
}

void patient::set(std::string_view provider, std::string_view source,
                  std::string_view text) {
  const std::string begin = std::string(source) + ": ";
  int changed = 0;
  change_lines(provider, source, [&](std::string& line) {
    if (!line.starts_with(begin)) return false;
    line = begin + std::string(text);
    return ++changed > 0;
  });
  if (changed > 1)
    throw std::runtime_error(name() + ": several lines of " +
                             std::string(provider) + " are about '" +
                             std::string(source) + "'");
}

void patient::remove(std::string_view provider, std::string_view beginning) {
  change_lines(provider, beginning, [&](std::string& line) {
    if (!line.starts_with(beginning)) return false;
    line.clear();
    return true;
  });
}

void patient::add(std::string_view provider, std::string_view line) {
  of(provider).output += std::string(line) + "\n";
}

void patient::scale(std::string_view provider, std::string_view sources,
                    double factor) {
  change_lines(provider, sources, [&](std::string& line) {
    const auto colon = line.find(": ");
    if (!line.starts_with(sources) || colon == std::string::npos) return false;
    line = scaled(line, colon, factor);
    return true;
  });
}

void patient::grow(std::string_view provider, std::string_view source,
                   std::int64_t by) {
  const std::string begin = std::string(source) + ": ";
  change_lines(provider, source, [&](std::string& line) {
    if (!line.starts_with(begin)) return false;
    line = begin + std::to_string(std::stoll(line.substr(begin.size())) + by);
    return true;
  });
}

void patient::replace(std::string_view provider, std::string_view from,
                      std::string_view to) {
  change_lines(provider, from, [&](std::string& line) {
    bool changed = false;
    for (auto at = line.find(from); at != std::string::npos;
         at = line.find(from, at + to.size())) {
      line.replace(at, from.size(), to);
      changed = true;
    }
    return changed;
  });
}

void patient::end(std::string_view provider, int status,
                  std::string_view errors) {
  of(provider).output.clear();
  end_early(provider, status, errors);
}

void patient::end_early(std::string_view provider, int status,
                        std::string_view errors) {
  answer& at = of(provider);
  if (!at.expected)
    throw std::runtime_error(name() + " is not asked for " +
                             std::string(provider));
  at.exit_status = status;
  at.errors = errors;
}

void patient::lose(std::string_view provider, std::string_view reason) {
  answer& at = of(provider);
  at.came = false;
  at.output.clear();
  at.reason = reason;
}

void patient::fall_silent(std::string_view reason) {
  for (const std::string& provider : in_.providers())
    lose(provider, reason);
}

answer patient::answer_of_first(std::string_view provider) const {
  const std::size_t first = others_.front();
  return in_.ask(first, in_.provider_number(std::string(provider)),
                 in_.at(first, when_.run));
}

}  // namespace zelk::synthetic
