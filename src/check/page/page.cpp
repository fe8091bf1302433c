#include "src/check/page/page.h"

#include <array>
#include <sstream>

#include "src/check/page/cells.h"
#include "src/check/page/figures.h"
#include "src/check/page/heat_rows.h"
#include "src/check/page/look.h"
#include "src/check/page/policy.h"
#include "src/check/page/redact.h"
#include "src/check/page/sections.h"
#include "src/check/page/strip_plot.h"
#include "src/check/page/view.h"
#include "src/check/page/wording.h"
#include "src/common/text/size_text.h"

namespace zelk::check {

namespace html {

namespace {

// A step towards a smaller page: what it takes away, and in which words.
struct reduction {
  const char* words;
  void (*apply)(page_limits&);
};

// What is missed least goes first. Findings, what was not judged and the map
// of all nodes stay to the end.
constexpr std::array reductions = {
    reduction{"the judgement as data (zelk-check --json has it)",
              [](page_limits& of) { of.json = false; }},
    reduction{"the heat map's line for every node",
              [](page_limits& of) { of.full_map = false; }},
    reduction{"what providers wrote to standard error",
              [](page_limits& of) { of.error_output = false; }},
    reduction{"all but 100 nodes one by one, and long texts",
              [](page_limits& of) {
                of.node_sections = 100;
                of.text_bytes = 500;
                of.folded_bytes = 300;
              }},
    reduction{"all but 60 groups of differences, 12 pictures of metrics, 100 "
              "other metrics and 100 rows of the heat map",
              [](page_limits& of) {
                of.differences = 60;
                of.strip_plots = 12;
                of.quiet_metrics = 100;
                of.heat_rows = 100;
                of.status_rows = 60;
              }},
    reduction{"all but 200 findings and 50 rows of what was not judged",
              [](page_limits& of) {
                of.finding_rows = 200;
                of.coverage_rows = 50;
                of.node_sections = 20;
                of.value_groups = 6;
              }},
    reduction{"all but the worst",
              [](page_limits& of) {
                of.first_things = 5;
                of.finding_rows = 20;
                of.values = 4;
                of.heat_rows = 20;
                of.strip_plots = 2;
                of.quiet_metrics = 10;
                of.differences = 5;
                of.value_groups = 3;
                of.coverage_rows = 10;
                of.node_sections = 0;
                of.status_rows = 10;
                of.text_bytes = 160;
                of.folded_bytes = 120;
              }},
};

// The verdict as the small picture of a browser's tab.
std::string tab_picture(verdict what) {
  const verdict_look& look = look_of(what);
  std::string svg =
      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 16 16\">"
      "<rect width=\"16\" height=\"16\" rx=\"4\" fill=\"";
  svg += look.band;
  svg += "\"/><path d=\"M0 0";
  svg += look_of(look.like).mark.text();
  svg += "\" fill=\"none\" stroke=\"";
  svg += look.band_ink;
  svg += "\" stroke-width=\"2\" stroke-linecap=\"round\"/></svg>";
  return data_address("image/svg+xml", svg);
}

const char* theme_name(page_theme theme) {
  switch (theme) {
    case page_theme::light:
      return "light";
    case page_theme::dark:
      return "dark";
    case page_theme::automatic:
      return "auto";
  }
  return "auto";
}

std::string beside(const page_options& options, const char* name) {
  const std::string& folder = *options.assets;
  return folder.empty() || folder.ends_with('/') ? folder + name
                                                 : folder + '/' + name;
}

void write_head(markup& out, const page_view& view) {
  const page_options& options = view.options;
  const element head(out, "head");
  out.empty("meta", {{"charset", "utf-8"}});
  out.empty("meta", {{"http-equiv", "Content-Security-Policy"},
                     {"content", content_policy(page_style(),
                                                options.script ? page_script()
                                                               : std::string(),
                                                options.assets.has_value())}});
  out.empty("meta", {{"name", "viewport"},
                     {"content", "width=device-width, initial-scale=1"}});
  out.empty("meta", {{"name", "color-scheme"}, {"content", "light dark"}});
  out.empty("meta", {{"name", "referrer"}, {"content", "no-referrer"}});
  out.empty("meta", {{"name", "robots"}, {"content", "noindex"}});
  out.leaf("title", {}, page_title(view));
  out.empty("link",
            {{"rel", "icon"}, {"href", tab_picture(view.what.overall)}});
  if (options.assets) {
    out.empty("link", {{"rel", "stylesheet"},
                       {"href", beside(options, page_style_name)}});
    return;
  }
  const element style(out, "style");
  out.trusted(page_style());
}

void write_navigation(markup& out, const page_view& view) {
  struct entry {
    literal address, name;
  };
  static constexpr std::array entries = {entry{"#first", "First"},
                                         entry{"#map", "Map"},
                                         entry{"#nodes", "Nodes"},
                                         entry{"#differences", "Differences"},
                                         entry{"#performance", "Performance"},
                                         entry{"#since", "Baseline"},
                                         entry{"#not-judged", "Not judged"},
                                         entry{"#history", "History"},
                                         entry{"#by-node", "By node"},
                                         entry{"#made", "How"}};
  const element nav(out, "nav", {{"aria-label", "Sections"}});
  const element inner(out, "div", {{"class", "wide"}});
  {
    const element list(out, "ul");
    for (const entry& one : entries) {
      const element item(out, "li");
      out.leaf("a", {{"href", one.address.text()}}, one.name.text());
    }
  }
  if (!view.options.script) return;
  // The script takes `hidden` away: without it there is nothing to filter with.
  const element tools(
      out, "div", {{"class", "tools"}, {"id", "tools"}, {"hidden", "hidden"}});
  {
    const element label(out, "label");
    out.leaf("span", {{"class", "sr"}}, "Show only nodes or words");
    out.empty("input", {{"id", "filter"},
                        {"type", "search"},
                        {"placeholder", "node or word"},
                        {"autocomplete", "off"},
                        {"spellcheck", "false"}});
  }
  out.leaf("output", {{"id", "filtered"}, {"class", "sr"}}, "");
  out.leaf("button", {{"id", "theme"}, {"type", "button"}}, "Theme");
}

void write_reductions(markup& out, const page_options& options,
                      const std::vector<std::string>& left_out) {
  if (left_out.empty()) return;
  const element note(out, "div", {{"class", "note-box"}, {"id", "left-out"}});
  {
    const element p(out, "p");
    out.text("To keep this page below " +
             text::size_text(static_cast<std::int64_t>(options.max_size)) +
             ", it is without");
  }
  const element list(out, "ul");
  for (const std::string& words : left_out)
    out.leaf("li", {}, words);
}

void write_sections(markup& out, const page_view& view,
                    const std::vector<std::string>& left_out) {
  const element main(out, "main", {{"id", "main"}, {"class", "wide"}});
  write_reductions(out, view.options, left_out);
  write_first_things(out, view);
  write_heat_map(out, view);
  write_node_map(out, view);
  write_differences(out, view);
  write_performance(out, view);
  write_since_baseline(out, view);
  write_not_judged(out, view);
  write_history(out, view);
  write_node_sections(out, view);
  write_how_made(out, view);
}

void write_script(markup& out, const page_view& view, const std::string& json) {
  if (view.limits.json && !json.empty()) {
    const element data(out, "script",
                       {{"type", "application/json"}, {"id", "judgement"}});
    out.json(json);
  }
  if (!view.options.script) return;
  if (view.options.assets) {
    const element script(out, "script",
                         {{"src", beside(view.options, page_script_name)}});
    return;
  }
  const element script(out, "script");
  out.trusted(page_script());
}

void write_document(markup& out, const page_view& view, const std::string& json,
                    const std::vector<std::string>& left_out) {
  const element html(out, "html",
                     {{"xmlns", "http://www.w3.org/1999/xhtml"},
                      {"lang", "en"},
                      {"data-theme", theme_name(view.options.theme)}});
  write_head(out, view);
  const element body(out, "body");
  out.leaf("a", {{"class", "skip"}, {"href", "#main"}}, "Skip to the content");
  write_icons(out);
  write_band(out, view);
  write_navigation(out, view);
  write_sections(out, view, left_out);
  write_script(out, view, json);
}

markup rendered(const judgement& what, const page_options& options,
                const page_limits& limits, const std::string& json,
                const std::vector<std::string>& left_out) {
  const page_view view(what, options, limits);
  markup out;
  out.raw("<!DOCTYPE html>\n");
  write_document(out, view, json, left_out);
  return out;
}

std::string judgement_json(const judgement& what, const page_options& options) {
  if (!options.json) return "";
  std::ostringstream out;
  options.json(what, out);
  return std::move(out).str();
}

page_result write_fitting(const judgement& what, const page_options& options,
                          std::ostream& out) {
  const std::string json = judgement_json(what, options);
  page_limits limits;
  page_result result;
  markup page = rendered(what, options, limits, json, {});
  for (const reduction& step : reductions) {
    if (options.max_size == 0 || page.size() <= options.max_size) break;
    step.apply(limits);
    result.left_out.emplace_back(step.words);
    page = rendered(what, options, limits, json, result.left_out);
  }
  result.bytes = page.size();
  result.fits = options.max_size == 0 || page.size() <= options.max_size;
  out << page.str();
  return result;
}

constexpr std::string_view distribution_prefix = "dist:";

bool write_figure(markup& out, const page_view& view, std::string_view name) {
  if (name == "heatmap" && !view.what.nodes.empty())
    write_folded_map(out, view);
  else if (name == "nodes" && !view.what.nodes.empty())
    write_all_squares(out, view);
  else if (name == "trend" && !view.what.history.empty())
    write_trend(out, view);
  else if (name.starts_with(distribution_prefix))
    return write_metric_figure(out, view,
                               name.substr(distribution_prefix.size()));
  else
    return false;
  return true;
}

}  // namespace

}  // namespace html

page_result write_page(const judgement& what, const page_options& options,
                       std::ostream& out) {
  const page_redaction& hide = options.redact;
  if (!hide.hosts && !hide.users && !hide.serials)
    return html::write_fitting(what, options, out);
  judgement hidden = what;
  page_options hidden_options = options;
  html::redact(hidden, hidden_options);
  return html::write_fitting(hidden, hidden_options, out);
}

std::optional<std::string> page_figure(const judgement& what,
                                       const page_options& options,
                                       std::string_view name) {
  judgement shown = what;
  page_options chosen = options;
  html::redact(shown, chosen);
  html::page_limits limits;
  limits.node_sections = 0;  // there is nothing to point to
  const html::page_view view(shown, chosen, limits);
  html::markup out;
  if (!html::write_figure(out, view, name)) return std::nullopt;
  return out.str() + '\n';
}

std::vector<std::string> page_figure_names(const judgement& what) {
  std::vector<std::string> out;
  if (!what.nodes.empty()) out = {"heatmap", "nodes"};
  if (!what.history.empty()) out.emplace_back("trend");
  for (const distribution& one : what.distributions) {
    std::string name(html::distribution_prefix);
    name += one.fact;
    bool known = false;
    for (const std::string& other : out)
      known = known || other == name;
    if (!known) out.push_back(std::move(name));
  }
  return out;
}

std::vector<std::pair<std::string, std::string>> page_assets() {
  return {{page_style_name, html::page_style()},
          {page_script_name, html::page_script()}};
}

}  // namespace zelk::check
