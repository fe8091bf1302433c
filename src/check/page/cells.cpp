#include "src/check/page/cells.h"

namespace zelk::check::html {

namespace {

// The box in which marks are drawn, and what a cell must leave of it.
constexpr double mark_box = 16;
constexpr double least_room = 12;

void append_pair(std::string& out, char command, double x, double y) {
  out += command;
  append_coordinate(out, x);
  out += ' ';
  append_coordinate(out, y);
}

void write_fill(markup& out, const state_look& look, std::string_view d) {
  const std::string_view border = look.border.text();
  if (border == "none")
    out.empty("path", {{"class", "s-" + std::string(look.key.text())},
                       {"fill", look.fill.text()},
                       {"d", d}});
  else
    out.empty("path", {{"class", "s-" + std::string(look.key.text())},
                       {"fill", look.fill.text()},
                       {"stroke", border},
                       {"d", d}});
}

void write_marks(markup& out, const state_look& look, std::string_view d) {
  out.empty("path", {{"class", "i-" + std::string(look.key.text())},
                     {"fill", "none"},
                     {"stroke", look.ink.text()},
                     {"stroke-width", 1.6},
                     {"stroke-linecap", "round"},
                     {"stroke-linejoin", "round"},
                     {"d", d}});
}

void write_icon(markup& out, const state_look& look) {
  const element symbol(
      out, "symbol",
      {{"id", "g-" + std::string(look.key.text())}, {"viewBox", "0 0 16 16"}});
  const std::string_view border = look.border.text();
  out.empty("rect", {{"class", "s-" + std::string(look.key.text())},
                     {"x", .5},
                     {"y", .5},
                     {"width", 15},
                     {"height", 15},
                     {"rx", 3},
                     {"fill", look.fill.text()},
                     {"stroke", border}});
  if (!look.mark.text().empty())
    write_marks(out, look, "M0 0" + std::string(look.mark.text()));
}

}  // namespace

void cell_paths::add(cell_state state, double x, double y, double width,
                     double height, bool marked) {
  paths& of = states_.at(static_cast<std::size_t>(state));
  append_pair(of.fill, 'M', x, y);
  of.fill += 'h';
  append_coordinate(of.fill, width);
  of.fill += 'v';
  append_coordinate(of.fill, height);
  of.fill += 'h';
  append_coordinate(of.fill, -width);
  of.fill += 'z';
  if (marked) add_mark(state, x, y, width, height);
}

void cell_paths::add_mark(cell_state state, double x, double y, double width,
                          double height) {
  const std::string_view mark = look_of(state).mark.text();
  if (mark.empty() || width < least_room || height < least_room) return;
  paths& of = states_.at(static_cast<std::size_t>(state));
  append_pair(of.marks, 'M', x + (width - mark_box) / 2,
              y + (height - mark_box) / 2);
  of.marks += mark;
}

void cell_paths::write(markup& out) {
  for (const state_look& look : all_states()) {
    const paths& of = states_.at(static_cast<std::size_t>(look.state));
    if (!of.fill.empty()) write_fill(out, look, of.fill);
    if (!of.marks.empty()) write_marks(out, look, of.marks);
  }
  states_ = {};
}

void write_icons(markup& out) {
  const element svg(out, "svg",
                    {{"xmlns", "http://www.w3.org/2000/svg"},
                     {"class", "defs"},
                     {"width", 0},
                     {"height", 0},
                     {"aria-hidden", "true"}});
  const element defs(out, "defs");
  for (const state_look& look : all_states())
    write_icon(out, look);
}

void icon(markup& out, cell_state state) {
  const element svg(out, "svg",
                    {{"xmlns", "http://www.w3.org/2000/svg"},
                     {"class", "g"},
                     {"width", 16},
                     {"height", 16},
                     {"aria-hidden", "true"}});
  out.empty("use", {{"href", "#g-" + std::string(look_of(state).key.text())}});
}

void badge(markup& out, cell_state state) {
  badge(out, state, look_of(state).word);
}

void badge(markup& out, cell_state state, std::string_view word) {
  const element span(
      out, "span",
      {{"class", "badge t-" + std::string(look_of(state).key.text())}});
  icon(out, state);
  out.raw(" ").text(word);
}

}  // namespace zelk::check::html
