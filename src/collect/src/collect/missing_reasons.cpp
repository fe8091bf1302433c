#include "src/collect/src/collect/missing_reasons.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "src/collect/src/collect/limit_text.h"
#include "src/common/str/str.h"

namespace zelk::collect {

namespace {

// The worker's last word on an option set that it could not run or deliver; the
// line in front of it says why.
constexpr std::array<std::string_view, 4> last_words = {
    "Error parsing the XML file",
    "Please check min_nodes, max_nodes and nodefile",
    "Some other error running the provider",
    "Error accumulating provider output.",
};
constexpr std::string_view architecture_differs =
    "The system does not match the architecture required by ";
constexpr std::string_view cannot_open = "Could not open '";
constexpr std::string_view skipping = "'. Skipping...";
// Told at the level that tells of architectures; the result has it, too.
constexpr std::string_view own_status = "exit status from data provider '";

// What it says when it is asked to end, as we do.
constexpr std::string_view asked_to_end =
    "zelk_run_provider: caught signal. Cleaning up.";

// Its exit status when it could not begin, and those of a signal that it caught
// (zelk_run_provider(1)).
constexpr int worker_set_up_failed = 1;
constexpr int worker_interrupted = 2;
constexpr int worker_terminated = 15;

bool is_last_word(std::string_view line) {
  return std::find(last_words.begin(), last_words.end(), line) !=
         last_words.end();
}

std::string_view without_end(std::string_view line) {
  while (!line.empty() && (line.back() == '\r' || line.back() == ' '))
    line.remove_suffix(1);
  return line;
}

std::vector<std::string> lines_of(std::string_view text) {
  std::vector<std::string> lines = str::split(text, '\n');
  std::vector<std::string> kept;
  for (const std::string& line : lines)
    if (const std::string_view whole = without_end(line); !whole.empty())
      kept.emplace_back(whole);
  return kept;
}

std::string printable(std::string_view line) {
  std::string text(line);
  for (char& c : text)
    if (static_cast<unsigned char>(c) < ' ' || c == 0x7f) c = '?';
  return text;
}

const planned_provider* provider_named(const plan& made,
                                       const std::string& name) {
  for (const planned_provider& each : made.providers)
    if (each.name == name) return &each;
  return nullptr;
}

// One worker that ended by itself: its lines, matched with what is missing.
class worker_story {
 public:
  worker_story(const std::vector<expected_result>& missing, const plan& made)
      : missing_(missing), made_(made), reasons_(missing.size()) {}

  std::vector<why> tell(std::string_view errors);

 private:
  void take(const std::string& line);
  void explain(std::size_t place, shortfall kind, const std::string& text);
  // The first one of that stem that has no reason; of "" the first of all.
  std::size_t next(std::string_view stem) const;
  std::string_view stem_of(const expected_result& what) const;
  std::string_view stem_named_in(const std::string& line) const;
  void skip_architecture(std::string_view stem);
  void skip_description(std::string_view path);

  const std::vector<expected_result>& missing_;
  const plan& made_;
  std::vector<why> reasons_;
  std::string before_;  // the line in front of a last word
};

std::string_view worker_story::stem_of(const expected_result& what) const {
  const planned_provider* provider = provider_named(made_, what.provider);
  return provider == nullptr ? std::string_view(what.provider)
                             : std::string_view(provider->stem);
}

std::size_t worker_story::next(std::string_view stem) const {
  for (std::size_t i = 0; i < missing_.size(); ++i)
    if (reasons_[i].reason.empty() &&
        (stem.empty() || stem_of(missing_[i]) == stem))
      return i;
  return missing_.size();
}

void worker_story::explain(std::size_t place, shortfall kind,
                           const std::string& text) {
  if (place >= reasons_.size()) return;
  reasons_[place] = {kind, text, text, false};
}

// The path of a description, or a name in quotes.
std::string_view worker_story::stem_named_in(const std::string& line) const {
  for (const expected_result& what : missing_) {
    const planned_provider* each = provider_named(made_, what.provider);
    if (each == nullptr) continue;
    if (line.find("/" + each->stem + ".xml") != line.npos ||
        line.find("'" + each->name + "'") != line.npos)
      return each->stem;
  }
  return "";
}

void worker_story::skip_architecture(std::string_view stem) {
  std::string text = "the machine is of another architecture";
  for (const planned_provider& each : made_.providers)
    if (each.stem == stem && each.architecture != "any")
      text = "runs only on " + each.architecture;
  explain(next(stem), shortfall::not_required, text);
}

void worker_story::skip_description(std::string_view path) {
  const std::string base = str::basename(path);
  for (std::size_t i = 0; i < missing_.size(); ++i)
    if (stem_of(missing_[i]) == base.substr(0, base.rfind('.')))
      explain(i, shortfall::failed,
              "cannot read its description " + std::string(path));
}

void worker_story::take(const std::string& line) {
  const std::string_view view = line;
  if (view.starts_with(architecture_differs))
    return skip_architecture(view.substr(architecture_differs.size()));
  if (view.starts_with(cannot_open) && view.ends_with(skipping))
    return skip_description(
        view.substr(cannot_open.size(),
                    view.size() - cannot_open.size() - skipping.size()));
  if (!is_last_word(view)) {
    if (!view.starts_with(own_status)) before_ = printable(line);
    return;
  }
  std::size_t place = next(before_.empty() ? "" : stem_named_in(before_));
  if (place == missing_.size()) place = next("");
  explain(place, shortfall::failed, before_.empty() ? line : before_);
  before_.clear();
}

std::vector<why> worker_story::tell(std::string_view errors) {
  for (const std::string& line : lines_of(errors))
    take(line);
  for (std::size_t i = 0; i < reasons_.size(); ++i)
    if (reasons_[i].reason.empty())
      explain(i, shortfall::no_result,
              "the worker ended without an error, but no result came");
  return std::move(reasons_);
}

std::string tried(const launch_facts& facts) {
  if (facts.tries < 2) return "";
  return fmt::format(" ({} tries)", facts.tries);
}

std::vector<why> same_for_all(std::size_t count, shortfall kind,
                              const std::string& reason,
                              const std::string& common) {
  return std::vector<why>(count, why{kind, reason, common, true});
}

// A flat switch: one line an ending.
shortfall kind_of(ending how) {
  switch (how) {
    case ending::no_route:
    case ending::unknown_host:
    case ending::refused:
    case ending::connect_timeout:
      return shortfall::no_answer;
    case ending::host_key:
      return shortfall::host_key;
    case ending::login:
      return shortfall::no_login;
    case ending::program_missing:
      return shortfall::no_worker;
    case ending::wrong_version:
      return shortfall::wrong_version;
    case ending::signalled:
      return shortfall::killed;
    case ending::timed_out:
      return shortfall::timed_out;
    case ending::stopped:
      return shortfall::stopped;
    case ending::lost:
      return shortfall::lost;
    case ending::launcher_failed:
      return shortfall::not_launched;
    case ending::exited:
      return shortfall::no_result;
  }
  return shortfall::no_result;
}

std::string limit_of(const plan& made, const expected_result& what,
                     bool typed) {
  const planned_provider* const provider = provider_named(made, what.provider);
  if (provider == nullptr) return "no limit is known";
  for (const option_set& set : provider->options)
    if (set.id == what.option) return limit_text(set, typed);
  return "no limit is known";
}

std::vector<why> of_time_out(const std::vector<expected_result>& missing,
                             const plan& made, const launch_facts& facts) {
  std::vector<why> reasons;
  std::string text = fmt::format(
      "stopped after {:.0f} s ({})", std::round(facts.last_provider_took),
      limit_of(made, missing.front(), facts.limit_typed));
  reasons.push_back({shortfall::timed_out, text, text, false});
  text = "not begun: the worker was stopped at its time limit";
  reasons.resize(missing.size(), {shortfall::timed_out, text, text, false});
  return reasons;
}

std::vector<why> of_failed_worker(const launch_outcome& outcome,
                                  std::size_t count) {
  if (outcome.status == worker_interrupted ||
      outcome.status == worker_terminated) {
    const std::string text =
        fmt::format("the worker got signal {}", outcome.status);
    return same_for_all(count, shortfall::killed, text, text);
  }
  const std::vector<std::string> lines = other_lines(outcome.errors);
  const bool begun = outcome.status != worker_set_up_failed;
  const std::string text = fmt::format(
      "the worker {} (exit status {}){}", begun ? "ended" : "could not begin",
      outcome.status, lines.empty() ? "" : ": " + lines.back());
  return same_for_all(count, shortfall::failed, text, text);
}

}  // namespace

std::vector<why> reasons_of(const launch_outcome& outcome,
                            const std::vector<expected_result>& missing,
                            const plan& made, const launch_facts& facts) {
  if (missing.empty()) return {};
  if (outcome.how == ending::timed_out)
    return of_time_out(missing, made, facts);
  if (outcome.how == ending::exited) {
    if (outcome.status != 0) return of_failed_worker(outcome, missing.size());
    return worker_story(missing, made).tell(outcome.errors);
  }
  const std::string reason = outcome.reason.empty() ? ending_name(outcome.how)
                                                    : printable(outcome.reason);
  const std::string common =
      outcome.common_reason.empty() ? reason : printable(outcome.common_reason);
  return same_for_all(missing.size(), kind_of(outcome.how),
                      reason + tried(facts), common + tried(facts));
}

bool is_silence(ending how) {
  return kind_of(how) == shortfall::no_answer || how == ending::lost;
}

std::vector<std::string> other_lines(std::string_view errors) {
  std::vector<std::string> kept;
  for (const std::string& line : lines_of(errors)) {
    const std::string_view view = line;
    if (is_last_word(view) || view == asked_to_end ||
        view.starts_with(architecture_differs) ||
        view.starts_with(own_status) ||
        (view.starts_with(cannot_open) && view.ends_with(skipping)))
      continue;
    kept.push_back(printable(line));
  }
  return kept;
}

}  // namespace zelk::collect
