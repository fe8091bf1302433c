// Outputs whose lines have a source or a key, and those that have neither.
//
// Most lines of most outputs are nobody's fact, so what a line could be is
// asked of all expressions at once; only the ones that match are run a second
// time, for their groups. A file of many lines has its source on each of them,
// so the last answer is kept.
//
// Providers also say what they did not read, "unreadable: PATH: REASON" and the
// like. For the facts that should have come from there it is the reason.

#include <algorithm>
#include <string>
#include <vector>

#include "src/common/facts/extractors.h"
#include "src/common/facts/output_text.h"
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

class keyed_reader {
 public:
  keyed_reader(const compiled_facts& all, gathered& to)
      : all_(all), to_(to), text_seen_(all.facts.size(), false) {}

  void read(const keyed_line& line);
  void finish();

 private:
  // A fact whose `from` the present source matches.
  struct candidate {
    std::size_t which;
    groups from;  // views into source_
  };

  void look_up(std::string_view source);
  std::vector<candidate> candidates_for(std::string_view source) const;
  void take(const candidate& from, std::string_view text);
  void note_absence(absence kind, const keyed_line& line);
  void explain_folder(const std::string& path, const std::string& reason);

  const compiled_facts& all_;
  gathered& to_;
  std::string source_;
  bool looked_up_ = false;
  std::vector<candidate> candidates_;
  std::vector<bool> text_seen_;  // by fact: a source of its own was there
  groups pattern_groups_;
};

std::vector<keyed_reader::candidate> keyed_reader::candidates_for(
    std::string_view source) const {
  std::vector<std::size_t> found;
  all_.selectors->match(source, found);
  std::vector<candidate> result;
  for (const std::size_t which : found) {
    candidate each{which, {}};
    const compiled_fact& fact = all_.facts[which];
    if (fact.from_groups == 0 ||
        match_groups(*fact.from, source, fact.from_groups, each.from))
      result.push_back(std::move(each));
  }
  return result;
}

void keyed_reader::look_up(std::string_view source) {
  if (looked_up_ && source == source_) return;
  source_ = source;
  looked_up_ = true;
  candidates_ = candidates_for(source_);
}

void keyed_reader::take(const candidate& from, std::string_view text) {
  const compiled_fact& fact = all_.facts[from.which];
  text_seen_[from.which] = true;
  pattern_groups_.clear();
  if (fact.pattern &&
      !match_groups(*fact.pattern, text, fact.pattern_groups, pattern_groups_))
    return;
  to_.add(from.which, fact.name.filled(from.from, pattern_groups_),
          group_or_all(pattern_groups_, fact.value_group, text));
}

// A folder that is missing takes with it what would have lain in it.
void keyed_reader::explain_folder(const std::string& path,
                                  const std::string& reason) {
  for (std::size_t which = 0; which < all_.facts.size(); ++which)
    if (all_.facts[which].written_from.starts_with(path + "/"))
      to_.explain(which, reason);
}

void keyed_reader::note_absence(absence kind, const keyed_line& line) {
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

void keyed_reader::read(const keyed_line& line) {
  look_up(line.key);
  for (const candidate& each : candidates_)
    take(each, line.text);
  if (all_.format != output_format::lines) return;
  const absence kind = absence_of(line.key);
  if (kind != absence::none) note_absence(kind, line);
}

void keyed_reader::finish() {
  for (std::size_t which = 0; which < all_.facts.size(); ++which) {
    const compiled_fact& fact = all_.facts[which];
    if (text_seen_[which] && fact.pattern && !fact.has_empty_value())
      to_.explain(which, "no line of '" + excerpt(fact.written_from) +
                             "' matches '" + excerpt(fact.written_pattern) +
                             "'");
  }
}

void note_limits(const line_reader& lines, gathered& to) {
  if (lines.passed_over() > 0)
    to.note(std::to_string(lines.passed_over()) + " lines longer than " +
            std::to_string(longest_line) + " bytes are not read");
  if (lines.cut())
    to.note("what lies behind the first " + std::to_string(longest_output) +
            " bytes is not read");
}

}  // namespace

void read_lines(const compiled_facts& all, std::string_view output,
                gathered& to) {
  const bool equals = all.format == output_format::equals;
  keyed_reader reader(all, to);
  line_reader lines(output);
  keyed_line parts;
  for (std::string_view line; !to.full() && lines.next(line);)
    if (equals ? split_key(line, parts) : split_source(line, parts))
      reader.read(parts);
  reader.finish();
  note_limits(lines, to);
}

void read_patterns(const compiled_facts& all, std::string_view output,
                   gathered& to) {
  line_reader lines(output);
  std::vector<std::size_t> found;
  groups matched;
  for (std::string_view line; !to.full() && lines.next(line);) {
    all.selectors->match(line, found);
    for (const std::size_t which : found) {
      const compiled_fact& fact = all.facts[which];
      if (match_groups(*fact.pattern, line, fact.pattern_groups, matched))
        to.add(which, fact.name.filled({}, matched),
               group_or_all(matched, fact.value_group, line));
    }
  }
  note_limits(lines, to);
}

}  // namespace zelk::facts
