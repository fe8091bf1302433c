#include "src/collect/src/collect/accumulator_child.h"

#include <unistd.h>

#include <utility>

namespace zelk::collect {

namespace {

// The child's descriptors; the first ones behind the standard ones.
constexpr int ready_fd = 3;
constexpr int control_fd = 4;
constexpr int events_fd = 5;

constexpr std::string_view ready_word = "READY ";

}  // namespace

// --stop-wait is left at its own value: what peers still send is heard, and the
// end comes within seconds when they are gone.
std::vector<std::string> accumulator_command(
    const accumulator_options& options) {
  std::vector<std::string> words = {options.program,
                                    "listen",
                                    "--bind",
                                    options.bind,
                                    "--run",
                                    options.run,
                                    "--ready-fd",
                                    std::to_string(ready_fd),
                                    "--control-fd",
                                    std::to_string(control_fd),
                                    "--events-fd",
                                    std::to_string(events_fd),
                                    "--quiet",
                                    "--progress",
                                    "none",
                                    "--stats-interval",
                                    "0"};
  if (!options.datastore.empty()) {
    words.emplace_back("--db");
    words.push_back(options.datastore);
  }
  return words;
}

std::string accumulator_child::start(const accumulator_options& options,
                                     accumulator_listener listener,
                                     std::string_view first_line) {
  helper_setup setup;
  setup.argv = accumulator_command(options);
  setup.input_fd = control_fd;
  setup.readers.push_back(
      {ready_fd, [tell = listener.ready](std::string_view line) {
         if (line.starts_with(ready_word))
           tell(std::string(line.substr(ready_word.size())));
       }});
  setup.readers.push_back(
      {events_fd,
       [tell = listener.event, warn = listener.message](std::string_view line) {
         if (const auto event = read_event(line))
           tell(*event);
         else
           warn("not understood: " + std::string(line));
       }});
  setup.readers.push_back({STDERR_FILENO, listener.message});
  setup.on_end = std::move(listener.end);
  std::string problem = process_.start(std::move(setup));
  if (problem.empty()) process_.send(first_line);
  return problem;
}

void accumulator_child::close(std::string_view state) {
  process_.send(close_line(state));
  process_.end_input();
}

}  // namespace zelk::collect
