// The pictures: whole SVG elements that stand alone as well as on a page.
//
// Colours are attributes, so they need no style to be seen; classes let a style
// change them for a dark page.

#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "src/check/page/markup.h"
#include "src/check/page/view.h"

namespace zelk::check::html {

// A row a node and a path a state; ok is the background.
void write_full_map(markup& out, const page_view& view);
// Folded rows with their nodes' names: the heat map as one picture.
void write_folded_map(markup& out, const page_view& view);

// A square a node.
void write_squares(markup& out, const page_view& view,
                   const std::vector<std::size_t>& nodes,
                   std::string_view label);
// All nodes in blocks, as one picture.
void write_all_squares(markup& out, const page_view& view);

// The metric of that name, its classes one under the other; false: there is
// none.
bool write_metric_figure(markup& out, const page_view& view,
                         std::string_view fact);

// Verdicts by run as stacked bars.
void write_trend(markup& out, const page_view& view);

// The nodes in blocks of like place: by subcluster, else by role, else by
// class; a name and places in judgement::nodes.
std::vector<std::pair<std::string, std::vector<std::size_t>>> blocks_of(
    const page_view& view);

}  // namespace zelk::check::html
