// Findings as rows of the text report, by check, by node or by class.

#pragma once

#include <ostream>
#include <string>
#include <unordered_set>
#include <vector>

#include "src/check/judgement.h"
#include "src/check/report/rows.h"
#include "src/check/report/writer.h"

namespace zelk::check {

struct row_section {
  ink colour = ink::strong;
  std::string head;
  std::vector<report_row> rows;
  std::size_t left_out = 0;              // rows over the limit
  std::unordered_set<std::string> told;  // checks of which advice was given
};

// Changes are left out: they are told as one line each, under what is new since
// the baseline.
std::vector<row_section> finding_sections(const judgement& judged,
                                          const report_options& options);

// Of a finding, with the commands in it speaking of the same run.
std::string advice_text(const std::string& advice,
                        const report_options& options);

// "new"; "" when there is no baseline.
std::string state_text(const judgement& judged, const finding& found);

// "since 2025-11-01"; "" when no older run had it.
std::string since_text(const judgement& judged, const finding& found);

}  // namespace zelk::check
