// A JSON document, read as a stream.
//
// A document in memory takes thirty times its bytes, and a hostile one opens a
// million lists. So nothing is kept but the way to the present place: for each
// step of it, the facts whose paths have matched so far.

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "src/common/facts/extractors.h"
#include "src/common/facts/output_text.h"
#include "src/common/facts/value.h"

namespace zelk::facts {

namespace {

using nlohmann::json;

// Tools nest ten deep.
constexpr std::size_t deepest = 64;

// One open object or list, or what is around the document.
struct level {
  bool is_list = false;
  std::size_t number = 0;               // of the present element
  std::string key;                      // name of the present member
  std::vector<std::size_t> candidates;  // facts that match up to here
};

class json_reader : public json::json_sax_t {
 public:
  json_reader(const compiled_facts& all, gathered& to);

  bool null() override;
  bool boolean(bool is) override { return value(is ? "true" : "false"); }
  bool number_integer(std::int64_t is) override {
    return value(std::to_string(is));
  }
  bool number_unsigned(std::uint64_t is) override {
    return value(std::to_string(is));
  }
  bool number_float(double /*is*/, const std::string& text) override {
    return value(text);
  }
  bool string(std::string& is) override { return value(is); }
  bool binary(json::binary_t& /*is*/) override { return false; }
  bool start_object(std::size_t /*count*/) override { return open(false); }
  bool start_array(std::size_t /*count*/) override { return open(true); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }
  bool key(std::string& is) override;
  bool parse_error(std::size_t at, const std::string& token,
                   const json::exception& error) override;

  const std::string& problem() const { return problem_; }

 private:
  // How many steps lead to the present place.
  std::size_t steps() const { return levels_.size() - 1; }
  std::vector<std::size_t> candidates_here() const;
  std::vector<std::size_t> facts_here() const;
  bool value(std::string_view text);
  void no_value(const std::string& found, bool counts);
  bool open(bool is_list);
  bool close();
  void advance() { ++levels_.back().number; }
  void take(std::size_t which, std::string_view text);
  std::string name_here(const compiled_fact& fact, const groups& matched) const;

  const compiled_facts& all_;
  gathered& to_;
  std::vector<level> levels_;
  std::string problem_;
};

json_reader::json_reader(const compiled_facts& all, gathered& to)
    : all_(all), to_(to) {
  levels_.emplace_back();
  for (std::size_t which = 0; which < all.facts.size(); ++which)
    levels_.back().candidates.push_back(which);
}

// Which facts lead through the present place or end there.
std::vector<std::size_t> json_reader::candidates_here() const {
  const level& inner = levels_.back();
  if (steps() == 0) return inner.candidates;
  std::vector<std::size_t> left;
  for (const std::size_t which : inner.candidates) {
    const json_path& path = all_.facts[which].path;
    if (path.size() < steps()) continue;
    const path_step& step = path[steps() - 1];
    if (inner.is_list ? step.takes_number(inner.number)
                      : step.takes_name(inner.key))
      left.push_back(which);
  }
  return left;
}

// Which end there.
std::vector<std::size_t> json_reader::facts_here() const {
  std::vector<std::size_t> left = candidates_here();
  std::erase_if(left, [&](std::size_t which) {
    return all_.facts[which].path.size() != steps();
  });
  return left;
}

std::string json_reader::name_here(const compiled_fact& fact,
                                   const groups& matched) const {
  std::vector<std::string> words;
  for (std::size_t i = 0; i < fact.path.size(); ++i) {
    const level& at = levels_[i + 1];
    if (fact.path[i].what == path_step::kind::any_number)
      words.push_back(std::to_string(at.number));
    else if (fact.path[i].what == path_step::kind::any_name)
      words.push_back(at.key);
  }
  return fact.name.filled(groups(words.begin(), words.end()), matched);
}

void json_reader::take(std::size_t which, std::string_view text) {
  const compiled_fact& fact = all_.facts[which];
  groups matched;
  if (fact.pattern &&
      !match_groups(*fact.pattern, text, fact.pattern_groups, matched))
    return to_.explain(which, "'" + excerpt(text) + "' does not match '" +
                                  excerpt(fact.written_pattern) + "'");
  to_.add(which, name_here(fact, matched),
          group_or_all(matched, fact.value_group, text));
}

bool json_reader::value(std::string_view text) {
  for (const std::size_t which : facts_here())
    take(which, text);
  advance();
  return !to_.full();
}

// What stands where a value was expected.
void json_reader::no_value(const std::string& found, bool counts) {
  for (const std::size_t which : facts_here()) {
    const compiled_fact& fact = all_.facts[which];
    const std::string reason = "expected a value, found " + found;
    if (counts && fact.combine == several::count)
      to_.add(which, name_here(fact, {}), "");
    else if (fact.name.fixed())
      to_.explain(which, reason);
    else
      to_.cannot(which, name_here(fact, {}), reason);
  }
}

bool json_reader::null() {
  no_value("null", false);
  advance();
  return true;
}

bool json_reader::open(bool is_list) {
  if (levels_.size() > deepest) {
    problem_ = "nested more than " + std::to_string(deepest) + " deep";
    return false;
  }
  no_value(is_list ? "a list" : "an object", true);
  level inner;
  inner.is_list = is_list;
  inner.candidates = candidates_here();
  levels_.push_back(std::move(inner));
  return !to_.full();
}

bool json_reader::close() {
  levels_.pop_back();
  advance();
  return true;
}

bool json_reader::key(std::string& is) {
  levels_.back().key = is;
  return true;
}

bool json_reader::parse_error(std::size_t at, const std::string& /*token*/,
                              const json::exception& /*error*/) {
  problem_ = "wrong at byte " + std::to_string(at);
  return false;
}

}  // namespace

void read_json(const compiled_facts& all, std::string_view output,
               gathered& to) {
  if (output.size() > longest_output) {
    to.reject("the output is longer than " + std::to_string(longest_output) +
              " bytes");
    return;
  }
  std::string buffer;
  const std::string_view text = repaired(output, buffer);
  json_reader reader(all, to);
  if (json::sax_parse(text.begin(), text.end(), &reader) || to.full()) return;
  to.reject("the output is no JSON document: " + reader.problem());
}

}  // namespace zelk::facts
