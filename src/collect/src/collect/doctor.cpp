#include "src/collect/src/collect/doctor.h"

#include <chrono>
#include <iostream>

#include "src/collect/src/collect/captured_command.h"
#include "src/collect/src/collect/event_loop.h"
#include "src/collect/src/collect/exit_codes.h"
#include "src/collect/src/collect/session_parts.h"
#include "src/collect/src/collect/ssh_failure.h"
#include "src/collect/src/collect/stop_signals.h"
#include "src/collect/src/collect/worker_launch.h"
#include "src/common/str/str.h"

namespace zelk::collect {

namespace {

using words = std::vector<std::string>;

// A tool that does not tell its version by then is broken.
constexpr std::chrono::seconds tool_limit{10};

std::vector<words> tool_questions(const std::string& launcher) {
  if (launcher == "ssh") return {{"ssh", "-V"}};
  if (launcher == "slurm")
    return {{"srun", "--version"}, {"sinfo", "--version"}};
  if (launcher == "mpi") return {{"mpirun", "--version"}, {"ssh", "-V"}};
  return {};
}

std::string first_line(const std::string& text) {
  for (const std::string& line : str::split(text, '\n', true)) {
    if (std::string shown = printable_line(line); !shown.empty()) return shown;
  }
  return "";
}

tool_version ask_tool(const words& question) {
  event_loop loop;
  tool_version tool{question.front(), ""};
  bool answered = false;
  captured_command command(
      loop, question, tool_limit, [&](const captured_command::answer& answer) {
        answered = true;
        if (!answer.ran) return;
        tool.version = first_line(answer.output + "\n" + answer.errors);
        if (tool.version.empty()) tool.version = ended_with(answer.wait_status);
      });
  while (!answered)
    loop.run_once();
  return tool;
}

launcher_settings way_of(const collect_settings& settings) {
  launcher_settings way;
  way.kind = settings.launcher;
  way.fanout = settings.fanout;
  way.connect_timeout = settings.connect_timeout;
  way.ssh_options = settings.ssh_options;
  way.user = settings.user;
  return way;
}

}  // namespace

precheck_request precheck_request_of(const collect_settings& settings,
                                     const plan& made) {
  precheck_request request;
  for (const selected_node& node : made.nodes)
    request.nodes.push_back(node.name);
  request.way = way_of(settings);
  const worker_setup setup = common_setup(settings, made, {}, "");
  request.worker = setup.program;
  request.version = setup.version;
  if (settings.async || !settings.shared_directory.empty())
    request.directory = output_directory(settings);
  return request;
}

int doctor(const collect_settings& settings, const plan& made) {
  stop_signals signals;
  doctor_report report;
  report.request = precheck_request_of(settings, made);
  report.launcher = report.request.way.kind;
  for (const words& question : tool_questions(report.launcher))
    report.tools.push_back(ask_tool(question));
  report.findings =
      run_precheck(report.request, [&] { return signals.look() > 0; });
  if (settings.json) {
    print_json(report, std::cout);
  } else {
    print_report(report, std::cout);
  }
  std::cout.flush();
  if (signals.count() > 0) signals.die();
  return doctor_status(report);
}

}  // namespace zelk::collect
