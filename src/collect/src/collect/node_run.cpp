#include "src/collect/src/collect/node_run.h"

#include <signal.h>
#include <string.h>

#include <cstdlib>
#include <utility>
#include <vector>

#include "src/collect/src/collect/remote_script.h"
#include "src/common/str/str.h"

namespace zelk::collect {

namespace {

// As every shell has them: found but not executable, and not found.
constexpr int exit_not_executable = 126;
constexpr int exit_not_found = 127;
// A shell adds this to the number of the signal that ended a program.
constexpr int exit_signal_base = 128;
// What timeout(1) ends with at the limit: its own number, or the signal's.
constexpr int exit_timed_out = 124;

std::string last_line(const std::string& text) {
  std::string last;
  for (const std::string& line : str::split(text, '\n', true)) {
    std::string shown = printable_line(line);
    if (!shown.empty()) last = std::move(shown);
  }
  return last;
}

std::string signal_text(int number) {
  const char* words = ::strsignal(number);
  return "signal " + std::to_string(number) + " (" +
         (words == nullptr ? "unknown" : words) + ")";
}

std::string seconds_text(std::chrono::milliseconds duration) {
  return std::to_string(
             std::chrono::ceil<std::chrono::seconds>(duration).count()) +
         " s";
}

}  // namespace

node_run::node_run(launch what, std::string_view nonce)
    : what_(std::move(what)),
      output_(script_mark(nonce),
              [this](std::string_view line) {
                if (line.starts_with("begin") || told()) return;
                told_ = line;
                told_at_ = event_loop::clock::now();
              }),
      errors_(script_mark(nonce), [](std::string_view) {}) {}

std::string node_run::noise() const {
  return output_.noise() + "\n" + errors_.noise();
}

void node_run::finish() {
  output_.finish();
  errors_.finish();
}

std::string node_run::program() const {
  return str::basename(what_.argv.front());
}

launch_outcome node_run::with(ending how, int status,
                              const std::string& reason) const {
  launch_outcome result =
      outcome({how, reason, str::replace(reason, what_.node, "NODE")});
  result.status = status;
  return result;
}

launch_outcome node_run::outcome(const failure& why) const {
  launch_outcome result = not_started(what_, why);
  result.output = output_.text();
  result.errors = errors_.text();
  result.took = event_loop::clock::now() - start_;
  return result;
}

// No program of ours ends with 124 by itself; for the signals the time tells.
bool node_run::at_limit(int status) const {
  if (what_.limit.count() <= 0) return false;
  return (status == exit_timed_out || status == exit_signal_base + SIGKILL ||
          status == exit_signal_base + SIGTERM) &&
         told_at_ - start_ >= what_.limit;
}

launch_outcome node_run::exited(int status) const {
  const std::string said = last_line(errors_.text());
  const std::string tail = said.empty() ? "" : ": " + said;
  if (status == 0) return with(ending::exited, 0, "");
  if (at_limit(status)) {
    return with(ending::timed_out, status,
                program() + " was stopped at its limit of " +
                    seconds_text(what_.limit));
  }
  if (status == exit_not_executable || status == exit_not_found) {
    return with(ending::program_missing, status,
                program() + " cannot be executed" + tail);
  }
  if (status > exit_signal_base) {
    const int number = status - exit_signal_base;
    return with(ending::signalled, number,
                program() + " was ended by " + signal_text(number));
  }
  return with(
      ending::exited, status,
      program() + " ended with exit status " + std::to_string(status) + tail);
}

launch_outcome node_run::stopped(int status, bool asked) const {
  if (asked) return with(ending::stopped, status, stopped_failure().reason);
  return with(ending::lost, status,
              program() +
                  " was stopped: the node was told to end it, or lost its "
                  "connection");
}

launch_outcome node_run::outcome(bool asked) const {
  const std::vector<std::string> words = str::split(told_, ' ');
  const std::string& word = words.front();
  const std::string rest =
      printable_line(std::string_view(told_).substr(word.size()));
  if (word == "end" && words.size() == 3) {
    const int status = std::atoi(words[2].c_str());
    return words[1] == "exit" ? exited(status) : stopped(status, asked);
  }
  if (word == "missing")
    return with(ending::program_missing, 0,
                rest + " is not there or cannot be executed");
  if (word == "version") {
    return with(ending::wrong_version, 0,
                program() + " is version " + (rest.empty() ? "unknown" : rest) +
                    " and not " + what_.version);
  }
  if (word == "lacks") {
    return with(ending::launcher_failed, 0,
                "the node has no program '" + rest + "', which is needed");
  }
  if (word == "files") {
    return with(ending::launcher_failed, 0,
                "no room for files on the node: none of $TMPDIR, /tmp, "
                "/dev/shm and /var/tmp takes them");
  }
  return with(
      ending::launcher_failed, 0,
      "the node said what nobody understands: " + printable_line(told_));
}

launch_outcome not_started(const launch& what, const failure& why) {
  launch_outcome result;
  result.node = what.node;
  result.how = why.how;
  result.reason = why.reason;
  result.common_reason = why.common_reason;
  return result;
}

failure stopped_failure() {
  return {ending::stopped, "stopped", "stopped"};
}

}  // namespace zelk::collect
