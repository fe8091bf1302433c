// Outputs whose lines have a source or a key, and those that have neither.
//
// Most lines of most outputs are nobody's fact, so what a line could be is
// asked of all expressions at once; only the ones that match are run a second
// time, for their groups. A source is the same on all nodes, so what it could
// be is kept.
//
// Providers also say what they did not read, "unreadable: PATH: REASON" and the
// like. For the facts that should have come from there it is the reason.

#include "src/common/facts/read_lines.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "src/common/facts/value.h"

namespace zelk::facts {

namespace {

struct keyed_line {
  std::string_view key;
  std::string_view text;
};

bool split_source(std::string_view line, keyed_line& parts) {
  const std::size_t colon = line.find(": ");
  if (colon != line.npos) {
    parts = {line.substr(0, colon), line.substr(colon + 2)};
    return true;
  }
  if (!line.ends_with(':')) return false;
  parts = {line.substr(0, line.size() - 1), {}};
  return true;
}

bool split_key(std::string_view line, keyed_line& parts) {
  const std::size_t equals = line.find('=');
  if (equals == line.npos) return false;
  parts = {trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1))};
  return true;
}

// The words by which a provider says what is not in its output.
enum class absence { none, unreadable, other };

absence absence_of(std::string_view source) {
  if (source == "unreadable") return absence::unreadable;
  for (const char* word : {"missing", "failed", "withheld", "skipped"})
    if (source == word) return absence::other;
  return absence::none;
}

// Facts whose `from` a source matches.
struct candidate {
  std::size_t which = 0;
  groups from;                    // views into the source
  std::uint32_t name = no_index;  // when the source alone makes it
};

}  // namespace

class line_facts::keyed_reader {
 public:
  keyed_reader(const compiled_facts& all, gathered& to) : all_(all), to_(to) {}

  void read(const keyed_line& line);

 private:
  using candidates = std::vector<candidate>;

  const candidates& look_up(std::string_view source);
  candidates candidates_for(std::string_view source) const;
  void take(const candidate& from, std::string_view text);
  void note_absence(absence kind, const keyed_line& line);
  void explain_folder(const std::string& path, const std::string& reason);

  const compiled_facts& all_;
  gathered& to_;
  // Sources are paths and words of which each output has the same ones.
  std::unordered_map<std::string, candidates> known_;
  const std::pair<const std::string, candidates>* last_ = nullptr;
  groups pattern_groups_;
};

std::vector<candidate> line_facts::keyed_reader::candidates_for(
    std::string_view source) const {
  std::vector<std::size_t> found;
  all_.selectors->match(source, found);
  candidates result;
  for (const std::size_t which : found) {
    candidate each{which, {}, no_index};
    const compiled_fact& fact = all_.facts[which];
    if (fact.from_groups == 0 ||
        match_groups(*fact.from, source, fact.from_groups, each.from))
      result.push_back(std::move(each));
  }
  return result;
}

const std::vector<candidate>& line_facts::keyed_reader::look_up(
    std::string_view source) {
  constexpr std::size_t most_known = 8192;
  if (last_ != nullptr && source == last_->first) return last_->second;
  std::string key(source);
  const auto known = known_.find(key);
  if (known != known_.end()) {
    last_ = &*known;
    return known->second;
  }
  if (known_.size() >= most_known) known_.clear();
  auto& made = *known_.try_emplace(std::move(key)).first;
  made.second = candidates_for(made.first);
  for (candidate& each : made.second) {
    const name_template& name = all_.facts[each.which].name;
    if (name.groups_of(group_source::side::pattern) == 0)
      each.name = to_.number_of(name.filled(each.from, {}));
  }
  last_ = &made;
  return made.second;
}

void line_facts::keyed_reader::take(const candidate& from,
                                    std::string_view text) {
  const compiled_fact& fact = all_.facts[from.which];
  to_.saw_source(from.which);
  pattern_groups_.clear();
  if (fact.pattern &&
      !match_groups(*fact.pattern, text, fact.pattern_groups, pattern_groups_))
    return;
  const std::string_view value =
      group_or_all(pattern_groups_, fact.value_group, text);
  if (from.name != no_index)
    to_.add(from.which, from.name, value);
  else
    to_.add(from.which, fact.name.filled(from.from, pattern_groups_), value);
}

// A folder that is missing takes with it what would have lain in it.
void line_facts::keyed_reader::explain_folder(const std::string& path,
                                              const std::string& reason) {
  for (std::size_t which = 0; which < all_.facts.size(); ++which)
    if (all_.facts[which].written_from.starts_with(path + "/"))
      to_.explain(which, reason);
}

void line_facts::keyed_reader::note_absence(absence kind,
                                            const keyed_line& line) {
  const std::size_t colon = std::min(line.text.find(": "), line.text.size());
  const std::string_view path = line.text.substr(0, colon);
  std::string reason(line.key);
  if (colon < line.text.size())
    reason += ": " + excerpt(line.text.substr(colon + 2));
  else
    reason += ": " + excerpt(path);
  for (const candidate& each : candidates_for(path)) {
    const compiled_fact& fact = all_.facts[each.which];
    if (fact.name.fixed())
      to_.explain(each.which, reason);
    else if (kind == absence::unreadable)
      to_.cannot(each.which, fact.name.filled(each.from, {}), reason);
  }
  explain_folder(std::string(path), reason);
}

void line_facts::keyed_reader::read(const keyed_line& line) {
  for (const candidate& each : look_up(line.key))
    take(each, line.text);
  if (all_.format != output_format::lines) return;
  const absence kind = absence_of(line.key);
  if (kind != absence::none) note_absence(kind, line);
}

line_facts::line_facts(const compiled_facts& all, gathered& to, bool remembers)
    : all_(all),
      to_(to),
      remembers_(remembers),
      keyed_(std::make_unique<keyed_reader>(all, to)) {}

line_facts::~line_facts() = default;

void line_facts::read_line(std::string_view line) {
  keyed_line parts;
  switch (all_.format) {
    case output_format::lines:
      if (split_source(line, parts)) keyed_->read(parts);
      break;
    case output_format::equals:
      if (split_key(line, parts)) keyed_->read(parts);
      break;
    default:
      read_pattern(line);
  }
}

void line_facts::read_pattern(std::string_view line) {
  all_.selectors->match(line, found_);
  for (const std::size_t which : found_) {
    const compiled_fact& fact = all_.facts[which];
    if (match_groups(*fact.pattern, line, fact.pattern_groups, matched_))
      to_.add(which, fact.name.filled({}, matched_),
              group_or_all(matched_, fact.value_group, line));
  }
}

void line_facts::note_limits(const line_reader& lines) {
  if (lines.passed_over() > 0)
    to_.note(std::to_string(lines.passed_over()) + " lines longer than " +
             std::to_string(longest_line) + " bytes are not read");
  if (lines.cut())
    to_.note("what lies behind the first " + std::to_string(longest_output) +
             " bytes is not read");
}

void line_facts::read(std::string_view output) {
  line_reader lines(output);
  for (std::string_view line; !to_.full() && lines.next(line);) {
    if (const given_line* known = remembers_ ? memory_.find(line) : nullptr) {
      to_.add(*known);
      continue;
    }
    to_.begin_line();
    read_line(line);
    if (remembers_ && to_.line_gave() != nullptr)
      memory_.remember(line, *to_.line_gave());
  }
  note_limits(lines);
}

}  // namespace zelk::facts
