// Reports of a judgement in the forms that people and programs read.
//
// Every form is a pure function of its arguments: no clock, no environment, no
// locale, so the same judgement gives the same bytes. (Only the text form asks
// for the time zone, to show times as the reader's clock does.) Text that came
// from nodes is escaped for the form it goes into; no form that a person may
// read on a terminal lets a control character through.
//
// Whoever calls looks whether `out` took everything; nothing here logs.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "src/check/judge/allowance.h"
#include "src/check/judgement.h"
#include "src/check/report/status.h"
#include "src/check/run_data.h"

namespace zelk::check {

struct check_definition;

enum class report_form : std::uint8_t {
  text,    // one screen, for people
  plain,   // a finding of a node a line, fields parted by tabs
  json,    // one document, schema zelkara.check/1
  jsonl,   // a finding a line
  csv,     // as plain, by RFC 4180
  junit,   // for CI: a test suite a class
  sarif,   // 2.1.0
  nagios,  // one line with performance data
  prom,    // for the text file collector of node_exporter
  nodes,   // the nodes of the findings shown
  md,      // Markdown, for a ticket
};

// "text" ... "md", as on the command line, in the order above.
std::optional<report_form> read_report_form(std::string_view word);
const std::vector<std::string>& report_form_words();
// By a file's ending: ".json" ".jsonl" ".csv" ".tsv" ".xml" ".sarif" ".prom"
// ".md" ".txt"; nothing for others.
std::optional<report_form> report_form_of_file(std::string_view path);

enum class report_grouping : std::uint8_t { check, node, node_class };
std::optional<report_grouping> read_report_grouping(std::string_view word);

enum class report_order : std::uint8_t {
  severity,  // the worst first, as judged
  check,     // by name
  nodes,     // that of most nodes first
  state,     // new, changed, unchanged
};
std::optional<report_order> read_report_order(std::string_view word);

// The batch system that drain commands are for.
enum class batch_system : std::uint8_t { slurm };

struct report_options {
  report_form form = report_form::text;
  bool colour = false;
  bool utf8 = false;           // else the text form is ASCII only
  bool ascii = false;          // all forms for people and their tables are
  std::size_t width = 0;       // columns of the terminal; 0: never wrap
  std::size_t limit_rows = 0;  // findings of one list; 0: all
  // Lines of the terminal: the text form keeps to one screen, and says what it
  // left out. 0: it does not.
  std::size_t height = 0;
  report_grouping group_by = report_grouping::check;
  report_order order = report_order::severity;

  // What is shown. Counts and coverage are always of everything, and so is the
  // status but for only_new: who asks for what is new is told of that.
  // Without a least severity each form has its own: warning for the nodes,
  // critical for drain commands, informational for all others.
  std::optional<severity> min_severity;
  bool only_new = false;

  bool header = false;   // plain, csv: a first line with the columns' names
  bool one_line = true;  // nodes: folded; else one a line
  fail_on threshold = fail_on::warning;  // junit: what fails; nagios: the word
  batch_system batch = batch_system::slurm;

  std::string version;  // of the program; "" leaves it out
  // What a copied command needs to speak of the same run, "--run 412", and of
  // the same datastore, "--db FILE", as zelk-db takes it.
  std::string same_run, same_datastore;
};

// Writes `judged` in options.form.
void write_report(const judgement& judged, const report_options& options,
                  std::ostream& out);

// The findings that `options` let through, in the order asked for.
std::vector<const finding*> shown_findings(const judgement& judged,
                                           const report_options& options);

// How many names, of the nodes that findings shown are about, no command can
// take: the form nodes has not got them.
std::size_t names_left_out(const judgement& judged,
                           const report_options& options);

// Writes the batch system's commands that take the nodes of findings out of
// service. They are for review and are never run here. A node stands in one
// command at most, that of its worst finding. No node is drained for what is
// informational, because it is silent or because it could not be judged: the
// latter are comments, as are names that a shell or a batch system would take
// for something else.
void write_drain_commands(const judgement& judged,
                          const report_options& options, std::ostream& out);

// --explain: what the check means, how it is computed, and, with a judgement,
// where it is seen now.
void write_explanation(const check_definition& check, const judgement* judged,
                       const report_options& options, std::ostream& out);

// --list: id, severity and title of every check.
void write_check_list(const std::vector<const check_definition*>& checks,
                      const report_options& options, std::ostream& out);

// --show: everything known about the nodes named, one after another; with a
// limit of rows what is as it should be is only counted. Names that
// the run does not know are returned, and not written.
std::vector<std::string> write_nodes(const judgement& judged,
                                     const run_data& run,
                                     const std::vector<std::string>& names,
                                     const report_options& options,
                                     std::ostream& out);

struct difference_wish {
  std::string pattern;  // a provider, a fact, or a shell pattern of facts
  // What of the differences in a fact is let pass, and then left out and
  // counted; null: nothing is (--all).
  std::function<allowance(const fact_column&)> allowed;
};

// --diff: unified differences of the facts that are wished for between the
// largest group of like nodes of each class and each other group. Returns
// whether the run has such facts.
bool write_differences(const run_data& run, const judgement& judged,
                       const difference_wish& wish,
                       const report_options& options, std::ostream& out);

}  // namespace zelk::check
