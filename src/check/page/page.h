// The judgement as one page that people like to look at.
//
// A page is one file: markup, pictures, style and script, nothing is loaded.
// The same judgement and options give the same bytes. All text of nodes goes
// through markup.h, and the page's own policy lets no other script run.
//
// Never throws but for want of memory; what becomes of the stream, the caller
// sees there.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "src/check/judgement.h"

namespace zelk::check {

enum class page_theme : std::uint8_t { automatic, light, dark };

// What is replaced by stand-ins, so that a page may be given away.
struct page_redaction {
  bool hosts = false;    // node names, everywhere; the cluster's and the host's
  bool users = false;    // who accepted, who made the page
  bool serials = false;  // values of facts that name one piece of hardware
};

struct page_logo {
  std::string media_type;  // "image/svg+xml" or "image/png"
  std::string bytes;
};

// A page of 136 nodes takes a tenth of it.
constexpr std::size_t usual_page_size = std::size_t{5} * 1024 * 1024;

// The names under which a page with `assets` looks for its other two files.
inline constexpr char page_style_name[] = "zelkara.css";
inline constexpr char page_script_name[] = "zelkara.js";

struct page_options {
  std::string title;  // "": "Cluster check", and the cluster's name
  std::optional<page_logo> logo;
  page_theme theme = page_theme::automatic;
  // How many healthy nodes get a section of their own. All nodes that are not
  // healthy have one.
  std::size_t healthy_sections = 0;
  bool script = true;
  page_redaction redact;
  std::size_t max_size = usual_page_size;  // bytes; 0: as large as it gets
  // Where the page finds style and script, relative to itself ("report_files");
  // none: inside. Who writes the page writes page_assets() there.
  std::optional<std::string> assets;
  // The nodes as they stand, rack by rack: the node file's order. The map of
  // all nodes follows it; empty: natural order.
  std::vector<std::string> node_order;
  // For "how this was made"; what is empty is left out.
  std::string cluster, host, user, program_version, command_line;
  std::string configuration, datastore;
  // Files that decided what is judged and how, and the hash of each.
  std::vector<std::pair<std::string, std::string>> file_hashes;
  // What a copied command needs to speak of the same datastore: "--db FILE".
  std::string same_datastore;
  // The judgement as JSON, for the page to carry; none: it carries none.
  std::function<void(const judgement&, std::ostream&)> json;
  // The end of what a provider (a column's name) wrote to its standard error on
  // a node, "" for nothing; asked for nodes that are not healthy only.
  std::function<std::string(const std::string& node, const std::string& column)>
      error_output;
};

struct page_result {
  std::size_t bytes = 0;
  // What was left out to keep to max_size, in words for people; the page says
  // the same. Empty: nothing.
  std::vector<std::string> left_out;
  bool fits = true;  // false: even the least page is larger than max_size
};

page_result write_page(const judgement& what, const page_options& options,
                       std::ostream& out);

// One picture alone, an SVG document: "heatmap", "nodes", "trend" or
// "dist:FACT". Nothing when the judgement has no such picture.
std::optional<std::string> page_figure(const judgement& what,
                                       const page_options& options,
                                       std::string_view name);
// The names that page_figure() knows for this judgement.
std::vector<std::string> page_figure_names(const judgement& what);

// File name and content of what a page with `assets` needs.
std::vector<std::pair<std::string, std::string>> page_assets();

}  // namespace zelk::check
