#include "src/collect/src/reading/run_selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>

#include "src/collect/src/reading/baseline.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/str/nearest_word.h"
#include "src/common/text/size_text.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::reading {

namespace {

using accumulate::run;
using datastore::database;

constexpr std::string_view label_prefix = "label:";
constexpr std::string_view latest_prefix = "latest~";
constexpr std::string_view range_mark = "..";
constexpr std::string_view baseline_word = "baseline";

// Candidates in one message.
constexpr std::size_t most_shown = 5;

bool is_number(std::string_view text, std::int64_t& number) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return !text.empty() && error == std::errc() && stop == end && number >= 0;
}

std::vector<std::string> labels(database& base) {
  datastore::statement query(base,
                             "SELECT DISTINCT label FROM v_run WHERE label <> "
                             "'' ORDER BY label");
  std::vector<std::string> found;
  while (query.step())
    found.emplace_back(query.bytes(0));
  return found;
}

std::string listed(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < std::min(words.size(), most_shown); ++i)
    text += (i == 0 ? "" : ", ") + text::visible_text(words[i]);
  return words.size() > most_shown ? text + ", ..." : text;
}

std::string candidate_labels(database& base, std::string_view label) {
  const std::vector<std::string> known = labels(base);
  if (known.empty()) return "no run has a label";
  const std::string nearest = str::nearest_word(label, known);
  if (!nearest.empty())
    return "did you mean 'label:" + text::visible_text(nearest) + "'?";
  return "labels are " + listed(known);
}

// The runs that started last before `usec` and first behind it.
std::string neighbours(database& base, std::int64_t usec) {
  std::string text;
  accumulate::run_filter before;
  before.started_until_usec = usec;
  before.limit = 1;
  for (const run& each : accumulate::list_runs(base, before))
    text = "before it is " + name_of_run(each);
  accumulate::run_filter behind;
  behind.started_from_usec = usec;
  const std::vector<run> later = accumulate::list_runs(base, behind);
  if (!later.empty())
    text +=
        (text.empty() ? "" : ", ") + ("behind it " + name_of_run(later.back()));
  return text;
}

// What is in the datastore, when nothing is near.
std::string extent(database& base) {
  const std::int64_t count = base.integer("SELECT count(*) FROM v_run");
  if (count == 0) return "the datastore holds no run";
  return fmt::format("the datastore holds {}, {} to {}",
                     text::counted(count, "run"),
                     base.integer("SELECT min(run) FROM v_run"),
                     base.integer("SELECT max(run) FROM v_run"));
}

std::string candidates(database& base, std::string_view text) {
  if (text.starts_with(label_prefix))
    return candidate_labels(base, text.substr(label_prefix.size()));
  if (const std::optional<text::time_span> day =
          text::read_time(text, text::now_usec()))
    if (std::string near = neighbours(base, day->from_usec); !near.empty())
      return near;
  return extent(base);
}

bool is_form_of_one(std::string_view text) {
  std::int64_t number = 0;
  const bool back = text.starts_with(latest_prefix) &&
                    is_number(text.substr(latest_prefix.size()), number);
  const bool day = text.size() == 10 && text::read_time(text, 0).has_value();
  const bool label =
      text.starts_with(label_prefix) && text.size() > label_prefix.size();
  return back || day || label || text == "latest" || text == baseline_word ||
         is_number(text, number);
}

[[noreturn]] void refuse_form(database& base, std::string_view text) {
  const std::string typed = text::visible_text(text);
  if (text.starts_with("now-") || text == "now" ||
      text.find(range_mark) != text.npos)
    throw refusal("'" + typed +
                  "' names a time or a range, and one run is "
                  "wanted here");
  const std::vector<std::string> known = labels(base);
  if (std::find(known.begin(), known.end(), text) != known.end())
    throw refusal("'" + typed + "' is not a run; did you mean 'label:" + typed +
                  "'?");
  const std::string nearest =
      str::nearest_word(text, {"latest", std::string(baseline_word)});
  if (!nearest.empty())
    throw refusal("'" + typed + "' is not a run; did you mean '" + nearest +
                  "'?");
  throw refusal("'" + typed +
                "' is not a run: a number, latest, latest~N, label:NAME, "
                "baseline or a day such as 2025-11-20");
}

run checked(database& base, std::string_view text, std::optional<run> found) {
  if (found) return *found;
  throw refusal("There is no run '" + text::visible_text(text) +
                "': " + candidates(base, text));
}

run marked_run(database& base) {
  const std::optional<std::int64_t> number = marked_baseline(base);
  if (!number)
    throw refusal(
        "No run is marked as the baseline; 'zelk-db baseline set RUN' marks "
        "one");
  return checked(base, baseline_word, accumulate::find_run(base, *number));
}

struct range {
  std::string_view first;
  std::string_view last;
};

std::optional<range> split_range(std::string_view text) {
  const std::size_t mark = text.find(range_mark);
  // A label may hold anything.
  if (mark == text.npos || text.starts_with(label_prefix)) return {};
  return range{text.substr(0, mark), text.substr(mark + range_mark.size())};
}

std::vector<run> runs_by_number(database& base, std::int64_t first,
                                std::int64_t last) {
  std::vector<run> found = accumulate::list_runs(base);
  std::erase_if(found, [&](const run& each) {
    return each.number < first || each.number > last;
  });
  return found;
}

std::vector<run> runs_by_time(database& base, std::string_view text,
                              const range& ends) {
  const std::int64_t present = text::now_usec();
  const std::optional<text::time_span> first =
      text::read_time(ends.first, present);
  const std::optional<text::time_span> last =
      text::read_time(ends.last, present);
  if (!first || !last)
    throw refusal("'" + text::visible_text(text) +
                  "' is not a range: A..B of numbers, days, now or now-7d");
  if (first->from_usec > last->until_usec)
    throw refusal("'" + text::visible_text(text) + "' ends before it begins");
  accumulate::run_filter filter;
  filter.started_from_usec = first->from_usec;
  filter.started_until_usec = last->until_usec;
  return accumulate::list_runs(base, filter);
}

std::vector<run> runs_in(database& base, std::string_view text,
                         const range& ends) {
  std::int64_t first = 0;
  std::int64_t last = 0;
  const bool numbers =
      is_number(ends.first, first) && is_number(ends.last, last);
  if (numbers && first > last)
    throw refusal("'" + text::visible_text(text) + "' ends before it begins");
  std::vector<run> found = numbers ? runs_by_number(base, first, last)
                                   : runs_by_time(base, text, ends);
  if (found.empty())
    throw refusal("There is no run in '" + text::visible_text(text) +
                  "': " + extent(base));
  return found;
}

}  // namespace

run select_run(database& base, std::string_view text) {
  if (text == baseline_word) return marked_run(base);
  if (!is_form_of_one(text)) refuse_form(base, text);
  return checked(base, text, accumulate::find_run(base, text));
}

std::vector<run> select_runs(database& base,
                             const std::vector<std::string>& texts) {
  std::vector<run> all;
  for (const std::string& text : texts) {
    if (const std::optional<range> ends = split_range(text)) {
      const std::vector<run> some = runs_in(base, text, *ends);
      all.insert(all.end(), some.begin(), some.end());
    } else {
      all.push_back(select_run(base, text));
    }
  }
  const auto place = [](const run& each) {
    return std::pair(each.started_usec, each.number);
  };
  std::sort(all.begin(), all.end(),
            [&](const run& a, const run& b) { return place(a) < place(b); });
  const auto same = [](const run& a, const run& b) {
    return a.number == b.number;
  };
  all.erase(std::unique(all.begin(), all.end(), same), all.end());
  return all;
}

std::string name_of_run(const run& run) {
  std::string text =
      fmt::format("run {} ({}", run.number, text::local_time(run.started_usec));
  if (!run.label.empty())
    text += fmt::format(", label '{}'", text::visible_text(run.label));
  return text + ")";
}

}  // namespace zelk::reading
