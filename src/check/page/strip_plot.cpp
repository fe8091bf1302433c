#include "src/check/page/strip_plot.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "src/check/page/palette.h"
#include "src/check/page/pictures.h"
#include "src/check/page/wording.h"

namespace zelk::check::html {

namespace {

constexpr double margin = 14;
constexpr double dot = 5;  // across
constexpr double names_height = 16;
constexpr double axis_height = 22;
constexpr std::size_t histogram_bins = 120;
constexpr double name_size = 11;

// Places of the picture's parts, top to bottom: names, dots, axis.
struct frame {
  const scale_range& range;
  const strip_style& style;

  double top() const { return style.names ? names_height : 2; }
  double foot() const { return top() + style.dots_height; }
  double height() const { return foot() + (style.axis ? axis_height : 2); }
  double x(double value) const {
    const double span = range.high - range.low;
    const double share = span > 0 ? (value - range.low) / span : .5;
    return margin + std::clamp(share, 0.0, 1.0) * (style.width - 2 * margin);
  }
};

// 1, 2 or 5 times a power of ten, so that some six of them fill the range.
double tick_step(double span, double wanted) {
  if (!(span > 0) || !std::isfinite(span)) return 1;
  const double rough = span / wanted;
  const double power = std::pow(10, std::floor(std::log10(rough)));
  for (const double step : {1.0, 2.0, 5.0})
    if (rough <= step * power) return step * power;
  return 10 * power;
}

void write_axis(markup& out, const distribution& of, const frame& place) {
  const double foot = place.foot();
  write_line(out, margin, foot + .5, place.style.width - margin, foot + .5,
             "strong");
  const double largest =
      std::max(std::fabs(place.range.low), std::fabs(place.range.high));
  const unit_scale unit = scale_for(largest, of.unit);
  const double low = place.range.low / unit.divisor;
  const double high = place.range.high / unit.divisor;
  const double step = tick_step(high - low, place.style.width / 110);
  const double first = std::ceil(low / step);
  for (double i = 0; i < 20 && (first + i) * step <= high; ++i) {
    const double value = (first + i) * step;
    const double x = place.x(value * unit.divisor);
    // The unit stands once, at the last number.
    const bool last = (first + i + 1) * step > high;
    const std::string name =
        number_text(value, 6) +
        (last && !unit.unit.empty() ? ' ' + clipped(unit.unit, 12) : "");
    write_line(out, x, foot, x, foot + 4, "strong");
    write_label(out, std::min(x, place.style.width - 30), foot + 17, name,
                anchor::middle, "soft", name_size);
  }
}

bool is_outlier(const distribution& of, double value) {
  return std::any_of(
      of.outliers.begin(), of.outliers.end(),
      [&](const node_value& one) { return one.number == value; });
}

// How many of the values that are no outliers fall into each of `bins`.
std::vector<std::size_t> binned(const distribution& of,
                                const scale_range& range, std::size_t bins) {
  std::vector<std::size_t> counts(bins);
  const double span = range.high - range.low;
  const bool marked = of.outliers.size() <= 64;
  for (const double value : of.values) {
    if (!std::isfinite(value)) continue;
    if (marked && is_outlier(of, value)) continue;
    const double share = span > 0 ? (value - range.low) / span : .5;
    const double place =
        std::clamp(share, 0.0, 1.0) * static_cast<double>(bins);
    ++counts[std::min(bins - 1, static_cast<std::size_t>(place))];
  }
  return counts;
}

void append_move(std::string& d, double x, double y, std::string_view rest) {
  d += 'M';
  append_coordinate(d, x);
  d += ' ';
  append_coordinate(d, y);
  d += rest;
}

// One path: every dot is a line of no length with round ends.
void write_dots(markup& out, const distribution& of, const frame& place) {
  const double room = place.style.width - 2 * margin;
  const auto bins = static_cast<std::size_t>(room / dot);
  const std::vector<std::size_t> counts = binned(of, place.range, bins);
  const std::size_t most = *std::max_element(counts.begin(), counts.end());
  if (most == 0) return;
  const double step = std::min(
      dot + .5, (place.style.dots_height - dot - 2) /
                    static_cast<double>(std::max<std::size_t>(1, most - 1)));
  std::string d;
  for (std::size_t bin = 0; bin < bins; ++bin)
    for (std::size_t i = 0; i < counts[bin]; ++i)
      append_move(d,
                  margin + (static_cast<double>(bin) + .5) * room /
                               static_cast<double>(bins),
                  place.foot() - 4 - static_cast<double>(i) * step, "h0");
  out.empty("path", {{"class", "dots"},
                     {"fill", "none"},
                     {"stroke", "#5f7f96"},
                     {"stroke-width", dot},
                     {"stroke-linecap", "round"},
                     {"d", d}});
}

std::string bars(const std::vector<std::size_t>& counts, double left,
                 double room, double foot, double height) {
  const auto most = static_cast<double>(std::max<std::size_t>(
      1, *std::max_element(counts.begin(), counts.end())));
  const double width = room / static_cast<double>(counts.size());
  std::string d;
  for (std::size_t bin = 0; bin < counts.size(); ++bin) {
    if (counts[bin] == 0) continue;
    // One node among thousands is still to be seen.
    const double bar =
        std::max(1.5, static_cast<double>(counts[bin]) / most * height);
    std::string rest = "v";
    append_coordinate(rest, -bar);
    rest += 'h';
    append_coordinate(rest, std::max(.5, width - .6));
    rest += 'v';
    append_coordinate(rest, bar);
    rest += 'z';
    append_move(d, left + static_cast<double>(bin) * width, foot, rest);
  }
  return d;
}

void write_histogram(markup& out, const distribution& of, const frame& place) {
  const std::vector<std::size_t> counts =
      binned(of, place.range, histogram_bins);
  out.empty("path", {{"class", "bars"},
                     {"fill", "#5f7f96"},
                     {"d", bars(counts, margin, place.style.width - 2 * margin,
                                place.foot(), place.style.dots_height - 2)}});
}

void shade(markup& out, const frame& place, double from, double to) {
  const double left = place.x(from);
  const double width = place.x(to) - left;
  if (width <= 0) return;
  out.empty("rect", {{"class", "shade"},
                     {"x", left},
                     {"y", place.top()},
                     {"width", width},
                     {"height", place.style.dots_height},
                     {"fill", "#f6e3e5"}});
}

// Where a value is bad: beyond the least effect, on the sides that are.
void write_shades(markup& out, const distribution& of, const frame& place) {
  if (place.style.min_effect <= 0) return;
  constexpr double mad_per_sigma = 0.6745;
  const double away =
      std::max(std::fabs(of.median) * place.style.min_effect / 100,
               place.style.z * of.mad / mad_per_sigma);
  // Of counts that are 0 everywhere no distance says what is too far.
  if (!(away > 0)) return;
  if (of.direction != facts::better::lower)
    shade(out, place, place.range.low, of.median - away);
  if (of.direction != facts::better::higher)
    shade(out, place, of.median + away, place.range.high);
}

// Diamonds, so that they are told from dots without colour.
void write_outliers(markup& out, const distribution& of, const frame& place) {
  std::string d;
  for (const node_value& one : of.outliers)
    if (one.number && std::isfinite(*one.number))
      append_move(d, place.x(*one.number), place.foot() - 11,
                  "l5 5l-5 5l-5-5z");
  if (d.empty()) return;
  const state_look& look = look_of(cell_state::crit);
  out.empty("path",
            {{"class", "s-crit"}, {"fill", look.fill.text()}, {"d", d}});
}

// As many names as find room, the worst first.
void write_outlier_names(markup& out, const distribution& of,
                         const frame& place) {
  std::vector<std::pair<double, double>> taken;
  for (const node_value& one : of.outliers) {
    if (!one.number || !std::isfinite(*one.number) || taken.size() == 12)
      continue;
    const std::string name = clipped(one.node, 24);
    const double half =
        static_cast<double>(name.size()) * name_size * letter_share / 2;
    const double x =
        std::clamp(place.x(*one.number), half + 1,
                   std::max(half + 1, place.style.width - half - 1));
    const bool free =
        std::none_of(taken.begin(), taken.end(), [&](const auto& other) {
          return x + half + 10 > other.first && x - half - 10 < other.second;
        });
    if (!free) continue;
    taken.emplace_back(x - half, x + half);
    write_label(out, x, names_height - 4, name, anchor::middle, "t-crit",
                name_size);
    const double at = place.x(*one.number);
    write_line(out, at, names_height, at, place.foot() - 12, "rule");
  }
}

void write_median(markup& out, const distribution& of, const frame& place) {
  const double x = place.x(of.median);
  out.empty("line", {{"class", "median"},
                     {"x1", x},
                     {"y1", place.top()},
                     {"x2", x},
                     {"y2", place.foot()},
                     {"stroke", "#1b1f24"},
                     {"stroke-width", 1.5}});
}

std::string percent_text(double value) {
  return number_text(std::fabs(value), 3) + " %";
}

// "12.5 % below", "15.8 % to 17 % below", "up to 9 % from", "far from"
std::string distance_words(const distribution& of) {
  double least = 0;
  double most = 0;
  double nearest = 0;
  bool any = false;
  for (const node_value& one : of.outliers) {
    if (!one.delta_percent || !std::isfinite(*one.delta_percent)) continue;
    const double share = *one.delta_percent;
    least = any ? std::min(least, share) : share;
    most = any ? std::max(most, share) : share;
    nearest = any ? std::min(nearest, std::fabs(share)) : std::fabs(share);
    any = true;
  }
  if (!any) return "far from";
  const std::string far =
      percent_text(std::max(std::fabs(least), std::fabs(most)));
  if (least < 0 && most > 0) return "up to " + far + " from";
  const std::string near = percent_text(nearest);
  return (near == far ? far : near.substr(0, near.size() - 2) + " to " + far) +
         (most < 0 ? " below" : " above");
}

}  // namespace

void scale_range::include(double value) {
  if (!std::isfinite(value)) return;
  low = std::min(low, value);
  high = std::max(high, value);
}

scale_range range_of(const distribution& of) {
  scale_range out{of.median, of.median};
  for (const double value : of.values)
    out.include(value);
  for (const node_value& one : of.outliers)
    if (one.number) out.include(*one.number);
  // All alike: something to stand in the middle of.
  double room = (out.high - out.low) * .04;
  if (room == 0) room = std::max(std::fabs(out.high) * .05, 1e-6);
  return {out.low - room, out.high + room};
}

std::string strip_sentence(const distribution& of) {
  const std::size_t odd = of.outliers.size();
  std::string out = odd == 0 ? "None" : count_text(odd);
  out += " of " + count_text(of.values.size(), "node");
  if (!of.class_name.empty()) out += " of class " + clipped(of.class_name, 60);
  out += odd > 1 ? " lie " : " lies ";
  return out + distance_words(of) + " the median of " +
         quantity_text(of.median, of.unit);
}

void write_strip(markup& out, const distribution& of, const scale_range& range,
                 const strip_style& style) {
  const frame place{range, style};
  const picture svg(out, style.width, place.height(), clipped(of.fact, 120),
                    strip_sentence(of));
  write_shades(out, of, place);
  if (of.values.size() > most_dots)
    write_histogram(out, of, place);
  else if (!of.values.empty())
    write_dots(out, of, place);
  write_median(out, of, place);
  if (style.names) write_outlier_names(out, of, place);
  write_outliers(out, of, place);
  if (style.axis) write_axis(out, of, place);
}

void write_spark(markup& out, const distribution& of) {
  constexpr double width = 120;
  constexpr double height = 18;
  const element svg(out, "svg",
                    {{"xmlns", "http://www.w3.org/2000/svg"},
                     {"width", width},
                     {"height", height},
                     {"aria-hidden", "true"}});
  if (of.values.empty()) return;
  // Lines instead of shapes: there are hundreds of these on a page.
  constexpr std::size_t bins = 20;
  constexpr double step = width / bins;
  const std::vector<std::size_t> counts = binned(of, range_of(of), bins);
  const auto most = static_cast<double>(std::max<std::size_t>(
      1, *std::max_element(counts.begin(), counts.end())));
  std::string d;
  for (std::size_t bin = 0; bin < bins; ++bin) {
    if (counts[bin] == 0) continue;
    const double bar = std::max(
        1.0, std::round(static_cast<double>(counts[bin]) / most * height));
    std::string rest = "v";
    append_coordinate(rest, -bar);
    append_move(d, (static_cast<double>(bin) + .5) * step, height, rest);
  }
  out.empty("path", {{"class", "dots"},
                     {"stroke", "#5f7f96"},
                     {"stroke-width", step - 1},
                     {"d", d}});
}

}  // namespace zelk::check::html
