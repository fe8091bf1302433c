#include "src/check/page/palette.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace zelk::check::html {

namespace {

constexpr std::array<state_look, cell_states> states = {{
    {cell_state::ok, "ok", "ok", "#dcebe5", "#20392f", "#1d6b4c", "#7fcfae",
     "#1d6b4c", "#7fcfae", "none", ""},
    {cell_state::info, "info", "for information", "#3d8fc6", "#4aa3df",
     "#ffffff", "#14181d", "#1f6798", "#7dbbe8", "none", "m8 4v1.2m0 2.2v4.6"},
    {cell_state::warn, "warn", "warning", "#c87a00", "#ffc24d", "#ffffff",
     "#14181d", "#8a5300", "#ffc24d", "#5c3900",
     "m8 3.6l4.6 8.2h-9.2zm0 3v2.4m0 1.2v.2"},
    {cell_state::crit, "crit", "critical", "#8f0f1e", "#ff7a66", "#ffffff",
     "#14181d", "#8f0f1e", "#ff7a66", "none",
     "m4.6 4.6l6.8 6.8m0-6.8l-6.8 6.8"},
    {cell_state::error, "error", "could not be judged", "#5e3c99", "#b79cf0",
     "#ffffff", "#14181d", "#5e3c99", "#b79cf0", "none",
     "m4.5 3v10m3.5-10v10m3.5-10v10"},
    {cell_state::timeout, "timeout", "timed out", "#5e3c99", "#b79cf0",
     "#ffffff", "#14181d", "#5e3c99", "#b79cf0", "none", "m4 4.6h8m-4 0v7.4"},
    {cell_state::no_data, "nodata", "no answer", "#7a828e", "#8d97a5",
     "#ffffff", "#14181d", "#59616c", "#a6b0bc", "none",
     "m3 9l6-6m-5.5 9.5l9-9m-5.5 9.5l6-6"},
    {cell_state::not_applicable, "na", "not applicable", "#ffffff", "#14181d",
     "#7a828e", "#8d97a5", "#59616c", "#a6b0bc", "none", "m7.5 8h1"},
    {cell_state::stale, "stale", "too old", "#7a828e", "#8d97a5", "#ffffff",
     "#14181d", "#59616c", "#a6b0bc", "none", "m4 5h8m-8 3h8m-8 3h8"},
    {cell_state::accepted, "accepted", "accepted", "#dcebe5", "#20392f",
     "#1d6b4c", "#7fcfae", "#1d6b4c", "#7fcfae", "#1d6b4c",
     "m4.4 8.4l2.4 2.6l4.8-5.6"},
}};

constexpr std::array<verdict_look, verdicts> verdict_looks = {{
    {verdict::healthy, "healthy", "Healthy", "#1a6447", "#ffffff", "#1a5a41",
     "#ffffff", "#8fc4ad", "#3d7d63", cell_state::accepted},
    {verdict::suspect, "suspect", "Suspect", "#ffc24d", "#2b1c00", "#e3a83f",
     "#1d1300", "#c87a00", "#ffc24d", cell_state::warn},
    {verdict::unhealthy, "unhealthy", "Unhealthy", "#8f0f1e", "#ffffff",
     "#8f1a28", "#ffffff", "#8f0f1e", "#ff7a66", cell_state::crit},
    {verdict::unknown, "unknown", "Unknown", "#4c5562", "#ffffff", "#434c58",
     "#ffffff", "#7a828e", "#8d97a5", cell_state::no_data},
}};

constexpr std::array tones = {
    tone{"page", "#ffffff", "#14181d"},
    tone{"surface", "#f6f7f9", "#1b2128"},
    tone{"raised", "#ffffff", "#1f262e"},
    tone{"line", "#e1e5ea", "#313a44"},
    tone{"strong-line", "#848c97", "#77828f"},
    tone{"text", "#1b1f24", "#e6e9ed"},
    tone{"muted", "#565f6a", "#a3adb8"},
    tone{"link", "#175d92", "#7dbbe8"},
    tone{"focus", "#175d92", "#7dbbe8"},
    tone{"dot", "#5f7f96", "#8fb0c8"},
    tone{"shade", "#f6e3e5", "#3b2226"},
    tone{"mark", "#ffe3a3", "#5b4310"},
    tone{"mark-text", "#2b1c00", "#ffe9bd"},
};

double channel(std::string_view two_digits) {
  unsigned value = 0;
  std::from_chars(two_digits.data(), two_digits.data() + 2, value, 16);
  const double part = value / 255.0;
  return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
}

double luminance(std::string_view colour) {
  return 0.2126 * channel(colour.substr(1, 2)) +
         0.7152 * channel(colour.substr(3, 2)) +
         0.0722 * channel(colour.substr(5, 2));
}

void append_property(std::string& out, std::string_view kind,
                     std::string_view key, std::string_view value) {
  out += "--";
  out += kind;
  out += key;
  out += ':';
  out += value;
  out += ';';
}

std::string properties(bool dark) {
  std::string out;
  for (const tone& one : tones)
    append_property(out, "", one.name, dark ? one.dark : one.light);
  for (const state_look& one : states) {
    const std::string_view key = one.key.text();
    append_property(out, "s-", key, dark ? one.dark_fill : one.fill.text());
    append_property(out, "i-", key, dark ? one.dark_ink : one.ink.text());
    append_property(out, "t-", key, dark ? one.dark_text : one.text);
  }
  for (const verdict_look& one : verdict_looks) {
    const std::string_view key = one.key.text();
    append_property(out, "b-", key, dark ? one.dark_band : one.band);
    append_property(out, "bi-", key, dark ? one.dark_band_ink : one.band_ink);
    append_property(out, "v-", key, dark ? one.dark_shape : one.shape.text());
  }
  return out;
}

// The classes by which shapes follow the properties: s-crit, i-crit, t-crit.
void append_classes(std::string& out, std::string_view prefix,
                    std::string_view property, std::string_view key) {
  out += '.';
  out += prefix;
  out += key;
  out += '{';
  out += property;
  out += ":var(--";
  out += prefix;
  out += key;
  out += ")}\n";
}

}  // namespace

const state_look& look_of(cell_state state) {
  return states.at(static_cast<std::size_t>(state));
}

const verdict_look& look_of(verdict what) {
  return verdict_looks.at(static_cast<std::size_t>(what));
}

std::span<const state_look> all_states() {
  return states;
}
std::span<const verdict_look> all_verdicts() {
  return verdict_looks;
}
std::span<const tone> all_tones() {
  return tones;
}

cell_state state_of(severity level) {
  switch (level) {
    case severity::critical:
      return cell_state::crit;
    case severity::warning:
      return cell_state::warn;
    case severity::informational:
      return cell_state::info;
  }
  return cell_state::info;
}

int badness(cell_state state) {
  constexpr std::array<int, cell_states> ranks = {0, 3, 8, 9, 6, 7, 5, 1, 4, 2};
  return ranks.at(static_cast<std::size_t>(state));
}

double contrast(std::string_view one, std::string_view other) {
  const double a = luminance(one);
  const double b = luminance(other);
  return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

std::string palette_style() {
  const std::string light = properties(false);
  const std::string dark = properties(true);
  std::string out = ":root{color-scheme:light;" + light + "}\n";
  out += "@media (prefers-color-scheme:dark){:root:not([data-theme=light])";
  out += "{color-scheme:dark;" + dark + "}}\n";
  out += ":root[data-theme=dark]{color-scheme:dark;" + dark + "}\n";
  // Paper is white, whatever the screen is: the selector outweighs those above.
  out += "@media print{:root:root:root{color-scheme:light;" + light + "}}\n";
  for (const state_look& one : states) {
    append_classes(out, "s-", "fill", one.key.text());
    append_classes(out, "i-", "stroke", one.key.text());
    append_classes(out, "t-", "color", one.key.text());
  }
  out += ".n-crit{fill:var(--i-crit)}\n";
  for (const verdict_look& one : verdict_looks) {
    const std::string key(one.key.text());
    append_classes(out, "v-", "fill", key);
    out.append(".b-").append(key).append("{background:var(--b-").append(key);
    out.append(");color:var(--bi-").append(key).append(")}\n");
  }
  return out;
}

}  // namespace zelk::check::html
