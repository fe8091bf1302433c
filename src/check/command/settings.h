// What zelk-check was told.
//
// One plain record with the built-in values at its members. What values mean
// together (checks that exist, nodes that the run knows) is found later.

#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/check/input/node_notes.h"
#include "src/check/judge/judge.h"
#include "src/check/page/page.h"
#include "src/check/report/writer.h"

namespace zelk::check {

inline constexpr char program_name[] = "zelk-check";

enum class action : std::uint8_t {
  report,
  drain_commands,
  differences,  // --diff
  show_nodes,   // --show node
  explain,      // --explain, --show check
  list,         // --list
  local,        // --local
};

enum class color_use : std::uint8_t { automatic, always, never };

// What a report is written as.
enum class document : std::uint8_t { report, page, figure };

struct output_form {
  document what = document::report;
  report_form report = report_form::text;  // of a report
};

// "-": standard output. Without a form the file's ending says it.
struct output_place {
  std::string path;
  std::optional<output_form> form;
};

struct check_settings {
  action what = action::report;

  // Which data.
  std::string run = "latest";
  std::string baseline;                      // "": the usual one; or "none"
  std::optional<std::int64_t> max_age_usec;  // --max-age; none: 7 d, see judge
  std::vector<std::string> nodes, excluded;  // -w, -x, each as typed
  std::vector<class_override> classes;       // --class
  std::vector<std::string> asked;  // checks to explain; node sets to show
  std::string difference;          // --diff
  bool all = false;                // --all: also what is not wrong

  judge_options judge;  // but its times
  std::vector<std::string> limits;

  // What to say, and where.
  report_options report;
  std::optional<std::size_t> limit_rows;  // none: 20 on a terminal
  std::optional<output_form> form;        // --format
  std::vector<output_place> outputs;      // none: standard output
  page_options page;
  std::string logo, assets;  // files of the page
  std::string figure;        // --figure; "": heatmap
  bool open = false;         // --open: show the page
  bool ascii = false;
  color_use color = color_use::automatic;
  bool exit_zero = false;
  std::chrono::seconds timeout{0};  // 0: none

  // Where things lie.
  std::string datastore;  // --db; "": as the other programs find it
  std::string config_file, nodefile;
  bool config_typed = false, nodefile_typed = false;  // on the command line
  std::vector<std::string> checks_folders;            // --checks
  std::string descriptions;                           // "": the installed ones
  std::string install_root;

  int log_level = 4;
  bool quiet = false;
  std::string command_line;  // as typed, one blank between words

  // A monitoring system reads what went wrong from standard output, too.
  bool is_plugin() const {
    return form && form->what == document::report &&
           form->report == report_form::nagios;
  }

  // The first file that a page is written to; null: there is none.
  const output_place* page_file() const {
    for (const output_place& each : outputs)
      if (each.path != "-" && each.form && each.form->what == document::page)
        return &each;
    return nullptr;
  }
};

}  // namespace zelk::check
