#include "src/common/facts/gathered.h"

#include <algorithm>
#include <utility>

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

std::string joined(std::vector<fact_value>& values) {
  std::sort(values.begin(), values.end());
  values.erase(std::unique(values.begin(), values.end()), values.end());
  std::string text;
  for (const fact_value& value : values)
    text.append(text.empty() ? "" : "\n").append(as_element(value));
  return text;
}

bool by_name(const fact& a, const fact& b) {
  return a.name < b.name;
}

}  // namespace

bool gathered::spend(std::size_t bytes) {
  if (full_ || bytes > most_bytes - bytes_) {
    full_ = true;
    return false;
  }
  bytes_ += bytes;
  return true;
}

gathered::entry* gathered::entry_of(std::size_t which, std::string&& name) {
  const auto found = entries_.find(name);
  if (found != entries_.end()) {
    if (found->second.which == which) return &found->second;
    found->second.problem =
        "two declarations give this name: lines " +
        std::to_string(all_.facts[found->second.which].line) + " and " +
        std::to_string(all_.facts[which].line) + " of " + all_.path;
    return nullptr;
  }
  if (entries_.size() >= most_names || !spend(name.size())) {
    full_ = true;
    return nullptr;
  }
  entry& made = entries_[std::move(name)];
  made.which = which;
  return &made;
}

void gathered::keep_sum(entry& to, const fact_value& value) {
  if (const auto* number = std::get_if<double>(&value)) {
    std::get<double>(to.value) += *number;
    return;
  }
  std::int64_t sum = 0;
  if (__builtin_add_overflow(std::get<std::int64_t>(to.value),
                             std::get<std::int64_t>(value), &sum))
    to.problem = "the sum takes more than 64 bits";
  to.value = sum;
}

void gathered::keep_extreme(entry& to, const compiled_fact& what,
                            fact_value&& value) {
  const bool smaller = value < to.value;
  if (smaller == (what.combine == several::min)) to.value = std::move(value);
}

// Requires: `value` is not the first one of `to`, or it is one of a set.
void gathered::combine(entry& to, const compiled_fact& what,
                       fact_value&& value) {
  switch (what.combine) {
    case several::error:
      if (value != to.value && to.problem.empty())
        to.problem = "found '" + excerpt(text_of(to.value)) + "' and '" +
                     excerpt(text_of(value)) + "'";
      break;
    case several::set:
      to.all.push_back(std::move(value));
      break;
    case several::sum:
      keep_sum(to, value);
      break;
    case several::last:
      to.value = std::move(value);
      break;
    case several::min:
    case several::max:
      keep_extreme(to, what, std::move(value));
      break;
    case several::count:
    case several::first:
      break;
  }
}

void gathered::add(std::size_t which, std::string name, std::string_view text) {
  const compiled_fact& what = all_.facts[which];
  if (name.size() > longest_name) {
    note("a name is longer than " + std::to_string(longest_name) + " bytes: '" +
         excerpt(name) + "'");
    return;
  }
  entry* const to = entry_of(which, std::move(name));
  if (to == nullptr || !to->problem.empty()) return;
  if (++to->count > 1 &&
      (what.combine == several::first || what.combine == several::count))
    return;
  if (what.combine == several::count) return;
  if (text.size() > longest_value) {
    to->problem =
        "the value is longer than " + std::to_string(longest_value) + " bytes";
    return;
  }
  std::optional<fact_value> value = value_of(what.read_as, text);
  if (!value) {
    to->problem = not_a_value(what.read_as, text);
    return;
  }
  if (!spend(sizeof(fact_value) + trimmed(text).size())) return;
  if (to->count > 1 || what.combine == several::set)
    combine(*to, what, std::move(*value));
  else
    to->value = std::move(*value);
}

void gathered::cannot(std::size_t which, std::string name, std::string reason) {
  if (all_.facts[which].optional || cannot_.size() >= most_unread ||
      !spend(name.size() + reason.size()))
    return;
  cannot_.emplace(std::move(name), std::move(reason));
}

void gathered::explain(std::size_t which, std::string reason) {
  explanations_.emplace(which, std::move(reason));
}

void gathered::note(std::string reason) {
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

void gathered::finish_absent(std::size_t which, const std::string& incomplete,
                             extraction& result) {
  const compiled_fact& what = all_.facts[which];
  if (!what.name.fixed() || entries_.count(what.written_name) != 0) return;
  const bool explained = explanations_.count(which) != 0;
  if (what.has_empty_value() && !explained && incomplete.empty() && !full_) {
    fact empty{what.written_name, std::string(), what.traits};
    if (what.combine == several::count) empty.value = std::int64_t{0};
    result.facts.push_back(std::move(empty));
  } else if (!what.optional) {
    result.unread.push_back({what.written_name, explained || incomplete.empty()
                                                    ? reason_of(which)
                                                    : incomplete});
  }
}

void gathered::finish_entry(const std::string& name, entry& from,
                            const std::string& incomplete, extraction& result) {
  const compiled_fact& what = all_.facts[from.which];
  // Of a part, these would be a wrong number and not a part of the truth.
  const bool needs_all = what.has_empty_value() || what.combine == several::sum;
  if (from.problem.empty() && needs_all && !incomplete.empty())
    from.problem = incomplete;
  if (from.problem.empty() && needs_all && full_)
    from.problem = "the output is larger than what is read of it";
  if (!from.problem.empty()) {
    result.unread.push_back({name, std::move(from.problem)});
    return;
  }
  if (what.combine == several::count) from.value = from.count;
  if (what.combine == several::set) from.value = joined(from.all);
  result.facts.push_back({name, std::move(from.value), what.traits});
}

extraction gathered::finish(const std::string& incomplete) {
  extraction result;
  if (!rejected_.empty()) {
    result.what = outcome::failed;
    result.unread.push_back({whole_output, rejected_});
    return result;
  }
  std::vector<bool> seen(all_.facts.size(), false);
  result.facts.reserve(entries_.size());
  for (auto& [name, each] : entries_) {
    seen[each.which] = true;
    finish_entry(name, each, incomplete, result);
  }
  for (auto& [name, reason] : cannot_)
    if (entries_.count(name) == 0) result.unread.push_back({name, reason});
  for (std::size_t which = 0; which < all_.facts.size(); ++which)
    if (!seen[which]) finish_absent(which, incomplete, result);
  if (full_)
    note("more than " + std::to_string(most_names) + " names or " +
         std::to_string(most_bytes) + " bytes of values; the rest is not read");
  for (const std::string& each : notes_)
    result.unread.push_back({whole_output, each});
  std::sort(result.facts.begin(), result.facts.end(), by_name);
  std::sort(result.unread.begin(), result.unread.end(),
            [](const unread_fact& a, const unread_fact& b) {
              return std::pair(a.name, a.reason) < std::pair(b.name, b.reason);
            });
  if (result.unread.size() > most_unread) {
    const std::size_t more = result.unread.size() - most_unread;
    result.unread.resize(most_unread);
    result.unread.push_back(
        {whole_output, std::to_string(more) + " more facts were not read"});
  }
  return result;
}

}  // namespace zelk::facts
