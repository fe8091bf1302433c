#include "src/check/page/sections.h"
#include "src/check/page/wording.h"
#include "src/common/text/time_text.h"

namespace zelk::check::html {

namespace {

void write_entry(markup& out, literal name, std::string_view text) {
  if (text.empty()) return;
  out.leaf("dt", {}, name.text());
  out.leaf("dd", {}, clipped(text, 2000));
}

void write_code(markup& out, literal name, std::string_view text) {
  if (text.empty()) return;
  out.leaf("dt", {}, name.text());
  const element dd(out, "dd");
  write_command(out, text);
}

std::string joined(const std::vector<std::string>& words) {
  std::string out;
  for (const std::string& word : words)
    out += (out.empty() ? "" : ", ") + clipped(word, 200);
  return out;
}

std::string age(std::int64_t usec) {
  constexpr std::int64_t day = 86400 * text::usec_per_sec;
  return usec % day == 0
             ? count_text(static_cast<std::size_t>(usec / day), "day")
             : text::short_duration(usec);
}

std::string rule_text(const judged_with& with) {
  std::string out = "robust z " + number_text(with.z) + ", and " +
                    number_text(with.min_effect) + " % from the median, of " +
                    count_text(with.min_peers) + " peers at least";
  if (!with.peers_by.empty()) out += "; peers by " + with.peers_by;
  if (with.max_age_usec > 0) out += "; too old after " + age(with.max_age_usec);
  return out;
}

std::string provider_text(const judgement& what) {
  std::string out;
  for (const auto& [name, version] : what.providers)
    out += (out.empty() ? "" : ", ") + clipped(name, 60) + " v" +
           std::to_string(version);
  return out;
}

// What a report was judged by can be found again by its hash.
void write_files(markup& out, const page_options& options) {
  if (options.file_hashes.empty()) return;
  out.leaf("h3", {}, "Files");
  const element box(out, "div", {{"class", "scroll"}});
  const element table(out, "table", {{"class", "list"}});
  write_table_head(out, "Files that this was made of", {"file", "hash"});
  const element body(out, "tbody");
  for (const auto& [name, hash] : options.file_hashes) {
    const element row(out, "tr");
    out.leaf("th", {{"scope", "row"}}, clipped(name, 300));
    const element cell(out, "td");
    out.leaf("code", {}, clipped(hash, 100));
  }
}

void write_classes(markup& out, const page_view& view) {
  if (view.what.classes.empty()) return;
  out.leaf("h3", {}, "Classes of like nodes");
  const element box(out, "div", {{"class", "scroll"}});
  const element table(out, "table", {{"class", "list"}});
  write_table_head(out, "Classes",
                   {"class", "nodes", "what they have in common"});
  const element body(out, "tbody");
  for (const class_view& one : view.what.classes) {
    const element row(out, "tr");
    out.leaf("th", {{"scope", "row"}}, clipped(one.name, 60));
    {
      const element cell(out, "td");
      write_nodes(out, view, one.nodes);
    }
    const element cell(out, "td", {{"class", "evidence"}});
    for (std::size_t i = 0; i < one.key.size() && i < 12; ++i) {
      if (i > 0) out.raw(" \u00b7 ");
      out.leaf("span", {{"class", "muted"}}, clipped(one.key[i].first, 80));
      out.raw(" ").text(clipped(one.key[i].second, 120));
    }
    if (!one.comparable) out.raw(" \u00b7 ").text(clipped(one.why_not, 200));
  }
}

}  // namespace

void write_how_made(markup& out, const page_view& view) {
  const judgement& what = view.what;
  const page_options& options = view.options;
  const element section(out, "section",
                        {{"id", "made"}, {"aria-labelledby", "h-made"}});
  section_head(out, "h-made", "How this was made", "");
  write_classes(out, view);
  {
    const element list(out, "dl", {{"class", "made"}});
    write_code(out, "Collected with", what.run.command_line);
    write_code(out, "Judged with", options.command_line);
    write_entry(out, "Rule for outliers", rule_text(what.with));
    write_entry(out, "Only checks", joined(what.with.checks));
    write_entry(out, "Without checks", joined(what.with.skipped));
    write_entry(out, "Fixed limits", joined(what.with.limits));
    write_entry(out, "Check definitions", joined(what.with.definition_files));
    write_entry(out, "Providers", provider_text(what));
    write_entry(out, "Configuration", options.configuration);
    write_entry(out, "Datastore", options.datastore);
    write_entry(out, "Run", what.run.uuid);
    write_entry(out, "Host", options.host);
    write_entry(out, "User", options.user);
    write_entry(out, "Program", options.program_version);
    out.leaf("dt", {}, "Judged");
    const element dd(out, "dd");
    write_time(out, what.now_usec);
  }
  write_files(out, options);
}

}  // namespace zelk::check::html
