// Small things that pictures have in common.

#pragma once

#include <string>
#include <string_view>

#include "src/check/page/markup.h"

namespace zelk::check::html {

// A letter of the pictures' text at that size, in pixels, on average.
constexpr double letter_share = 0.62;  // of the font size

// "0 0 WIDTH HEIGHT", of an attribute viewBox.
std::string box_of(double width, double height);

// An <svg> that says what it shows: `title` in few words, `description` in a
// sentence. Width and height are those of the drawing; with a scale it is shown
// smaller or larger.
class picture {
 public:
  picture(markup& out, double width, double height, std::string_view title,
          std::string_view description, double scale = 1);

 private:
  element svg_;
};

enum class anchor : std::uint8_t { start, middle, end };

// A line of text with its foot at y. `tone` is "ink", "soft" or a t- class.
void write_label(markup& out, double x, double y, std::string_view text,
                 anchor place = anchor::start, std::string_view tone = "ink",
                 double size = 12);
void write_line(markup& out, double x1, double y1, double x2, double y2,
                std::string_view tone = "rule");

}  // namespace zelk::check::html
