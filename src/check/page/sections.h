// The sections of the page, in its order.
//
// Each writes one <section> with a heading and, where there is nothing to show,
// a sentence that says so: a reader must never wonder whether a section is
// missing or empty.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "src/check/page/markup.h"
#include "src/check/page/palette.h"
#include "src/check/page/view.h"

namespace zelk::check::html {

void write_band(markup& out, const page_view& view);
void write_first_things(markup& out, const page_view& view);
void write_heat_map(markup& out, const page_view& view);
void write_node_map(markup& out, const page_view& view);
void write_differences(markup& out, const page_view& view);
void write_performance(markup& out, const page_view& view);
void write_since_baseline(markup& out, const page_view& view);
void write_not_judged(markup& out, const page_view& view);
void write_history(markup& out, const page_view& view);
void write_node_sections(markup& out, const page_view& view);
void write_how_made(markup& out, const page_view& view);

// "unhealthy 5 · suspect 6 · cluster alpha · 2025-11-21"
std::string page_title(const page_view& view);
// "5 of 136 nodes are unhealthy and 6 are suspect."
std::string verdict_sentence(const judgement& what);

// What sections have in common: pieces.cpp.

// Heading and the sentence under it, which says what is to be seen.
void section_head(markup& out, literal id, std::string_view heading,
                  std::string_view lead);
// A set of nodes with its size, ready to be copied; a link where one node has a
// section.
void write_nodes(markup& out, const page_view& view,
                 const std::vector<std::string>& nodes);
// A link to the node's section, or its name alone.
void write_node(markup& out, const page_view& view, const std::string& name);
// The check's id as a link to its card or row.
void write_finding_link(markup& out, const page_view& view,
                        std::uint32_t finding);
// <time> with the local time, to the minute; "unknown" for 0.
void write_time(markup& out, std::int64_t usec);
void write_run(markup& out, const run_info& run);
// A line with something to copy.
// " --db /data/nightly.db"; "" when there is nothing to say.
std::string datastore_words(const page_options& options);
void write_command(markup& out, std::string_view command);
// A text of a node, its lines one under the other. Requires: it is clipped.
void write_value(markup& out, std::string_view text);
// "12 more" behind a list that was cut; nothing for 0.
void write_more(markup& out, std::size_t more, std::string_view what);
// Head of a table: its caption, and names of columns; "#" in front of a name
// puts the column's text to the right.
void write_table_head(markup& out, std::string_view caption,
                      std::initializer_list<literal> columns);

}  // namespace zelk::check::html
