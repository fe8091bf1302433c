#include "src/check/page/palette.h"

#include <set>

#include <gtest/gtest.h>

namespace zelk::check::html {
namespace {

constexpr double for_text = 4.5;    // WCAG 2.2, 1.4.3
constexpr double for_shapes = 3.0;  // 1.4.11

std::string_view tone_of(std::string_view name, bool dark) {
  for (const tone& one : all_tones())
    if (one.name == name) return dark ? one.dark : one.light;
  ADD_FAILURE() << "no tone " << name;
  return "#000000";
}

TEST(contrast, is_that_of_the_guidelines) {
  EXPECT_NEAR(contrast("#000000", "#ffffff"), 21, .01);
  EXPECT_NEAR(contrast("#ffffff", "#ffffff"), 1, .01);
  EXPECT_NEAR(contrast("#8f0f1e", "#ffffff"), 9.31, .01);
  EXPECT_NEAR(contrast("#3d8fc6", "#ffffff"), 3.53, .01);
}

TEST(palette, text_can_be_read_on_every_ground) {
  for (const bool dark : {false, true})
    for (const char* ground : {"page", "surface", "raised"})
      for (const char* ink : {"text", "muted", "link"}) {
        SCOPED_TRACE(std::string(ink) + " on " + ground);
        EXPECT_GE(contrast(tone_of(ink, dark), tone_of(ground, dark)),
                  for_text);
      }
  for (const bool dark : {false, true})
    EXPECT_GE(contrast(tone_of("mark-text", dark), tone_of("mark", dark)),
              for_text);
}

TEST(palette, words_of_states_can_be_read) {
  for (const state_look& one : all_states())
    for (const char* ground : {"page", "surface", "raised"}) {
      SCOPED_TRACE(std::string(one.key.text()) + " on " + ground);
      EXPECT_GE(contrast(one.text, tone_of(ground, false)), for_text);
      EXPECT_GE(contrast(one.dark_text, tone_of(ground, true)), for_text);
    }
}

TEST(palette, marks_are_seen_on_their_shapes) {
  for (const state_look& one : all_states()) {
    SCOPED_TRACE(one.key.text());
    EXPECT_GE(contrast(one.ink.text(), one.fill.text()), for_shapes);
    EXPECT_GE(contrast(one.dark_ink, one.dark_fill), for_shapes);
  }
}

// The least contrast of a shape with the page: by its fill, or by its border.
TEST(palette, shapes_that_tell_something_are_seen_on_the_page) {
  for (const state_look& one : all_states()) {
    if (one.state == cell_state::ok || one.state == cell_state::not_applicable)
      continue;  // recedes; has no shape
    SCOPED_TRACE(one.key.text());
    const std::string_view edge =
        one.border.text() == "none" ? one.fill.text() : one.border.text();
    EXPECT_GE(contrast(edge, tone_of("page", false)), for_shapes);
    // In the dark the mark tells "accepted" from "ok".
    const std::string_view dark_edge =
        one.state == cell_state::accepted ? one.dark_ink : one.dark_fill;
    EXPECT_GE(contrast(dark_edge, tone_of("page", true)), for_shapes);
  }
}

TEST(palette, the_band_can_be_read) {
  for (const verdict_look& one : all_verdicts()) {
    SCOPED_TRACE(one.word);
    EXPECT_GE(contrast(one.band_ink, one.band), for_text);
    EXPECT_GE(contrast(one.dark_band_ink, one.dark_band), for_text);
  }
}

TEST(palette, lines_of_pictures_are_seen) {
  for (const bool dark : {false, true})
    for (const char* ink : {"strong-line", "dot", "focus"})
      EXPECT_GE(contrast(tone_of(ink, dark), tone_of("page", dark)), for_shapes)
          << ink;
}

TEST(palette, no_two_states_share_mark_and_word) {
  std::set<std::string_view> marks;
  std::set<std::string> words;
  for (const state_look& one : all_states()) {
    EXPECT_TRUE(marks.insert(one.mark.text()).second) << one.word;
    EXPECT_TRUE(words.insert(one.word).second) << one.word;
  }
}

TEST(palette, tables_are_in_the_order_of_their_enumerations) {
  for (const state_look& one : all_states())
    EXPECT_EQ(&look_of(one.state), &one);
  for (const verdict_look& one : all_verdicts())
    EXPECT_EQ(&look_of(one.what), &one);
}

TEST(badness, puts_what_nobody_judged_between_warning_and_fine) {
  const cell_state order[] = {cell_state::ok,       cell_state::not_applicable,
                              cell_state::accepted, cell_state::info,
                              cell_state::stale,    cell_state::no_data,
                              cell_state::error,    cell_state::timeout,
                              cell_state::warn,     cell_state::crit};
  for (std::size_t i = 1; i < std::size(order); ++i)
    EXPECT_LT(badness(order[i - 1]), badness(order[i]));
}

}  // namespace
}  // namespace zelk::check::html
