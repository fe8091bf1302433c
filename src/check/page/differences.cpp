// Facts that part a class in the same way are told together: a node with
// another firmware differs in a dozen facts for one reason, and a reader wants
// to see it once. Facts that part it in a way of their own share a table, a row
// each.

#include <algorithm>
#include <map>

#include "src/check/page/sections.h"
#include "src/check/page/word_marks.h"
#include "src/check/page/wording.h"

namespace zelk::check::html {

namespace {

// A text longer than this is compared by its beginning only.
constexpr std::size_t most_compared = 65536;
// What is the same is cut where it is longer; this much stays at both ends.
constexpr std::size_t longest_same = 120;
constexpr std::size_t kept_end = 40;

// Differences of one class with the same groups of nodes.
struct parting {
  std::vector<const difference*> facts;
};

std::string key_of(const difference& one) {
  std::string key = one.class_name;
  for (const auto& [value, nodes] : one.groups) {
    key += '\n';
    for (const std::string& node : nodes)
      key += node + ' ';
  }
  return key;
}

std::vector<parting> partings_of(const judgement& what) {
  std::vector<parting> out;
  std::map<std::string, std::size_t> places;
  for (const difference& one : what.differences) {
    if (one.groups.empty()) continue;
    const auto [found, is_new] = places.emplace(key_of(one), out.size());
    if (is_new) out.emplace_back();
    out[found->second].facts.push_back(&one);
  }
  return out;
}

std::size_t character_start(std::string_view text, std::size_t at) {
  while (at > 0 && at < text.size() &&
         (static_cast<unsigned char>(text[at]) & 0xc0U) == 0x80)
    --at;
  return at;
}

void write_same(markup& out, std::string_view text) {
  if (text.size() <= longest_same) {
    out.text(text);
    return;
  }
  out.text(text.substr(0, character_start(text, kept_end)));
  out.leaf("span", {{"class", "cut"}}, " \u2026 ");
  out.text(text.substr(character_start(text, text.size() - kept_end)));
}

// `text` with the words marked that `other` has not, up to what is shown.
void write_marked(markup& out, const page_view& view, std::string_view text,
                  std::string_view other) {
  const element value(out, "span", {{"class", "value"}});
  const std::size_t start = out.size();
  for (const marked_words& piece : word_marks(text.substr(0, most_compared),
                                              other.substr(0, most_compared))) {
    if (!piece.differs)
      write_same(out, piece.text);
    else
      out.leaf("mark", {}, clipped(piece.text, view.limits.text_bytes));
    if (out.size() - start < view.limits.text_bytes) continue;
    out.raw(" \u2026");
    return;
  }
}

bool is_absent(const difference& of, std::size_t group) {
  return of.absent && *of.absent == group;
}

void write_group_value(markup& out, const page_view& view, const difference& of,
                       std::size_t group, std::size_t against) {
  const std::string& text = of.groups[group].first;
  if (is_absent(of, group)) {
    out.leaf("em", {{"class", "muted"}}, "not there");
  } else if (text.empty()) {
    out.leaf("em", {{"class", "muted"}}, "(empty)");
  } else if (is_absent(of, against) || group == against) {
    write_value(out, clipped(text, view.limits.text_bytes));
  } else {
    write_marked(out, view, text, of.groups[against].first);
  }
  const std::string_view unit = unit_behind(text, of.unit);
  if (!unit.empty() && !is_absent(of, group))
    out.raw(" ").leaf("span", {{"class", "muted"}}, clipped(unit, 20));
}

void write_fact_name(markup& out, const difference& of) {
  const element cell(out, "th", {{"scope", "row"}});
  out.leaf("code", {}, clipped(of.fact, 160));
  if (!of.option.empty())
    out.leaf("span", {{"class", "muted"}}, ' ' + clipped(of.option, 60));
}

std::string size_words(const std::vector<std::string>& nodes) {
  return nodes.size() == 1 ? clipped(nodes.front(), 60)
                           : count_text(nodes.size(), "node");
}

// Two groups: a table of facts, the values side by side.
void write_pair_rows(markup& out, const page_view& view, const parting& of,
                     std::size_t from, std::size_t to) {
  const difference& first = *of.facts.front();
  const element box(out, "div", {{"class", "scroll"}});
  const element table(out, "table", {{"class", "list diff"}});
  out.leaf("caption", {{"class", "sr"}}, "Facts that differ");
  {
    const element head(out, "thead");
    const element row(out, "tr");
    out.leaf("th", {{"scope", "col"}}, "fact");
    out.leaf("th", {{"scope", "col"}}, size_words(first.groups[0].second));
    out.leaf("th", {{"scope", "col"}}, size_words(first.groups[1].second));
  }
  const element body(out, "tbody");
  for (std::size_t i = from; i < to; ++i) {
    const difference& one = *of.facts[i];
    const element row(out, "tr");
    write_fact_name(out, one);
    {
      const element cell(out, "td");
      write_group_value(out, view, one, 0, 0);
    }
    const element cell(out, "td", {{"class", "odd"}});
    write_group_value(out, view, one, 1, 0);
  }
}

// A card that is gone is sixty facts that are not there: the first say it, the
// others are there for whoever asks, and not on paper.
void write_pair(markup& out, const page_view& view, const parting& of) {
  constexpr std::size_t most = 8;
  const std::size_t all = of.facts.size();
  const std::size_t shown = all <= most + 2 ? all : most;
  write_pair_rows(out, view, of, 0, shown);
  if (shown == all) return;
  const element details(out, "details", {{"class", "more"}});
  out.leaf("summary", {}, count_text(all - shown, "more fact"));
  write_pair_rows(out, view, of, shown, all);
}

void write_single_row(markup& out, const page_view& view,
                      const difference& one) {
  const element row(out, "tr", {{"data-n", folded(one.groups[1].second)}});
  write_fact_name(out, one);
  {
    const element cell(out, "td");
    write_group_value(out, view, one, 0, 0);
    out.raw(" ").leaf("span", {{"class", "muted"}},
                      "\u2014 " + size_words(one.groups[0].second));
  }
  {
    const element cell(out, "td");
    write_nodes(out, view, one.groups[1].second);
  }
  const element cell(out, "td", {{"class", "odd"}});
  write_group_value(out, view, one, 1, 0);
}

// Facts with two groups that no other fact has.
void write_singles(markup& out, const page_view& view,
                   const std::string& class_name,
                   const std::vector<const difference*>& facts) {
  const element article(out, "article", {{"class", "parting"}});
  out.leaf("h3", {},
           class_name.empty()
               ? "One fact each"
               : "Class " + clipped(class_name, 60) + ", one fact each");
  const element box(out, "div", {{"class", "scroll"}});
  const element table(
      out, "table", {{"class", "list diff sortable"}, {"data-filter", "rows"}});
  write_table_head(out, "Facts that differ",
                   {"fact", "most have", "but", "have"});
  const element body(out, "tbody");
  for (const difference* one : facts)
    write_single_row(out, view, *one);
}

// More groups: one under the other, all marked against the largest.
void write_groups(markup& out, const page_view& view, const difference& of) {
  const std::size_t shown =
      std::min(of.groups.size(), view.limits.value_groups);
  {
    const element box(out, "div", {{"class", "scroll"}});
    const element table(out, "table", {{"class", "list diff"}});
    out.leaf("caption", {}, clipped(of.fact, 160));
    const element body(out, "tbody");
    for (std::size_t i = 0; i < shown; ++i) {
      const element row(out, "tr", {{"class", i == 0 ? "most" : "odd"}});
      {
        const element cell(out, "td");
        write_group_value(out, view, of, i, 0);
      }
      const element cell(out, "td");
      write_nodes(out, view, of.groups[i].second);
    }
  }
  write_more(out, of.groups.size() - shown, "more values are left out here");
}

void write_heading(markup& out, const page_view& view, const parting& of) {
  const difference& first = *of.facts.front();
  const element head(out, "h3");
  if (first.groups.size() == 2) {
    write_nodes(out, view, first.groups[1].second);
  } else {
    out.text(count_text(first.groups.size(), "value"));
  }
  const element note(out, "span", {{"class", "muted"}});
  if (first.groups.size() == 2)
    out.text(" unlike " + count_text(first.groups[0].second.size(), "node"));
  if (!first.class_name.empty())
    out.raw(" of class ").text(clipped(first.class_name, 60));
  if (of.facts.size() > 1)
    out.text(" in " + count_text(of.facts.size(), "fact"));
}

void write_parting(markup& out, const page_view& view, const parting& of) {
  const difference& first = *of.facts.front();
  std::vector<std::string> odd;
  for (std::size_t i = 1; i < first.groups.size(); ++i)
    odd.insert(odd.end(), first.groups[i].second.begin(),
               first.groups[i].second.end());
  const element article(out, "article",
                        {{"class", "parting"}, {"data-n", folded(odd)}});
  write_heading(out, view, of);
  if (first.groups.size() == 2) {
    write_pair(out, view, of);
    return;
  }
  for (const difference* one : of.facts)
    write_groups(out, view, *one);
}

}  // namespace

void write_differences(markup& out, const page_view& view) {
  const element section(out, "section",
                        {{"id", "differences"}, {"aria-labelledby", "h-diff"}});
  const std::vector<parting> partings = partings_of(view.what);
  std::string lead;
  if (view.what.differences.empty())
    lead = "Within their class all nodes are alike.";
  else
    lead = count_text(view.what.differences.size(), "fact") +
           (view.what.differences.size() == 1 ? " differs" : " differ") +
           " within a class; what most nodes have stands first, and words that "
           "differ are marked.";
  if (view.what.equal_facts > 0)
    lead += ' ' + count_text(view.what.equal_facts, "fact") +
            (view.what.equal_facts == 1 ? " is" : " are") +
            " the same on all nodes of every class.";
  section_head(out, "h-diff", "Differences from peers", lead);
  const std::size_t shown = std::min(partings.size(), view.limits.differences);
  std::map<std::string, std::vector<const difference*>> singles;
  {
    const element list(out, "div", {{"data-filter", "cards"}});
    for (std::size_t i = 0; i < shown; ++i) {
      const difference& first = *partings[i].facts.front();
      if (partings[i].facts.size() == 1 && first.groups.size() == 2)
        singles[first.class_name].push_back(&first);
      else
        write_parting(out, view, partings[i]);
    }
  }
  for (const auto& [class_name, facts] : singles)
    write_singles(out, view, class_name, facts);
  write_more(out, partings.size() - shown, "more groups are left out here");
}

}  // namespace zelk::check::html
