#include <algorithm>
#include <array>
#include <cmath>

#include "src/check/page/cells.h"
#include "src/check/page/policy.h"
#include "src/check/page/sections.h"
#include "src/check/page/wording.h"
#include "src/common/text/time_text.h"

namespace zelk::check::html {

namespace {

std::size_t count_of(const verdict_counts& counts, verdict what) {
  switch (what) {
    case verdict::healthy:
      return counts.healthy;
    case verdict::suspect:
      return counts.suspect;
    case verdict::unhealthy:
      return counts.unhealthy;
    case verdict::unknown:
      return counts.unknown;
  }
  return 0;
}

// The worst first, as people read.
constexpr std::array reading_order = {verdict::unhealthy, verdict::suspect,
                                      verdict::unknown, verdict::healthy};

// "Only 1,215 of 1,233 results came in (98.5 %): 2 nodes gave no answer."; ""
// when all did.
std::string coverage_sentence(const judgement& what) {
  const run_info& run = what.run;
  const std::size_t silent =
      run.nodes_expected > run.nodes ? run.nodes_expected - run.nodes : 0;
  if (run.results >= run.results_expected && silent == 0) return "";
  std::string out = "Only " + count_text(run.results) + " of " +
                    count_text(run.results_expected) + " results came in";
  if (run.results_expected > 0) {
    // Rounded down: 99.96 % is not all of it.
    const double share = std::floor(1000.0 * static_cast<double>(run.results) /
                                    static_cast<double>(run.results_expected)) /
                         10;
    out += " (" + number_text(share) + " %)";
  }
  if (silent > 0) out += ": " + count_text(silent, "node") + " gave no answer";
  return out + '.';
}

void write_times(markup& out, const page_view& view) {
  const run_info& run = view.what.run;
  out.raw("Collected ");
  write_time(out, run.started_usec);
  const std::string age = age_text(run.started_usec, view.what.now_usec);
  if (!age.empty()) out.raw(" (").text(age).raw(")");
  if (run.ended_usec > run.started_usec)
    out.raw(", in ").text(
        text::short_duration(run.ended_usec - run.started_usec));
  if (!run.state.empty() && run.state != "complete")
    out.raw("; the run is ").text(clipped(run.state, 40));
}

void write_meta(markup& out, const page_view& view) {
  const element list(out, "ul", {{"class", "meta"}});
  {
    const element item(out, "li");
    write_times(out, view);
  }
  if (coverage_sentence(view.what).empty())
    out.leaf("li", {},
             "All " + count_text(view.what.run.results) + " results came in");
  {
    const element item(out, "li");
    if (view.what.baseline) {
      out.raw("Compared with ");
      write_run(out, *view.what.baseline);
      out.raw(" of ");
      write_time(out, view.what.baseline->started_usec);
    } else {
      out.raw("No baseline to compare with");
    }
  }
  if (!view.what.accepted.empty()) {
    const element item(out, "li");
    out.leaf("a", {{"href", "#accepted"}},
             count_text(view.what.accepted.size(), "finding") + " accepted");
  }
  if (!view.options.program_version.empty())
    out.leaf("li", {}, "zelk-check " + view.options.program_version);
}

void write_bar(markup& out, const verdict_counts& counts) {
  const std::size_t all =
      counts.healthy + counts.suspect + counts.unhealthy + counts.unknown;
  if (all == 0) return;
  constexpr double width = 1000;
  const element svg(out, "svg",
                    {{"xmlns", "http://www.w3.org/2000/svg"},
                     {"class", "share"},
                     {"viewBox", "0 0 1000 10"},
                     {"width", "100%"},
                     {"height", 10},
                     {"preserveAspectRatio", "none"},
                     {"aria-hidden", "true"}});
  double x = 0;
  for (const verdict one : reading_order) {
    const std::size_t count = count_of(counts, one);
    if (count == 0) continue;
    // One node of 10,000 is still to be seen.
    const double share = std::max(
        6.0, width * static_cast<double>(count) / static_cast<double>(all));
    const verdict_look& look = look_of(one);
    out.empty("rect", {{"class", "v-" + std::string(look.key.text())},
                       {"x", x},
                       {"width", std::max(1.0, std::min(share, width - x) - 2)},
                       {"height", 10},
                       {"fill", look.shape.text()}});
    x += share;
  }
}

void write_counts(markup& out, const verdict_counts& counts) {
  const element list(out, "ul", {{"class", "counts"}});
  for (const verdict one : reading_order) {
    const std::size_t count = count_of(counts, one);
    const element item(out, "li", {{"class", count == 0 ? "none" : "some"}});
    out.leaf("b", {}, count_text(count));
    out.raw(" ");
    const element word(out, "span");
    icon(out, look_of(one).like);
    out.raw(" ").text(name_of(one));
  }
}

void write_logo(markup& out, const page_options& options) {
  if (!options.logo) return;
  out.empty(
      "img",
      {{"class", "logo"},
       {"alt", ""},
       {"src", data_address(options.logo->media_type, options.logo->bytes)}});
}

std::string heading_of(const page_view& view) {
  const page_options& options = view.options;
  if (!options.title.empty()) return options.title;
  return options.cluster.empty() ? "Cluster check"
                                 : "Cluster " + options.cluster;
}

void write_mark(markup& out, const verdict_look& look) {
  const element svg(out, "svg",
                    {{"xmlns", "http://www.w3.org/2000/svg"},
                     {"class", "sign"},
                     {"viewBox", "0 0 16 16"},
                     {"width", 72},
                     {"height", 72},
                     {"aria-hidden", "true"}});
  const std::string key(look.key.text());
  out.empty("circle", {{"class", "on-" + key},
                       {"cx", 8},
                       {"cy", 8},
                       {"r", 7.2},
                       {"fill", "none"},
                       {"stroke", "currentColor"},
                       {"stroke-width", 1}});
  out.empty("path",
            {{"d", "M1.6 1.6" + std::string(look_of(look.like).mark.text())},
             {"transform", "scale(.83)"},
             {"fill", "none"},
             {"stroke", "currentColor"},
             {"stroke-width", 1.5},
             {"stroke-linecap", "round"},
             {"stroke-linejoin", "round"}});
}

}  // namespace

std::string verdict_sentence(const judgement& what) {
  const verdict_counts& counts = what.counts;
  const std::size_t all =
      counts.healthy + counts.suspect + counts.unhealthy + counts.unknown;
  if (all == 0) return "No node was judged.";
  if (counts.healthy == all)
    return all == 1 ? "The one node is healthy."
                    : "All " + count_text(all) + " nodes are healthy.";
  std::vector<std::string> parts;
  for (const verdict one : reading_order) {
    const std::size_t count = count_of(counts, one);
    if (one == verdict::healthy || count == 0) continue;
    parts.push_back(count_text(count) + (count == 1 ? " is " : " are ") +
                    name_of(one));
  }
  return "Of " + count_text(all, "node") + ' ' + joined_words(parts) + '.';
}

std::string page_title(const page_view& view) {
  const verdict_counts& counts = view.what.counts;
  std::string out;
  for (const verdict one : reading_order)
    if (one != verdict::healthy && count_of(counts, one) > 0)
      out += std::string(name_of(one)) + ' ' +
             count_text(count_of(counts, one)) + " \u00b7 ";
  if (out.empty())
    out = std::string(name_of(view.what.overall)) + ' ' +
          count_text(counts.healthy) + " \u00b7 ";
  if (!view.options.title.empty())
    out += clipped(view.options.title, 80) + " \u00b7 ";
  else if (!view.options.cluster.empty())
    out += "cluster " + clipped(view.options.cluster, 80) + " \u00b7 ";
  return out + text::local_time(view.what.run.started_usec).substr(0, 10);
}

void write_band(markup& out, const page_view& view) {
  const verdict_look& look = look_of(view.what.overall);
  const std::string key(look.key.text());
  const element header(out, "header",
                       {{"class", "band b-" + key}, {"id", "top"}});
  const element inner(out, "div", {{"class", "wide"}});
  {
    const element line(out, "p", {{"class", "of"}});
    write_logo(out, view.options);
    out.text(clipped(heading_of(view), 120)).raw(" \u00b7 ");
    write_run(out, view.what.run);
  }
  {
    const element h1(out, "h1");
    write_mark(out, look);
    out.leaf("span", {}, look.word);
  }
  out.leaf("p", {{"class", "say"}}, verdict_sentence(view.what));
  const std::string coverage = coverage_sentence(view.what);
  if (!coverage.empty()) out.leaf("p", {{"class", "say"}}, coverage);
  write_meta(out, view);
  const element panel(out, "div", {{"class", "panel"}});
  write_counts(out, view.what.counts);
  write_bar(out, view.what.counts);
}

}  // namespace zelk::check::html
