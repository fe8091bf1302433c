#include "src/common/node/nodelist.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>
#include <utility>

#include "src/common/log/error_log.h"
#include "src/common/names/names.h"
#include "src/common/node/ranges.h"
#include "src/common/str/str.h"

namespace zelk::node {
namespace {

constexpr char source[] = "src/common/node/nodelist";

constexpr std::string_view byte_order_mark = "\xef\xbb\xbf";

constexpr std::size_t most_quoted = 64;  // bytes of an entry in a record

using note_map = std::map<std::string, std::string>;

// Bytes. A batch system's longest lines have some kilobytes; without a bound a
// device that never ends a line would be read until memory is gone.
constexpr std::size_t most_line = 1 << 20;

// The lines of a node file.
class line_reader {
 public:
  explicit line_reader(std::istream& in) : in_(in), line_(most_line + 1) {}

  // Goes to the next line; returns false behind the last one, and when the
  // next one is too long.
  bool next() {
    ++number_;
    in_.getline(line_.data(), static_cast<std::streamsize>(line_.size()));
    auto length = static_cast<std::size_t>(in_.gcount());
    too_long_ = in_.fail() && !in_.eof() && !in_.bad();
    if (in_.fail()) return false;
    if (!in_.eof()) --length;  // the newline is counted, not stored
    rest_ = {line_.data(), length};
    if (number_ == 1 && rest_.starts_with(byte_order_mark))
      rest_.remove_prefix(byte_order_mark.size());
    while (rest_.ends_with('\r'))
      rest_.remove_suffix(1);
    return true;
  }

  // Returns the line's next word, or "" at its end or at a comment.
  std::string_view word() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t"), rest_.size()));
    if (rest_.starts_with('#')) rest_ = {};
    const std::size_t end = std::min(rest_.find_first_of(" \t"), rest_.size());
    const std::string_view found = rest_.substr(0, end);
    rest_.remove_prefix(end);
    return found;
  }

  std::size_t number() const { return number_; }
  bool too_long() const { return too_long_; }

 private:
  std::istream& in_;
  std::vector<char> line_;
  std::string_view rest_;
  std::size_t number_ = 0;
  bool too_long_ = false;
};

// A word that stands behind a name, cut at its first "=".
struct note {
  std::string_view key;  // empty: the word is no note
  std::string_view value;
};

note parse_note(std::string_view word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string_view::npos) return {};
  return {word.substr(0, equals), word.substr(equals + 1)};
}

bool is_role(std::string_view name) {
  const std::array roles = {
      &role::default_subcluster,
      &role::boot,
      &role::compute,
      &role::enhanced,
      &role::external,
      &role::head,
      &role::job_schedule,
      &role::login,
      &role::network_address,
      &role::storage,
  };
  return std::any_of(roles.begin(), roles.end(),
                     [&](const std::string* known) { return *known == name; });
}

// Adds the roles of `more` that `roles` lacks. Names that are no roles are not
// added, so that a list stays short however often a node is named.
void add_roles(std::string& roles, std::string_view more) {
  std::vector<std::string> known = str::split(roles, ',');
  for (const std::string& name : str::split(more, ',')) {
    if (!is_role(name) || std::count(known.begin(), known.end(), name) != 0)
      continue;
    roles.append(",").append(name);
    known.push_back(name);
  }
}

void add_note(note_map& notes, std::string_view key, std::string_view value) {
  const auto [place, is_new] = notes.try_emplace(std::string(key), value);
  if (is_new) return;
  if (key == "role")
    add_roles(place->second, value);
  else
    place->second = value;
}

note_map read_notes(line_reader& line) {
  note_map notes;
  for (std::string_view word = line.word(); !word.empty(); word = line.word()) {
    const note found = parse_note(word);
    if (!found.key.empty()) add_note(notes, found.key, found.value);
  }
  return notes;
}

// Returns `entry` as a record may show it: short, and without the bytes that
// would play tricks on a terminal.
std::string quoted(std::string_view entry) {
  std::string text(entry.substr(0, most_quoted));
  for (char& c : text)
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
  if (entry.size() > most_quoted) text += "...";
  return "'" + text + "'";
}

std::uint32_t hash_of(const std::string& name) {
  return static_cast<std::uint32_t>(std::hash<std::string>()(name));
}

}  // namespace

Nodelist::Nodelist(std::string source_name) : source_(std::move(source_name)) {}

void Nodelist::parse(std::istream& in) {
  clear();
  line_reader line(in);
  range_budget budget;
  std::string problem;
  while (problem.empty() && line.next()) {
    const std::string_view entry = line.word();
    if (entry.empty()) continue;
    expansion made = expand_entry(entry, budget);
    problem = std::move(made.problem);
    const note_map notes = read_notes(line);
    for (std::string& name : made.names)
      add(std::move(name), notes);
    if (nodes_.size() > most_names && !is_plain_name(entry))
      problem = too_many_names;
    if (!problem.empty()) problem += " in " + quoted(entry);
  }
  if (problem.empty() && line.too_long())
    problem = "expected a line of at most 1048576 bytes";
  if (problem.empty() && in.bad()) problem = "expected a file that can be read";
  if (problem.empty()) return;
  clear();
  log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
      << source_ << ':' << line.number() << ": " << problem;
}

const node_entry* Nodelist::find(const std::string& name) const {
  if (nodes_.empty()) return nullptr;
  const std::uint32_t place = slots_[slot_of(name, hash_of(name))].place;
  return place == 0 ? nullptr : &nodes_[place - 1];
}

void Nodelist::clear() {
  nodes_.clear();
  slots_.clear();
}

void Nodelist::add(std::string name, const note_map& notes) {
  if (slots_.size() < 2 * (nodes_.size() + 1)) grow_slots();
  const std::uint32_t hash = hash_of(name);
  slot& found = slots_[slot_of(name, hash)];
  if (found.place == 0) {
    nodes_.push_back({std::move(name), notes});
    found = {static_cast<std::uint32_t>(nodes_.size()), hash};
    return;
  }
  for (const auto& [key, value] : notes)
    add_note(nodes_[found.place - 1].notes, key, value);
}

// Returns the slot that holds `name`, or else the free one where it belongs.
std::size_t Nodelist::slot_of(const std::string& name,
                              std::uint32_t hash) const {
  const std::size_t last = slots_.size() - 1;  // all bits set: a power of two
  std::size_t i = hash & last;
  for (; slots_[i].place != 0; i = (i + 1) & last)
    if (slots_[i].hash == hash && nodes_[slots_[i].place - 1].name == name)
      break;
  return i;
}

void Nodelist::grow_slots() {
  const std::vector<slot> old = std::move(slots_);
  slots_.assign(std::max<std::size_t>(64, 2 * old.size()), {});
  nodes_.reserve(slots_.size() / 2);
  const std::size_t last = slots_.size() - 1;
  for (const slot& s : old) {
    if (s.place == 0) continue;
    std::size_t i = s.hash & last;
    while (slots_[i].place != 0)
      i = (i + 1) & last;
    slots_[i] = s;
  }
}

std::vector<std::string> note_problems(std::istream& in,
                                       const std::string& source_name) {
  std::vector<std::string> problems;
  line_reader line(in);
  const auto report = [&](const std::string& what, std::string_view word) {
    problems.push_back(source_name + ":" + std::to_string(line.number()) +
                       ": expected " + what + ", not " + quoted(word));
  };
  while (line.next()) {
    line.word();
    for (std::string_view word = line.word(); !word.empty();
         word = line.word()) {
      const note found = parse_note(word);
      if (found.key != "role" && found.key != "subcluster" &&
          found.key != "class")
        report("role=..., subcluster=... or class=...", word);
      if (found.key != "role") continue;
      for (const std::string& name : str::split(found.value, ','))
        if (!is_role(name)) report("a role", name);
    }
  }
  return problems;
}

}  // namespace zelk::node
