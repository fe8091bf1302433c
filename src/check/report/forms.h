// One function a form of report; writer.h chooses among them.

#pragma once

#include <ostream>

#include "src/check/judgement.h"
#include "src/check/report/writer.h"

namespace zelk::check {

void write_text(const judgement& judged, const report_options& options,
                std::ostream& out);

void write_plain(const judgement& judged, const report_options& options,
                 std::ostream& out);
void write_csv(const judgement& judged, const report_options& options,
               std::ostream& out);

void write_json(const judgement& judged, const report_options& options,
                std::ostream& out);
void write_json_lines(const judgement& judged, const report_options& options,
                      std::ostream& out);

void write_junit(const judgement& judged, const report_options& options,
                 std::ostream& out);
void write_sarif(const judgement& judged, const report_options& options,
                 std::ostream& out);
void write_nagios(const judgement& judged, const report_options& options,
                  std::ostream& out);
void write_prom(const judgement& judged, const report_options& options,
                std::ostream& out);
void write_node_set(const judgement& judged, const report_options& options,
                    std::ostream& out);
void write_markdown(const judgement& judged, const report_options& options,
                    std::ostream& out);

}  // namespace zelk::check
