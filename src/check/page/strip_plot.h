// The values of one metric in one class as dots along a scale.
//
// Dots stand on each other where they are close. Above most_dots values the
// dots become a histogram, and only outliers stay dots: the picture of 10,000
// nodes is then as small as that of 100.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "src/check/judgement.h"
#include "src/check/page/markup.h"

namespace zelk::check::html {

constexpr std::size_t most_dots = 2000;

// The ends of a scale, in the fact's own unit.
struct scale_range {
  double low = 0, high = 1;
  void include(double value);
};

// Of all values, the median and the outliers.
scale_range range_of(const distribution& of);

struct strip_style {
  double width = 720;
  double dots_height = 48;
  bool axis = true;
  bool names = true;  // of outliers
  // Where an outlier begins; the bad side beyond it is shaded.
  double min_effect = 0;  // percent
  double z = 0;           // robust
};

void write_strip(markup& out, const distribution& of, const scale_range& range,
                 const strip_style& style);

// A histogram as small as a word, without scale.
void write_spark(markup& out, const distribution& of);

// What the picture shows, in a sentence: "2 of 94 nodes of class A lie 15.8 %
// to 17 % below the median of 203.4 GB/s."
std::string strip_sentence(const distribution& of);

}  // namespace zelk::check::html
