// Test support: reports as strings, and programs that read them.

#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "src/check/report/writer.h"
#include "src/common/str/str.h"
#include "src/common/xml/test_files.h"

namespace zelk::check {

inline std::string report_of(const judgement& judged, report_form form,
                             report_options options = {}) {
  options.form = form;
  std::ostringstream out;
  write_report(judged, options, out);
  return out.str();
}

// Lines without their ends; an unfinished last line counts.
inline std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines = str::split(text, '\n');
  if (!lines.empty() && lines.back().empty()) lines.pop_back();
  return lines;
}

inline bool holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

struct ended_program {
  int status = -1;
  std::string output;  // both streams
};

// Runs the shell command with `input` at its standard input.
inline ended_program run_with_input(const std::string& command,
                                    const std::string& input) {
  const xml::test_files files;
  const std::string path = files.write("input", input);
  const std::string line = "{ " + command + "; } < " + path + " 2>&1";
  std::FILE* pipe = ::popen(line.c_str(), "r");
  if (pipe == nullptr) std::abort();
  ended_program ended;
  std::vector<char> chunk(std::size_t{64} * 1024);
  while (const std::size_t got =
             std::fread(chunk.data(), 1, chunk.size(), pipe))
    ended.output.append(chunk.data(), got);
  const int status = ::pclose(pipe);
  ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return ended;
}

// Runs a script of the Python that the system's packages extend. Requires: no
// single quotes in it.
inline ended_program run_python(const std::string& script,
                                const std::string& input) {
  return run_with_input("/usr/bin/python3 -c '" + script + "'", input);
}

inline bool python_has(const std::string& module) {
  return run_python("import " + module, "").status == 0;
}

}  // namespace zelk::check
