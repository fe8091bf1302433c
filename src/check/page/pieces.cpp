#include "src/check/page/cells.h"
#include "src/check/page/sections.h"
#include "src/check/page/wording.h"
#include "src/common/text/time_text.h"

namespace zelk::check::html {

void section_head(markup& out, literal id, std::string_view heading,
                  std::string_view lead) {
  out.leaf("h2", {{"id", id.text()}}, heading);
  if (!lead.empty()) out.leaf("p", {{"class", "lead"}}, lead);
}

void write_node(markup& out, const page_view& view, const std::string& name) {
  const node_view* node = view.node(name);
  const std::string shown = clipped(name, 120);
  if (node != nullptr && view.has_section(*node))
    out.leaf("a", {{"class", "node"}, {"href", '#' + anchor_of("n", name)}},
             shown);
  else
    out.leaf("span", {{"class", "node"}}, shown);
}

void write_nodes(markup& out, const page_view& view,
                 const std::vector<std::string>& nodes) {
  const element group(out, "span", {{"class", "set"}});
  if (nodes.size() == 1) {
    write_node(out, view, nodes.front());
    return;
  }
  out.leaf("span", {{"class", "count"}}, count_text(nodes.size(), "node"));
  out.raw(" ");
  // What is copied is pasted: names that no command can take stand beside it.
  constexpr std::size_t most_odd_names = 8;
  const names_apart names = apart(nodes);
  if (!names.fit.empty())
    out.leaf("code", {{"class", "copy"}},
             clipped(folded(names.fit), view.limits.folded_bytes));
  for (std::size_t i = 0; i < names.odd.size() && i < most_odd_names; ++i) {
    out.raw(" ");
    write_node(out, view, names.odd[i]);
  }
  if (names.odd.size() > most_odd_names)
    out.text(" and " + count_text(names.odd.size() - most_odd_names) + " more");
}

void write_finding_link(markup& out, const page_view& view,
                        std::uint32_t finding) {
  out.leaf("a", {{"class", "check"}, {"href", '#' + view.anchor(finding)}},
           clipped(view.what.findings[finding].check, 80));
}

void write_time(markup& out, std::int64_t usec) {
  if (usec <= 0) {
    out.text("unknown");
    return;
  }
  out.leaf("time", {{"datetime", text::utc_time(usec)}},
           text::local_time(usec));
}

void write_run(markup& out, const run_info& run) {
  out.raw("run ").text(std::to_string(run.number));
  if (!run.label.empty())
    out.raw(" \u201c").text(clipped(run.label, 80)).raw("\u201d");
}

std::string datastore_words(const page_options& options) {
  return options.same_datastore.empty() ? "" : " " + options.same_datastore;
}

void write_command(markup& out, std::string_view command) {
  out.leaf("code", {{"class", "command copy"}}, clipped(command, 2000));
}

void write_value(markup& out, std::string_view text) {
  out.leaf("span", {{"class", "value"}},
           text.empty() ? std::string_view("(empty)") : text);
}

void write_more(markup& out, std::size_t more, std::string_view what) {
  if (more == 0) return;
  out.leaf("p", {{"class", "muted"}},
           count_text(more) + ' ' + std::string(what) + '.');
}

void write_table_head(markup& out, std::string_view caption,
                      std::initializer_list<literal> columns) {
  out.leaf("caption", {{"class", "sr"}}, caption);
  const element head(out, "thead");
  const element row(out, "tr");
  for (const literal& column : columns) {
    std::string_view name = column.text();
    const bool number = name.starts_with('#');
    if (number) name.remove_prefix(1);
    out.leaf("th", {{"scope", "col"}, {"class", number ? "num" : "txt"}}, name);
  }
}

}  // namespace zelk::check::html
