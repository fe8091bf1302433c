#include "src/check/page/pictures.h"

#include "src/check/page/palette.h"

namespace zelk::check::html {

namespace {

// Without a style, pictures look as on the light page.
std::string_view light(std::string_view tone_name) {
  for (const tone& one : all_tones())
    if (one.name == tone_name) return one.light;
  return "#1b1f24";
}

std::string_view plain_colour(std::string_view tone) {
  if (tone == "soft") return light("muted");
  if (tone == "rule") return light("line");
  if (tone == "strong") return light("strong-line");
  for (const state_look& look : all_states())
    if (tone.size() > 2 && tone.substr(2) == look.key.text()) return look.text;
  return light("text");
}

}  // namespace

std::string box_of(double width, double height) {
  std::string out = "0 0 ";
  append_coordinate(out, width);
  out += ' ';
  append_coordinate(out, height);
  return out;
}

picture::picture(markup& out, double width, double height,
                 std::string_view title, std::string_view description,
                 double scale)
    : svg_(out, "svg",
           {{"xmlns", "http://www.w3.org/2000/svg"},
            {"width", width * scale},
            {"height", height * scale},
            {"viewBox", box_of(width, height)},
            {"role", "img"},
            {"font-family", "system-ui, sans-serif"}}) {
  out.leaf("title", {}, title);
  if (!description.empty()) out.leaf("desc", {}, description);
}

void write_label(markup& out, double x, double y, std::string_view text,
                 anchor place, std::string_view tone, double size) {
  const char* where = place == anchor::start    ? "start"
                      : place == anchor::middle ? "middle"
                                                : "end";
  out.leaf("text",
           {{"class", tone},
            {"x", x},
            {"y", y},
            {"font-size", size},
            {"text-anchor", where},
            {"fill", plain_colour(tone)}},
           text);
}

void write_line(markup& out, double x1, double y1, double x2, double y2,
                std::string_view tone) {
  out.empty("line", {{"class", tone},
                     {"x1", x1},
                     {"y1", y1},
                     {"x2", x2},
                     {"y2", y2},
                     {"stroke", plain_colour(tone)}});
}

}  // namespace zelk::check::html
