#include "src/check/command/watchdog.h"

#include <signal.h>
#include <unistd.h>

#include "src/check/command/output_file.h"
#include "src/check/command/settings.h"

namespace zelk::check {

namespace {

// What the signal handler writes, and where.
std::string last_words;
int last_words_to = STDERR_FILENO;

extern "C" void time_is_up(int /*signal*/) {
  remove_unfinished_output();
  // Whoever does not listen any more sees the status.
  [[maybe_unused]] const ssize_t written =
      ::write(last_words_to, last_words.data(), last_words.size());
  ::_exit(status_cannot_tell);
}

}  // namespace

watchdog::watchdog(std::chrono::seconds limit, const std::string& what,
                   bool to_output)
    : deadline_(std::chrono::steady_clock::now() + limit) {
  if (limit.count() == 0) return;
  const std::string text =
      what + " within " + std::to_string(limit.count()) + " s\n";
  last_words = to_output ? "ZELKARA UNKNOWN - " + text
                         : std::string(program_name) + ": " + text;
  last_words_to = to_output ? STDOUT_FILENO : STDERR_FILENO;
  struct sigaction action = {};
  action.sa_handler = time_is_up;
  ::sigaction(SIGALRM, &action, nullptr);
  ::alarm(static_cast<unsigned>(limit.count()));
}

watchdog::~watchdog() {
  ::alarm(0);
}

}  // namespace zelk::check
