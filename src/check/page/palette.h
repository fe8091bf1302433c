// Every colour of the page, and the mark that goes with each state.
//
// No state is told by colour alone: it has a mark, a word and, where cells are
// small, lines across it. Contrasts are computed anew by palette_test.cpp: text
// 4.5:1, marks and shapes 3:1. "ok" recedes on purpose: there is most of it.

#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "src/check/judgement.h"
#include "src/check/page/markup.h"

namespace zelk::check::html {

constexpr std::size_t cell_states = 10;
constexpr std::size_t verdicts = 4;

struct state_look {
  cell_state state;
  literal key;       // of classes and ids: "nodata"
  const char* word;  // for people: "no answer"
  // The shape's fill and the ink on it, light page and dark.
  literal fill;
  std::string_view dark_fill;
  literal ink;
  std::string_view dark_ink;
  // The word's colour on the page.
  std::string_view text, dark_text;
  literal border;  // "none" for all but those whose fill alone is too faint
  // A path in a box of 16 x 16, drawn as a stroke in `ink`. Its steps are
  // relative, so that one path can hold the marks of many cells.
  literal mark;
};

struct verdict_look {
  verdict what;
  literal key;
  const char* word;  // "Unhealthy"
  std::string_view band, band_ink, dark_band, dark_band_ink;
  literal shape;  // of the bar and the trend; light
  std::string_view dark_shape;
  cell_state like;  // the state whose mark it wears
};

// What is neither state nor verdict: "page", "surface", "line", "text", ...
struct tone {
  std::string_view name, light, dark;
};

const state_look& look_of(cell_state state);
const verdict_look& look_of(verdict what);
std::span<const state_look> all_states();
std::span<const verdict_look> all_verdicts();
std::span<const tone> all_tones();

// How a finding of that severity looks in a cell.
cell_state state_of(severity level);
// The worse of two states: crit, then no answer, ...
int badness(cell_state state);

// The contrast of two colours "#rrggbb" after WCAG 2.2: 1 to 21.
double contrast(std::string_view one, std::string_view other);

// The custom properties of the style, for the light page, the dark one, and
// for what a reader asks for.
std::string palette_style();

}  // namespace zelk::check::html
