#include <algorithm>

#include "src/check/page/cells.h"
#include "src/check/page/sections.h"
#include "src/check/page/wording.h"

namespace zelk::check::html {

namespace {

struct answer_words {
  cell_state look;
  const char* word;
};

answer_words words_of(const coverage_group& of) {
  if (of.stale) return {cell_state::stale, "too old"};
  switch (of.what) {
    case answer::ok:
      return {cell_state::ok, "answered"};
    case answer::not_applicable:
      return {cell_state::not_applicable, "not applicable"};
    case answer::tool_missing:
      return {cell_state::not_applicable, "a tool is missing"};
    case answer::no_permission:
      return {cell_state::not_applicable, "no permission"};
    case answer::incomplete:
      return {cell_state::error, "incomplete"};
    case answer::failed:
      return {cell_state::error, "failed"};
    case answer::timed_out:
      return {cell_state::timeout, "timed out"};
    case answer::missing:
      return {cell_state::no_data, "no answer"};
    case answer::not_expected:
      return {cell_state::not_applicable, "not asked"};
  }
  return {cell_state::error, "failed"};
}

// Whether somebody may have to do something about it.
bool is_gap(const coverage_group& of) {
  return badness(words_of(of).look) > badness(cell_state::not_applicable);
}

void write_row(markup& out, const page_view& view, const coverage_group& of) {
  const answer_words words = words_of(of);
  const element row(out, "tr",
                    {{"data-s", look_of(words.look).key.text()},
                     {"data-n", folded(of.nodes)}});
  {
    const element cell(out, "td");
    badge(out, words.look, words.word);
  }
  {
    const element cell(out, "th", {{"scope", "row"}});
    out.text(of.provider.empty() ? std::string("everything")
                                 : clipped(of.provider, 80));
    if (!of.option.empty())
      out.leaf("span", {{"class", "muted"}}, ' ' + clipped(of.option, 60));
  }
  {
    const element cell(out, "td");
    write_nodes(out, view, of.nodes);
  }
  out.leaf("td", {{"class", "evidence"}}, clipped(of.reason, 500));
}

void write_groups(markup& out, const page_view& view, std::string_view caption,
                  const std::vector<const coverage_group*>& groups) {
  if (groups.empty()) return;
  const std::size_t shown = std::min(groups.size(), view.limits.coverage_rows);
  {
    const element box(out, "div", {{"class", "scroll"}});
    const element table(out, "table",
                        {{"class", "list sortable"}, {"data-filter", "rows"}});
    write_table_head(out, caption, {"what", "provider", "nodes", "why"});
    const element body(out, "tbody");
    for (std::size_t i = 0; i < shown; ++i)
      write_row(out, view, *groups[i]);
  }
  write_more(out, groups.size() - shown, "more are left out here");
}

void write_unread(markup& out, const page_view& view) {
  if (view.what.unread.empty()) return;
  const std::size_t shown =
      std::min(view.what.unread.size(), view.limits.coverage_rows);
  out.leaf("h3", {}, "Could not be read out of an answer");
  {
    const element box(out, "div", {{"class", "scroll"}});
    const element table(out, "table", {{"class", "list sortable"}});
    write_table_head(out, "Facts that could not be read",
                     {"provider", "fact", "#nodes", "why"});
    const element body(out, "tbody");
    for (std::size_t i = 0; i < shown; ++i) {
      const unread_fact& one = view.what.unread[i];
      const element row(out, "tr");
      out.leaf("th", {{"scope", "row"}}, clipped(one.provider, 80));
      out.leaf("td", {}, clipped(one.name, 160));
      out.leaf("td", {{"class", "num"}}, count_text(one.nodes.size()));
      out.leaf("td", {{"class", "evidence"}}, clipped(one.reason, 500));
    }
  }
  write_more(out, view.what.unread.size() - shown, "more are left out here");
}

void write_small_classes(markup& out, const page_view& view) {
  const bool any =
      std::any_of(view.what.classes.begin(), view.what.classes.end(),
                  [](const class_view& one) { return !one.comparable; });
  if (!any) return;
  out.leaf("h3", {}, "Without peers to compare with");
  const element list(out, "ul", {{"class", "plain"}});
  for (const class_view& one : view.what.classes) {
    if (one.comparable) continue;
    const element item(out, "li");
    out.raw("class ").text(clipped(one.name, 60)).raw(": ");
    write_nodes(out, view, one.nodes);
    out.raw(" \u00b7 ").text(clipped(one.why_not, 300));
  }
}

void write_accepted_row(markup& out, const page_view& view,
                        const finding& one) {
  const element row(out, "tr");
  out.leaf("th", {{"scope", "row"}}, clipped(one.check, 80));
  {
    const element cell(out, "td");
    write_nodes(out, view, one.nodes);
  }
  out.leaf("td", {{"class", "evidence"}},
           clipped(one.message, view.limits.text_bytes));
  out.leaf("td", {},
           one.accepted ? clipped(one.accepted->reason, 500) : std::string());
  out.leaf("td", {},
           one.accepted ? clipped(one.accepted->who, 80) : std::string());
  const element cell(out, "td");
  if (!one.accepted) return;
  if (one.accepted->until_usec == 0)
    out.raw("for good");
  else
    write_time(out, one.accepted->until_usec);
}

void write_accepted(markup& out, const page_view& view) {
  if (view.what.accepted.empty()) return;
  const std::size_t shown =
      std::min(view.what.accepted.size(), view.limits.coverage_rows);
  out.leaf("h3", {{"id", "accepted"}}, "Found, and accepted");
  {
    const element box(out, "div", {{"class", "scroll"}});
    const element table(out, "table", {{"class", "list sortable"}});
    write_table_head(out, "Accepted findings",
                     {"check", "nodes", "evidence", "reason", "who", "until"});
    const element body(out, "tbody");
    for (std::size_t i = 0; i < shown; ++i)
      write_accepted_row(out, view, view.what.accepted[i]);
  }
  write_more(out, view.what.accepted.size() - shown, "more are left out here");
}

}  // namespace

void write_not_judged(markup& out, const page_view& view) {
  const element section(out, "section",
                        {{"id", "not-judged"}, {"aria-labelledby", "h-not"}});
  std::vector<const coverage_group*> gaps, calm;
  for (const coverage_group& one : view.what.coverage)
    (is_gap(one) ? gaps : calm).push_back(&one);
  section_head(
      out, "h-not", "Not judged",
      gaps.empty() && view.what.unread.empty()
          ? "Everything expected was judged."
          : "What is listed here is not fine: nothing is known of it.");
  write_groups(out, view, "No answer, timed out, failed or too old", gaps);
  write_unread(out, view);
  write_small_classes(out, view);
  write_accepted(out, view);
  if (calm.empty()) return;
  out.leaf("h3", {}, "Does not apply");
  write_groups(out, view, "Does not apply", calm);
}

}  // namespace zelk::check::html
