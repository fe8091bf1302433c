#include "src/common/facts/gathered.h"

#include <algorithm>
#include <tuple>
#include <utility>
#include <variant>

#include "src/common/facts/output_text.h"
#include "src/common/facts/value.h"

namespace zelk::facts {

namespace {

// A name that a machine made up, and that no table could show.
constexpr std::size_t longest_name = 512;  // bytes

// Of a value in a document without lines; a repaired line may be longer than a
// line.
constexpr std::size_t longest_value = 3 * longest_line;  // bytes

std::string not_a_value(value_type type, std::string_view text) {
  return "expected " + std::string(words_for(type)) + ", found '" +
         excerpt(trimmed(text)) + "'";
}

// Newlines separate the values of a list.
std::string as_element(const fact_value& value) {
  std::string text = text_of(value);
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

fact_value sum_of(const fact_value& a, const fact_value& b,
                  std::string& problem) {
  if (const auto* number = std::get_if<double>(&b))
    return std::get<double>(a) + *number;
  std::int64_t sum = 0;
  if (__builtin_add_overflow(std::get<std::int64_t>(a),
                             std::get<std::int64_t>(b), &sum))
    problem = "the sum takes more than 64 bits";
  return sum;
}

}  // namespace

std::uint32_t name_list::number_of(std::string_view name) {
  const auto known = numbers_.find(name);
  if (known != numbers_.end()) return known->second;
  if (names_.size() >= most_) return no_index;
  const auto number = static_cast<std::uint32_t>(names_.size());
  numbers_.emplace(names_.emplace_back(name), number);
  return number;
}

gathered::gathered(const compiled_facts& all, value_table& values,
                   std::size_t most_names_of_all)
    : all_(all), values_(values), names_(most_names_of_all) {
  for (const compiled_fact& each : all.facts)
    fixed_.push_back(each.name.fixed() ? names_.number_of(each.written_name)
                                       : no_index);
  sources_seen_.assign(all.facts.size(), output_);
}

void gathered::begin() {
  ++output_;
  touched_.clear();
  sets_.clear();
  sums_.clear();
  left_out_.clear();
  problems_.clear();
  cannot_.clear();
  explanations_.clear();
  notes_.clear();
  rejected_.clear();
  bytes_ = 0;
  full_ = false;
  is_plain_ = false;
  made_.what = outcome::read;
  made_.facts.clear();
  made_.unread.clear();
  made_.cut = false;
}

bool gathered::spend(std::size_t bytes) {
  if (full_ || bytes > most_bytes - bytes_) {
    full_ = true;
    is_plain_ = false;
    return false;
  }
  bytes_ += bytes;
  return true;
}

bool gathered::is_here(std::uint32_t name) const {
  return name < entries_.size() && entries_[name].output == output_;
}

// Returns null when this occurrence is not to be counted.
gathered::entry* gathered::entry_of(std::uint32_t which, std::uint32_t name) {
  if (name >= entries_.size()) entries_.resize(names_.size());
  entry& found = entries_[name];
  if (found.output != output_) {
    if (touched_.size() >= most_names || !spend(names_[name].size())) {
      full_ = true;
      return nullptr;
    }
    touched_.push_back(name);
    found = {output_, which, 0, no_index};
    return &found;
  }
  if (found.which == which) return problems_.contains(name) ? nullptr : &found;
  problems_[name] = "two declarations give this name: lines " +
                    std::to_string(all_.facts[found.which].line) + " and " +
                    std::to_string(all_.facts[which].line) + " of " + all_.path;
  return nullptr;
}

void gathered::add_up(entry& to, std::uint32_t name, std::uint32_t value) {
  const value_type type = all_.facts[to.which].read_as;
  fact_value& sum =
      sums_.emplace(name, values_.at(to.value, type)).first->second;
  std::string problem;
  sum = sum_of(sum, values_.at(value, type), problem);
  if (!problem.empty()) problems_.emplace(name, problem);
}

// Requires: it is not the first of its name, or one of a set.
void gathered::combine(entry& to, std::uint32_t name, const given_fact& one) {
  const auto value_of = [&](std::uint32_t index) {
    return values_.at(index, all_.facts[one.which].read_as);
  };
  switch (all_.facts[one.which].combine) {
    case several::error:
      if (one.value != to.value && value_of(one.value) != value_of(to.value))
        problems_.emplace(name, "found '" + excerpt(values_.text(to.value)) +
                                    "' and '" +
                                    excerpt(values_.text(one.value)) + "'");
      break;
    case several::set:
      sets_[name].push_back(one.value);
      break;
    case several::sum:
      add_up(to, name, one.value);
      break;
    case several::last:
      to.value = one.value;
      break;
    case several::min:
      if (value_of(one.value) < value_of(to.value)) to.value = one.value;
      break;
    case several::max:
      if (!(value_of(one.value) < value_of(to.value))) to.value = one.value;
      break;
    case several::count:
    case several::first:
      break;
  }
}

void gathered::take(const given_fact& one) {
  entry* const to = entry_of(one.which, one.name);
  if (to == nullptr) return;
  const several how = all_.facts[one.which].combine;
  const bool is_first = ++to->count == 1;
  if (how == several::count || (how == several::first && !is_first)) return;
  if (!spend(one.bytes)) return;
  if (!is_first || how == several::set)
    combine(*to, one.name, one);
  else
    to->value = one.value;
}

void gathered::take_problem(std::uint32_t which, std::uint32_t name,
                            const std::string& problem) {
  is_plain_ = false;
  entry* const to = entry_of(which, name);
  if (to == nullptr) return;
  if (++to->count == 1 || all_.facts[which].combine != several::first)
    problems_.emplace(name, problem);
}

// There is no room for a value of that name: it is there, and not told.
void gathered::leave_out(std::uint32_t which, std::uint32_t name) {
  is_plain_ = false;
  made_.cut = true;
  if (entry_of(which, name) != nullptr) left_out_.insert(name);
}

std::uint32_t gathered::number_of(std::string_view name) {
  if (name.size() > longest_name) {
    note("a name is longer than " + std::to_string(longest_name) + " bytes: '" +
         excerpt(name) + "'");
    return no_index;
  }
  const std::uint32_t number = names_.number_of(name);
  if (number == no_index) {
    made_.cut = true;
    is_plain_ = false;
  }
  return number;
}

void gathered::add(std::size_t which, std::string_view name,
                   std::string_view text) {
  const std::uint32_t number = number_of(name);
  if (number != no_index) add(which, number, text);
}

void gathered::add(std::size_t which, std::uint32_t name,
                   std::string_view text) {
  const compiled_fact& what = all_.facts[which];
  given_fact one{static_cast<std::uint32_t>(which), name, no_index, 0};
  if (what.combine != several::count) {
    if (text.size() > longest_value)
      return take_problem(one.which, name,
                          "the value is longer than " +
                              std::to_string(longest_value) + " bytes");
    const std::optional<fact_value> value = value_of(what.read_as, text);
    if (!value)
      return take_problem(one.which, name, not_a_value(what.read_as, text));
    one.bytes =
        static_cast<std::uint32_t>(sizeof(fact_value) + trimmed(text).size());
    one.value = values_.index_of(*value);
    if (one.value == no_index) return leave_out(one.which, name);
  }
  line_.facts.push_back(one);
  take(one);
}

void gathered::saw_source(std::size_t which) {
  sources_seen_[which] = output_;
  line_.sources.push_back(static_cast<std::uint32_t>(which));
}

void gathered::add(const given_line& line) {
  for (const std::uint32_t which : line.sources)
    sources_seen_[which] = output_;
  for (const given_fact& each : line.facts)
    take(each);
}

void gathered::begin_line() {
  line_.clear();
  is_plain_ = true;
}

void gathered::cannot(std::size_t which, std::string name, std::string reason) {
  is_plain_ = false;
  if (all_.facts[which].optional || cannot_.size() >= most_unread ||
      !spend(name.size() + reason.size()))
    return;
  cannot_.emplace(std::move(name), std::move(reason));
}

void gathered::explain(std::size_t which, std::string reason) {
  is_plain_ = false;
  explanations_.emplace(which, std::move(reason));
}

void gathered::note(std::string reason) {
  is_plain_ = false;
  if (notes_.size() < most_unread) notes_.insert(std::move(reason));
}

void gathered::reject(std::string reason) {
  rejected_ = std::move(reason);
}

// Returns why nothing was found, as far as the output says.
std::string gathered::reason_of(std::size_t which) const {
  const auto found = explanations_.find(which);
  if (found != explanations_.end()) return found->second;
  const compiled_fact& what = all_.facts[which];
  if (all_.format == output_format::patterns)
    return "no line matches '" + excerpt(what.written_pattern) + "'";
  if (all_.format == output_format::json)
    return "there is no " + excerpt(what.written_from);
  return std::string("no line has the ") +
         (all_.format == output_format::equals ? "key" : "source") + " '" +
         excerpt(what.written_from) + "'";
}

void gathered::finish_absent(std::size_t which, const std::string& incomplete) {
  const compiled_fact& what = all_.facts[which];
  if (!what.name.fixed() || is_here(fixed_[which])) return;
  const bool explained = explanations_.contains(which);
  if (what.has_empty_value() && !explained && incomplete.empty() && !full_) {
    const std::uint32_t empty = what.combine == several::count
                                    ? values_.index_of(std::int64_t{0})
                                    : values_.index_of_text("");
    made_.cut = made_.cut || empty == no_index;
    if (empty != no_index)
      made_.facts.push_back(
          {fixed_[which], empty, static_cast<std::uint32_t>(which)});
  } else if (!what.optional) {
    made_.unread.push_back({what.written_name, explained || incomplete.empty()
                                                   ? reason_of(which)
                                                   : incomplete});
  }
}

std::uint32_t gathered::joined(std::vector<std::uint32_t>& values,
                               value_type type) {
  std::sort(values.begin(), values.end());
  values.erase(std::unique(values.begin(), values.end()), values.end());
  std::vector<fact_value> sorted;
  sorted.reserve(values.size());
  for (const std::uint32_t each : values)
    sorted.push_back(values_.at(each, type));
  std::sort(sorted.begin(), sorted.end());
  sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
  std::string text;
  for (const fact_value& value : sorted)
    text.append(text.empty() ? "" : "\n").append(as_element(value));
  return values_.index_of_text(text);
}

void gathered::finish_entry(std::uint32_t name, const std::string& incomplete) {
  if (left_out_.contains(name)) return;
  const entry& from = entries_[name];
  const compiled_fact& what = all_.facts[from.which];
  // Of a part, these would be a wrong number and not a part of the truth.
  const bool needs_all = what.has_empty_value() || what.combine == several::sum;
  const auto problem = problems_.find(name);
  std::string reason = problem == problems_.end() ? "" : problem->second;
  if (reason.empty() && needs_all && !incomplete.empty()) reason = incomplete;
  if (reason.empty() && needs_all && full_)
    reason = "the output is larger than what is read of it";
  if (!reason.empty()) {
    made_.unread.push_back({names_[name], std::move(reason)});
    return;
  }
  std::uint32_t value = from.value;
  if (what.combine == several::count)
    value = values_.index_of(std::int64_t{from.count});
  if (what.combine == several::set) value = joined(sets_[name], what.read_as);
  if (const auto sum = sums_.find(name); sum != sums_.end())
    value = values_.index_of(sum->second);
  made_.cut = made_.cut || value == no_index;
  if (value != no_index) made_.facts.push_back({name, value, from.which});
}

void gathered::finish_sources() {
  for (std::size_t which = 0; which < all_.facts.size(); ++which) {
    const compiled_fact& fact = all_.facts[which];
    if (sources_seen_[which] == output_ && fact.pattern &&
        !fact.has_empty_value())
      explain(which, "no line of '" + excerpt(fact.written_from) +
                         "' matches '" + excerpt(fact.written_pattern) + "'");
  }
}

// In order, and not without end.
void gathered::finish_unread() {
  if (full_)
    note("more than " + std::to_string(most_names) + " names or " +
         std::to_string(most_bytes) + " bytes of values; the rest is not read");
  for (const std::string& each : notes_)
    made_.unread.push_back({whole_output, each});
  std::sort(made_.unread.begin(), made_.unread.end(),
            [](const unread_fact& a, const unread_fact& b) {
              return std::tie(a.name, a.reason) < std::tie(b.name, b.reason);
            });
  if (made_.unread.size() <= most_unread) return;
  const std::size_t more = made_.unread.size() - most_unread;
  made_.unread.resize(most_unread);
  made_.unread.push_back(
      {whole_output, std::to_string(more) + " more facts were not read"});
}

const numbered_extraction& gathered::finish(const std::string& incomplete) {
  if (!rejected_.empty()) {
    made_.what = outcome::failed;
    made_.unread.push_back({whole_output, rejected_});
    return made_;
  }
  finish_sources();
  std::vector<bool> seen(all_.facts.size(), false);
  for (const std::uint32_t name : touched_) {
    seen[entries_[name].which] = true;
    finish_entry(name, incomplete);
  }
  for (auto& [name, reason] : cannot_)
    if (const std::uint32_t number = names_.number_of(name);
        number == no_index || !is_here(number))
      made_.unread.push_back({name, reason});
  for (std::size_t which = 0; which < all_.facts.size(); ++which)
    if (!seen[which]) finish_absent(which, incomplete);
  finish_unread();
  return made_;
}

}  // namespace zelk::facts
